// The conversion of one image: read, compared with what the output can keep, written beside its target.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "input.h"
#include "json.h"
#include "output_image.h"
#include "region.h"
#include "rows.h"
#include "steps.h"

namespace orb::tool {

struct ConversionOptions {
  CommonOptions common;  // its output is the image to write
  std::string input;
  InputOptions reading;
  StepOptions steps;
  RegionOptions region;
  OutputOptions writing;
  unsigned long long most_spool_bytes = ~0ULL;
  std::string label;      // before the messages that name no file
  bool is_black = false;  // the input lends its description alone, and all samples are 0
};

class Conversion {
 public:
  // The options must stay.
  explicit Conversion(const ConversionOptions& options) : options_(options) {}

  // Does it all; in a dry run all but the writing. Throws Failure.
  void run();

  // How far it came, for a program.
  [[nodiscard]] Json summary(const char* result) const;
  // What a dry run says for people, in one line.
  [[nodiscard]] std::string plan_text() const;
  // The window of what is written; nothing before it is known.
  [[nodiscard]] std::optional<ORB_WINDOW> window() const;

 private:
  void check_options() const;
  void open_input();
  void require_one_image() const;
  void describe_output();
  void choose_way(const ORB_IFD& stored);
  void write();
  void write_frame(Image& writer, Progress& progress);
  [[nodiscard]] std::unique_ptr<RowSource> rows(bool bottom_up, RowWay way);

  const ConversionOptions& options_;
  const ORB_FORMAT* input_format_ = nullptr;
  Image reader_;  // lends texts and tables to the output's description
  std::optional<Region> region_;
  std::optional<OutputImage> output_;
  std::optional<RowPlan> plan_;
  std::optional<ORB_WINDOW> window_;
};

}  // namespace orb::tool
