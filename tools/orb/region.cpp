// The step that takes a rectangle of an image in a fixed pixel layout.
#include "region.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <iterator>

#include "exit_codes.h"
#include "image.h"
#include "options.h"
#include "orbbase/operators.h"
#include "region_bands.h"

namespace orb::tool {
namespace {

constexpr PixelLayout kLayouts[] = {{"grey8", ORB_REGION_GREY8, 1, false, 8},
                                    {"grey16", ORB_REGION_GREY16, 1, false, 16},
                                    {"rgb8", ORB_REGION_RGB8, 3, false, 8},
                                    {"rgba8", ORB_REGION_RGBA8, 3, true, 8},
                                    {"rgba16", ORB_REGION_RGBA16, 3, true, 16}};
constexpr int32_t kMostBits = 16;

const PixelLayout* layout_by_name(const std::string& name) {
  const auto* found = std::find_if(std::begin(kLayouts), std::end(kLayouts),
                                   [&](const PixelLayout& layout) { return name == layout.name; });
  return found == std::end(kLayouts) ? nullptr : found;
}

std::string layout_names() {
  std::string names;
  for (const PixelLayout& layout : kLayouts) names += (names.empty() ? "" : ", ") + std::string(layout.name);
  return names;
}

// The smallest layout that holds an image.
const PixelLayout* layout_for(const ORB_IFD& image) {
  const bool has_matte = image.matte.count > 0;
  const int32_t bits = std::max(image.color.width, has_matte ? image.matte.width : 0);
  const int32_t colors = image.color.count == 1 && !has_matte ? 1 : 3;
  const auto* found = std::find_if(std::begin(kLayouts), std::end(kLayouts), [&](const PixelLayout& layout) {
    return layout.color_count >= colors && layout.bits >= bits && (layout.has_alpha || !has_matte);
  });
  return found == std::end(kLayouts) ? nullptr : found;
}

std::optional<ORB_WINDOW> rectangle_from_text(const std::string& text) {
  int32_t numbers[4] = {};
  const char* at = text.data();
  const char* const end = at + text.size();
  for (int32_t& number : numbers) {
    if (&number != numbers && (at == end || *at++ != ',')) return std::nullopt;
    const auto [rest, problem] = std::from_chars(at, end, number);
    if (problem != std::errc()) return std::nullopt;
    at = rest;
  }
  if (at != end) return std::nullopt;
  return ORB_WINDOW{numbers[0], numbers[2], numbers[1], numbers[3]};
}

std::string require_rectangle(const std::string& text) {
  const std::optional<ORB_WINDOW> rectangle = rectangle_from_text(text);
  if (!rectangle) return "\"" + text + "\" is no rectangle; expecting X0,Y0,X1,Y1, rows counted upward";
  const bool is_reversed = rectangle->right < rectangle->left || rectangle->top < rectangle->bottom;
  return is_reversed ? "\"" + text + "\" is reversed, so it holds no pixel" : "";
}

// Where two windows overlap; the first, where they do not.
ORB_WINDOW overlap(const ORB_WINDOW& a, const ORB_WINDOW& b) {
  const ORB_WINDOW both = {std::max(a.left, b.left), std::min(a.right, b.right), std::max(a.bottom, b.bottom),
                           std::min(a.top, b.top)};
  return both.right < both.left || both.top < both.bottom ? a : both;
}

// A picture that is as large as its window is so after the window has changed, too.
void keep_picture_size(const ORB_IFD& image, ORB_IFD& form) {
  if (image.pair_a[0] != width_of(image.window) || image.pair_a[1] != height_of(image.window)) return;
  form.pair_a[0] = static_cast<int32_t>(width_of(form.window));
  form.pair_a[1] = static_cast<int32_t>(height_of(form.window));
}

// The library reads matte samples as wide as those of the colours.
bool is_matte_readable(const ORB_IFD& image) {
  const bool is_alike = (image.matte.width <= 8) == (image.color.width <= 8);
  return image.color.count < 4 && image.matte.type == ORB_C_INTEGER && is_alike;
}

void require_pixels(const ORB_IFD& image, const std::string& file) {
  const char* problem = nullptr;
  if (image.color.count < 1) problem = "it has no colour channels";
  if (image.color.count > 0 && (image.color.type != ORB_C_INTEGER || image.color.width > kMostBits)) {
    problem = "its samples are no integers of up to 16 bits";
  }
  if (problem != nullptr) {
    throw Failure(kLossRefused, file + ": cannot be taken in a pixel layout: " + problem);
  }
}

void require_limit(const ORB_IFD& form, const PixelLayout& layout, const std::string& file) {
  const uint64_t most = ORB_limit(ORB_LIMIT_BUFFER, 0);
  const uint64_t row_bytes =
      static_cast<uint64_t>(width_of(form.window)) * layout.components() * layout.sample_bytes();
  if (row_bytes <= most / RegionBands::kMostRows) return;
  throw Failure(kIoError, file + ": --region: " + std::to_string(RegionBands::kMostRows) + " rows of " +
                              std::to_string(row_bytes) + " bytes are over the limit of " +
                              std::to_string(most) + "; --limit buffer=SIZE raises it");
}

}  // namespace

void add_region_options(CLI::App& verb, RegionOptions& options) {
  verb.add_option("--region", options.rectangle,
                  "this rectangle alone: first and last column and row, all included, rows counted upward; "
                  "default: the whole window")
      ->type_name("X0,Y0,X1,Y1")
      ->check(require_rectangle);
  verb.add_option("--layout", options.layout,
                  "the pixels of the output: " + layout_names() +
                      "; default with --region: the smallest that hold the image")
      ->type_name("NAME")
      ->check(
          [](const std::string& name) {
            return layout_by_name(name) != nullptr
                       ? ""
                       : "no layout \"" + name + "\"; there are " + layout_names();
          },
          as_choices(layout_names()));
}

Region::Region(const RegionOptions& options, const ORB_IFD& image, const std::string& file)
    : image_(image), layout_(nullptr), form_(image) {
  require_pixels(image, file);
  const bool is_chosen = options.layout.empty();
  layout_ = is_chosen ? layout_for(image) : layout_by_name(options.layout);
  if (layout_ == nullptr) throw Failure(kLossRefused, file + ": no pixel layout holds its matte channel");
  if (const auto rectangle = rectangle_from_text(options.rectangle)) form_.window = *rectangle;
  keep_picture_size(image, form_);
  form_.active_window = overlap(form_.window, image.active_window);
  const int32_t colors = is_chosen ? std::min(image.color.count, layout_->color_count) : layout_->color_count;
  const bool has_matte = layout_->has_alpha && (!is_chosen || image.matte.count > 0);
  form_.color = {image.color.name, colors, ORB_C_INTEGER, layout_->bits};
  form_.matte = {image.matte.name, has_matte ? 1 : 0, ORB_C_INTEGER, layout_->bits};
  form_.aux.count = form_.index.count = 0;
  require_limit(form_, *layout_, file);
}

std::vector<Loss> Region::losses(const std::vector<std::string>& dropped) const {
  const bool has_matte = image_.matte.count > 0;
  const bool keeps_matte = layout_->has_alpha && image_.matte.count <= 1 && is_matte_readable(image_);
  const struct {
    const char* name;
    bool is_lost;
    const char* what;
  } all[] = {
      {"matte", has_matte && !keeps_matte, "the matte channels are not in it as they are"},
      {"aux", image_.aux.count > 0, "it has no auxiliary channels"},
      {"channels", image_.color.count > layout_->color_count, "it has fewer colour channels"},
      {"bits",
       image_.color.width > layout_->bits || (has_matte && keeps_matte && image_.matte.width > layout_->bits),
       "its samples have fewer bits"},
  };
  std::vector<Loss> found;
  for (const auto& loss : all) {
    const bool is_dropped = std::find(dropped.begin(), dropped.end(), loss.name) != dropped.end();
    if (loss.is_lost && !is_dropped) {
      found.push_back({loss.name, std::string(layout_->name) + ": " + loss.what, true});
    }
  }
  return found;
}

}  // namespace orb::tool
