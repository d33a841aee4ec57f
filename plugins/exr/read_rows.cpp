// The scanlines of an OpenEXR file: from the band's planes to the channel rows that a reader gives out.
#include <cstring>

#include "bands.h"
#include "orbbase/driver.h"
#include "plugins/common/description.h"
#include "plugins/common/reports.h"
#include "read.h"
#include "samples.h"

namespace orb::exr {
namespace {

// A part's band and rows are there from its first line on.
bool choose(const ReadPart& read) {
  Reader& reader = *read.reader;
  Current& current = reader.current;
  if (current.index == read.index) return true;
  release_current(reader);
  ORB_IFD ifd = read.ifd;
  current.rows = ORB_chan_alloc(&ifd, static_cast<int32_t>(plugin::width_of(ifd.window)), kKey, nullptr);
  current.band = make_zeroed<uint8_t>(read.part.band.bytes()).release();
  if (!current.rows || !current.band) {
    release_current(reader);
    return false;
  }
  current.index = read.index;
  return true;
}

// The group that a channel row belongs to.
const ORB_CHANNELS& group_of(const ORB_IFD& ifd, int32_t row) {
  if (row < ifd.color.count) return ifd.color;
  return row < ifd.color.count + ifd.matte.count ? ifd.matte : ifd.aux;
}

template <class T>
std::span<const T> samples_of(const uint8_t* bytes, size_t count) {
  return {reinterpret_cast<const T*>(bytes), count};
}

void take_samples(const uint8_t* stored, exr_pixel_type_t type, bool as_doubles, size_t count, uint8_t* out) {
  if (type == EXR_PIXEL_HALF && as_doubles) {
    doubles_from_halves(samples_of<uint16_t>(stored, count), out);
  } else if (type == EXR_PIXEL_HALF) {
    floats_from_halves(samples_of<uint16_t>(stored, count), reinterpret_cast<uint32_t*>(out));
  } else if (!as_doubles) {
    std::memcpy(out, stored, count * 4);
  } else if (type == EXR_PIXEL_UINT) {
    doubles_from_integers(samples_of<uint32_t>(stored, count), out);
  } else {
    doubles_from_floats(samples_of<float>(stored, count), out);
  }
}

// The operators may have changed what lies outside of the active window.
void fill_row(const ReadPart& read, const Plane& plane, const uint8_t* stored) {
  const Place& place = read.part.place;
  const ORB_CHANNELS& group = group_of(read.ifd, plane.row);
  const bool as_doubles = group.type == ORB_C_DOUBLE;
  const size_t sample_bytes = as_doubles ? 8 : 4;
  const auto count = static_cast<size_t>(plugin::width_of(place.active));
  const auto left = static_cast<size_t>(int64_t{place.active.left} - place.window.left) * sample_bytes;
  const auto right = static_cast<size_t>(int64_t{place.window.right} - place.active.right) * sample_bytes;
  auto* row = static_cast<uint8_t*>(read.reader->current.rows[plane.row]);
  std::memset(row, 0, left);
  take_samples(stored, plane.type, as_doubles, count, row + left);
  std::memset(row + left + count * sample_bytes, 0, right);
}

void take_line(const ReadPart& read, int64_t line_in_band) {
  const Band& band = read.part.band;
  for (int32_t i = 0; i < read.part.plane_count; ++i) {
    const Plane& plane = read.part.planes[i];
    const uint64_t line_bytes = static_cast<uint64_t>(band.width) * plane.sample_bytes();
    fill_row(
        read, plane,
        read.reader->current.band + band.plane_at(plane) + static_cast<uint64_t>(line_in_band) * line_bytes);
  }
}

void zero_rows(const ReadPart& read) {
  const auto pixels = static_cast<size_t>(plugin::width_of(read.ifd.window));
  for (int32_t row = 0; row < read.part.plane_count; ++row) {
    const size_t sample_bytes = group_of(read.ifd, row).type == ORB_C_DOUBLE ? 8 : 4;
    std::memset(read.reader->current.rows[row], 0, pixels * sample_bytes);
  }
}

}  // namespace

int32_t read_scan(void* data, int32_t line, void* rows_out) {
  const ReadPart& read = *static_cast<ReadPart*>(data);
  const Place& place = read.part.place;
  if (line < place.window.bottom || line > place.window.top) return plugin::refuse_line(line);
  if (!choose(read)) return orb__err;
  Current& current = read.reader->current;
  if (line < place.active.bottom || line > place.active.top) {
    zero_rows(read);
  } else {
    const int64_t at = data_line(read.part, line);
    const int32_t code = load_band(read, at, line);
    if (code != 0) return code;
    take_line(read, at - current.first_line);
  }
  *static_cast<void***>(rows_out) = current.rows;
  return 0;
}

}  // namespace orb::exr
