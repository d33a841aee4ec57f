// A rectangle of an open image in a fixed pixel layout: by the driver, or scanline by scanline. What lies
// outside the active window becomes zeros, by rules that callers know and that stay as they are.
#include <algorithm>
#include <cstring>
#include <limits>

#include "orbbase/core/internal.h"
#include "orbbase/driver.h"
#include "orbbase/operators.h"
#include "orbbase/operators/operator.h"
#include "orbbase/operators/region_rows.h"

namespace orb::region {
namespace {

constexpr int32_t kMostBits = 16;
constexpr uint64_t kCachedBytes = 8 << 20;  // more than this is written past the caches

// What the caller wants, and where.
struct Request {
  ORB_WINDOW rectangle;
  uint8_t* buffer;
  uint64_t row_bytes;
  const Layout* layout;

  [[nodiscard]] bool is_reversed() const {
    return rectangle.right < rectangle.left || rectangle.top < rectangle.bottom;
  }
  [[nodiscard]] uint64_t columns() const { return uint64_t{1} + int64_t{rectangle.right} - rectangle.left; }
  [[nodiscard]] uint64_t rows() const { return uint64_t{1} + int64_t{rectangle.top} - rectangle.bottom; }

  // Whether memory could hold the buffer.
  [[nodiscard]] bool is_possible() const {
    return row_bytes == 0 || rows() <= std::numeric_limits<ptrdiff_t>::max() / row_bytes;
  }

  // Zeroes rows of the buffer from its row first on; what is not within the buffer is left out.
  void zero_rows(int64_t first, int64_t count) const {
    const int64_t begin = std::max<int64_t>(first, 0);
    const int64_t end = std::min<int64_t>(first + count, static_cast<int64_t>(rows()));
    if (begin < end) std::memset(buffer + begin * row_bytes, 0, (end - begin) * row_bytes);
  }
  void zero_all() const { zero_rows(0, static_cast<int64_t>(rows())); }

  // The pixels of an image row that lie in the columns of a part of the rectangle.
  [[nodiscard]] std::span<uint8_t> pixels(int32_t line, const ORB_WINDOW& part) const {
    const uint64_t row = int64_t{line} - rectangle.bottom;
    const uint64_t column = int64_t{part.left} - rectangle.left;
    const uint64_t count = uint64_t{1} + int64_t{part.right} - part.left;
    return {buffer + row * row_bytes + column * layout->pixel_bytes(), count * layout->pixel_bytes()};
  }
};

int32_t refuse(const ORB_IMAGE* image) {
  const char* name = ORB_name_from_key(image->info.key);
  orb__report(ORB_MSG_CANNOT_HANDLE, name ? name : "");
  return fail(ORB_E_HANDLE);
}

// ---- The driver's own reader -------------------------------------------------------------------------

int32_t read_by_driver(const ORB_IMAGE* image, const ORB_WINDOW& rectangle, void* buffer, uint32_t row_bytes,
                       uint32_t layout) {
  platform::Lock lock(lock_of(image));
  // Its result is not looked at: a driver sets orb__err.
  image->region(driver_data(image), rectangle.left, rectangle.right, rectangle.bottom, rectangle.top, buffer,
                row_bytes, layout);
  return last_error();
}

// ---- Clipping ----------------------------------------------------------------------------------------

bool is_empty(const ORB_WINDOW& window) { return window.right < window.left || window.top < window.bottom; }

bool contains(const ORB_WINDOW& outer, const ORB_WINDOW& inner) {
  return inner.left >= outer.left && inner.right <= outer.right && inner.bottom >= outer.bottom &&
         inner.top <= outer.top;
}

ORB_WINDOW clip(const ORB_WINDOW& rectangle, const ORB_WINDOW& window) {
  return {std::max(rectangle.left, window.left), std::min(rectangle.right, window.right),
          std::max(rectangle.bottom, window.bottom), std::min(rectangle.top, window.top)};
}

// Zeroes what is not part of the window. Where columns are cut, that is everything.
void zero_outside(const Request& request, const ORB_WINDOW& part) {
  const ORB_WINDOW& wanted = request.rectangle;
  if (part.right < wanted.right || part.left > wanted.left) {
    request.zero_all();
    return;
  }
  const int64_t below = int64_t{part.bottom} - wanted.bottom;
  request.zero_rows(0, below);
  // On purpose counted from row 0 of the image, and as many rows as were cut below: with a top that alone is
  // cut, what lies above the window is left as it is.
  if (part.top < wanted.top) request.zero_rows(int64_t{part.top} + 1, below);
}

// ---- Channels and factors ----------------------------------------------------------------------------

// The largest component over the largest sample of a width; with 32 bits an infinite one.
float factor(double full, int32_t width) {
  const auto power = static_cast<int32_t>(uint32_t{1} << (static_cast<uint32_t>(width) % 32));
  return static_cast<float>(full / (static_cast<double>(power) - 1));
}

// What is read of an image, and how.
struct Source {
  const ORB_IFD& ifd;
  const Layout& layout;
  ORB_WINDOW part;

  [[nodiscard]] bool has_alpha() const { return ifd.matte.count >= 1 && layout.components == 4; }
  [[nodiscard]] uint32_t sample_bytes() const { return ifd.color.width <= 8 ? 1 : 2; }
  [[nodiscard]] uint64_t part_bytes() const {
    const uint64_t rows = int64_t{part.top} - part.bottom + 1;
    return rows * static_cast<uint64_t>(int64_t{part.right} - part.left + 1) * layout.pixel_bytes();
  }
};

Conversion conversion_of(const Source& source) {
  const ORB_IFD& ifd = source.ifd;
  const double full = source.layout.bits == 16 ? 65535.0 : 255.0;
  const bool is_matte_alike = !source.has_alpha() || ifd.matte.width == ifd.color.width;
  return {
      .layout = &source.layout,
      .sample_bytes = source.sample_bytes(),
      .factors = {factor(full, ifd.color.width), source.has_alpha() ? factor(full, ifd.matte.width) : 0.0F},
      .is_full_width = ifd.color.width == static_cast<int32_t>(8 * source.sample_bytes()) && is_matte_alike,
      .is_large = source.part_bytes() > kCachedBytes,
  };
}

// How the rows of one image become pixels.
class Rows {
 public:
  explicit Rows(const Source& source);

  // How many of the row pointers are looked at.
  [[nodiscard]] int32_t channels() const { return channels_[3] + (source_.has_alpha() ? 1 : 0); }

  // Converts one row's pixels.
  void convert(void* const* rows, std::span<uint8_t> out) const;

 private:
  // Converts the pixels from the one at `first` on, counted from the first to be read.
  void convert_from(void* const* rows, uint64_t first, bool has_alpha, std::span<uint8_t> out) const;

  Source source_;
  RowConverter converter_;
  int32_t channels_[4];    // of red, green, blue and alpha among the row pointers
  int64_t first_sample_;   // of a row to be read
  int64_t alpha_samples_;  // in a whole row, as they are read; also of what is not alpha
};

Rows::Rows(const Source& source) : source_(source), converter_(choose_converter(conversion_of(source))) {
  const ORB_IFD& ifd = source.ifd;
  const int32_t count = ifd.color.count;
  channels_[0] = 0;
  channels_[1] = count >= 2 ? 1 : 0;
  channels_[2] = count >= 3 ? 2 : 0;
  channels_[3] = std::min(count, 3);  // on purpose: the fourth image channel, where there is one
  first_sample_ = int64_t{source.part.left} - ifd.window.left;
  const bool is_narrow = count < 4 && ifd.matte.type == ORB_C_INTEGER && ifd.matte.width <= 8;
  alpha_samples_ = int64_t{ifd.window.right} - ifd.window.left + 1;
  if (is_narrow && source.sample_bytes() == 2) alpha_samples_ /= 2;  // stored in one byte each, read in two
}

void Rows::convert_from(void* const* rows, uint64_t first, bool has_alpha, std::span<uint8_t> out) const {
  RowSources sources = {};
  const uint64_t offset = (first_sample_ + first) * source_.sample_bytes();
  const int32_t channel_count = has_alpha ? 4 : source_.layout.components == 1 ? 1 : 3;
  for (int32_t c = 0; c < channel_count; ++c) {
    sources.channels[c] = static_cast<const uint8_t*>(rows[channels_[c]]) + offset;
  }
  // Opaque without matte; behind the end of a narrow matte row there is nothing.
  sources.fixed_alpha = source_.has_alpha() ? 0 : 0xFFFF;
  converter_(sources, out);
}

void Rows::convert(void* const* rows, std::span<uint8_t> out) const {
  const uint32_t pixel_bytes = source_.layout.pixel_bytes();
  const auto pixel_count = static_cast<int64_t>(out.size() / pixel_bytes);
  const int64_t held = std::clamp<int64_t>(alpha_samples_ - first_sample_, 0, pixel_count);
  const int64_t with_alpha = source_.has_alpha() ? held : 0;
  if (with_alpha > 0) convert_from(rows, 0, true, out.first(with_alpha * pixel_bytes));
  if (with_alpha < pixel_count) convert_from(rows, with_alpha, false, out.subspan(with_alpha * pixel_bytes));
}

// ---- Row by row --------------------------------------------------------------------------------------

bool is_same_group(const ORB_CHANNELS& a, const ORB_CHANNELS& b) {
  return a.count == b.count && a.type == b.type && a.width == b.width;
}

// A file that had to be opened again may have become another one meanwhile.
bool is_same_picture(const ORB_IMAGE* image, const ORB_IFD& before) {
  if (!image->info.images || image->info.image_count < 1) return false;
  const ORB_IFD& now = image->info.images[0];
  return contains(now.window, before.window) && contains(before.window, now.window) &&
         is_same_group(now.color, before.color) && is_same_group(now.matte, before.matte) &&
         now.orientation == before.orientation;
}

int32_t read_rows(ORB_IMAGE* image, const Request& request, const ORB_IFD& ifd, const ORB_WINDOW& part) {
  const Rows converted({ifd, *request.layout, part});
  const bool is_upward = ifd.orientation & ORB_BOTTOM_UP;
  const int64_t row_count = int64_t{part.top} - part.bottom + 1;
  for (int64_t i = 0; i < row_count; ++i) {
    const auto line = static_cast<int32_t>(is_upward ? part.bottom + i : part.top - i);
    void** rows = nullptr;
    if (ORB_scan_read(image, line, &rows) != 0 || !op::has_rows(rows, converted.channels(), line)) {
      return last_error();
    }
    if (ifd.color.width > kMostBits) return refuse(image);
    converted.convert(rows, request.pixels(line, part));
  }
  return last_error();
}

// Reads and converts what is part of the window, in the order of the file.
int32_t read_part(ORB_IMAGE** image_ref, const Request& request, const ORB_WINDOW& part) {
  const ORB_IFD ifd = (*image_ref)->info.images[0];  // of the handle before the seek
  const bool is_upward = ifd.orientation & ORB_BOTTOM_UP;
  if (ORB_seek(image_ref, is_upward ? part.bottom : part.top) != 0) return last_error();
  const bool has_source = ifd.color.count >= 1 && contains(ifd.window, part);
  if (!has_source || !is_same_picture(*image_ref, ifd)) return refuse(*image_ref);
  return read_rows(*image_ref, request, ifd, part);
}

int32_t read_by_rows(ORB_IMAGE** image_ref, Request request, uint32_t layout) {
  const ORB_IMAGE* image = *image_ref;
  request.layout = find_layout(layout);
  if (!request.layout) return refuse(image);
  if (request.is_reversed()) return last_error();
  if (request.row_bytes == ORB_REGION_PACKED)
    request.row_bytes = request.columns() * request.layout->pixel_bytes();
  if (!request.is_possible() || image->mode != ORB_MODE_READ || !image->info.images ||
      image->info.image_count < 1) {
    return refuse(image);
  }
  const ORB_WINDOW part = clip(request.rectangle, image->info.images[0].active_window);
  if (is_empty(part)) {
    request.zero_all();
    return last_error();
  }
  zero_outside(request, part);
  return read_part(image_ref, request, part);
}

}  // namespace
}  // namespace orb::region

int32_t ORB_get_region(ORB_IMAGE** image_ref, int32_t x_left, int32_t x_right, int32_t y_bottom,
                       int32_t y_top, void* buffer, uint32_t row_bytes, uint32_t layout) {
  using namespace orb;
  if (!image_ref || !*image_ref) return fail(ORB_E_HANDLE);
  ORB_IMAGE* image = *image_ref;
  const ORB_WINDOW rectangle = {x_left, x_right, y_bottom, y_top};
  const int32_t result =
      image->region ? region::read_by_driver(image, rectangle, buffer, row_bytes, layout)
                    : region::read_by_rows(
                          &image, {rectangle, static_cast<uint8_t*>(buffer), row_bytes, nullptr}, layout);
  *image_ref = image;
  return result;
}
