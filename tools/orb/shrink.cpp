// An open image as a small picture.
#include "shrink.h"

#include <algorithm>
#include <cmath>

#include "exit_codes.h"
#include "orbbase/operators.h"
#include "region_bands.h"
#include "rows.h"

namespace orb::tool {
namespace {

constexpr size_t kRgbBytes = 3;

struct Size {
  int32_t width;
  int32_t height;
};

int32_t scaled(double length, double scale, int64_t most) {
  return static_cast<int32_t>(std::clamp<double>(std::round(length * scale), 1, static_cast<double>(most)));
}

Size fitting(const ORB_IFD& image, int32_t most_width, int32_t most_height) {
  const int64_t columns = width_of(image.window);
  const int64_t rows = height_of(image.window);
  const auto aspect = static_cast<double>(image.pixel_aspect);
  const bool has_aspect = std::isfinite(aspect) && aspect > 0;
  const double width = static_cast<double>(columns) * (has_aspect ? std::min(aspect, 1.0) : 1);
  const double height = static_cast<double>(rows) / (has_aspect ? std::max(aspect, 1.0) : 1);
  const double scale = std::min({1.0, most_width / width, most_height / height});
  return {scaled(width, scale, std::min<int64_t>(columns, most_width)),
          scaled(height, scale, std::min<int64_t>(rows, most_height))};
}

void require_rgb(const ORB_IFD& image, const std::string& name) {
  constexpr int32_t kMostBits = 16;
  if (image.color.count > 0 && image.color.type == ORB_C_INTEGER && image.color.width <= kMostBits) return;
  throw Failure(kIoError, name + ": cannot be shown: it has no colour channels of integers of up to 16 bits");
}

}  // namespace

Picture shrunk(Image& reader, const std::string& name, int32_t most_width, int32_t most_height) {
  if (reader->info.image_count < 1) throw Failure(kIoError, name + ": holds no image");
  require_rgb(reader.first(), name);
  const ORB_WINDOW window = reader.first().window;
  const Size size = fitting(reader.first(), most_width, most_height);
  const bool bottom_up = is_bottom_up(reader.first());
  BoxAverage average(width_of(window), height_of(window), size.width, size.height);
  RegionBands bands(reader, name, window, ORB_REGION_RGB8, kRgbBytes);
  const int64_t height = height_of(window);
  for (int64_t i = 0; i < height; ++i) {
    const int64_t above_bottom = bottom_up ? i : height - 1 - i;
    average.add_row(height - 1 - above_bottom, bands.row(above_bottom));
  }
  return average.picture();
}

}  // namespace orb::tool
