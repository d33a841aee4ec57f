// A rectangle of an image in a pixel layout, read a few rows at a time.
#include "region_bands.h"

#include <algorithm>
#include <utility>

#include "at_work.h"
#include "orbbase/operators.h"
#include "reports.h"
#include "rows.h"

namespace orb::tool {
namespace {

// Bands lie at fixed places that keep their first and last row away from -1, which ORB_seek takes for the first row
// of the file.
constexpr int64_t kBandRows = RegionBands::kMostRows - 1;
constexpr int64_t kBandOffset = kBandRows / 2;

int64_t band_of(int64_t line) {
  const int64_t from_offset = line - kBandOffset;
  const int64_t within = ((from_offset % kBandRows) + kBandRows) % kBandRows;
  return line - within;
}

}  // namespace

RegionBands::RegionBands(Image& reader, std::string name, const ORB_WINDOW& rectangle, uint32_t layout,
                         size_t pixel_bytes)
    : reader_(reader),
      name_(std::move(name)),
      rectangle_(rectangle),
      layout_(layout),
      row_bytes_(static_cast<size_t>(width_of(rectangle)) * pixel_bytes),
      pixels_(row_bytes_ * static_cast<size_t>(std::min(kMostRows, height_of(rectangle) + 1))) {}

std::span<const uint8_t> RegionBands::row(int64_t above_bottom) {
  const int64_t line = rectangle_.bottom + above_bottom;
  if (line < first_ || line > last_) fetch(line);
  return std::span(pixels_).subspan(static_cast<size_t>(line - first_) * row_bytes_, row_bytes_);
}

void RegionBands::fetch(int64_t line) {
  first_ = std::max<int64_t>(band_of(line), rectangle_.bottom);
  last_ = std::min<int64_t>(band_of(line) + kBandRows - 1, rectangle_.top);
  const bool bottom_up = is_bottom_up(reader_.first());
  // A rectangle that begins there itself gets a row more.
  if (bottom_up && first_ == -1) first_ = -2;
  if (!bottom_up && last_ == -1) last_ = 0;
  std::fill(pixels_.begin(), pixels_.end(), uint8_t{0});
  forget_errors();
  orb__err = 0;
  note_call(Doing::reading);
  const int32_t code =
      ORB_get_region(reader_.slot(), rectangle_.left, rectangle_.right, static_cast<int32_t>(first_),
                     static_cast<int32_t>(last_), pixels_.data(), ORB_REGION_PACKED, layout_);
  if (code == 0 && reader_) return;
  fail_as_reported(name_ + ": cannot read rows " + std::to_string(first_) + " to " + std::to_string(last_));
}

}  // namespace orb::tool
