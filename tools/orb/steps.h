// The steps that an image's rows go through on their way, in the order in which they were typed: operators of the
// library and changes of the sample type, each a layer on the reader's handle.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "command_line.h"
#include "image.h"

namespace orb::tool {

struct StepOptions {
  bool merges_fields = false;
  int32_t image = 0;  // counted from 1; 0: not given

  // One of the options that may be given several times, in any order.
  struct Step {
    std::string option;  // its long name
    std::string value;
  };
  std::vector<Step> steps;

  [[nodiscard]] bool is_given() const { return merges_fields || image != 0 || !steps.empty(); }
};

// Adds --merge-fields, --image, --gamma, --quantize, --minmax, --swatch and -d to a verb. What cannot be meant is
// refused as the command line is read.
void add_step_options(CLI::App& verb, StepOptions& options);

// The file with the other field of a frame: numbers 1 and 2, 3 and 4, and so on. Nothing when the name is none by which
// the library finds fields, in a format of that extension if one is given.
[[nodiscard]] std::optional<std::string> other_field(const std::string& file,
                                                     std::optional<std::string_view> extension = {});
inline constexpr const char* kFieldNames =
    ": the fields of a frame are found by names such as field.0001.png: a point, the number in four digits "
    "or more "
    "if it needs them, and the extension of the format";

// Puts the steps on a reader, which may be another handle afterwards. Throws Failure, with what the library's error
// means where it has one; file is for messages.
void put_steps_on(Image& reader, const StepOptions& options, const std::string& file);

}  // namespace orb::tool
