// The step that takes a rectangle of an image in a fixed pixel layout: what was asked for, what comes out of it, and
// what of the image that leaves out.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "command_line.h"
#include "description.h"

namespace orb::tool {

struct RegionOptions {
  std::string rectangle;  // X0,Y0,X1,Y1, columns and rows as the window counts them; "": the whole window
  std::string layout;     // ""; the one that holds what the image has

  [[nodiscard]] bool is_given() const { return !rectangle.empty() || !layout.empty(); }
};

// Adds --region and --layout to a verb. What cannot be meant is refused as the command line is read.
void add_region_options(CLI::App& verb, RegionOptions& options);

// A pixel layout of ORB_get_region. Its components are red, green, blue and alpha, or grey alone.
struct PixelLayout {
  const char* name;
  uint32_t code;  // ORB_REGION_
  int32_t color_count;
  bool has_alpha;
  int32_t bits;

  [[nodiscard]] size_t components() const { return static_cast<size_t>(color_count) + (has_alpha ? 1 : 0); }
  [[nodiscard]] size_t sample_bytes() const { return bits > 8 ? 2 : 1; }
};

class Region {
 public:
  // image is the descriptor of the input, whose names are lent; file is for messages. Throws Failure: the image has
  // samples that no layout holds, or a row is over the limit of one buffer.
  Region(const RegionOptions& options, const ORB_IFD& image, const std::string& file);

  [[nodiscard]] const PixelLayout& layout() const { return *layout_; }
  // The descriptor of what comes out: the rectangle with the groups of the layout. Without a layout by name the
  // channels that the image does not have are left out.
  [[nodiscard]] const ORB_IFD& form() const { return form_; }
  // What the image has and the layout has not, less what is in dropped.
  [[nodiscard]] std::vector<Loss> losses(const std::vector<std::string>& dropped) const;

 private:
  ORB_IFD image_;
  const PixelLayout* layout_;
  ORB_IFD form_;
};

}  // namespace orb::tool
