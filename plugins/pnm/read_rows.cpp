// The scanlines of a reader: from the file's rows to the channel rows that are given out.
#include <cerrno>
#include <cstring>

#include "plain.h"
#include "plugins/common/reports.h"
#include "read.h"
#include "samples.h"

namespace orb::pnm {
namespace {

// A file that is read in sequence ends with its first failure; of another each row stands for itself.
int32_t fail_row(Picture& picture, int32_t line, int32_t code, const char* reason) {
  plugin::report_transfer(picture.file->stream.path, plugin::Transfer::reading, line, reason);
  if (!picture.gives_any_row()) picture.file->failure = code;
  return plugin::fail(code);
}

int32_t fail_end(Picture& picture, int32_t line) {
  const bool is_unreadable = std::ferror(picture.file->stream.file) != 0;
  return fail_row(picture, line, ORB_E_READ,
                  is_unreadable ? std::strerror(errno ? errno : EIO) : "the file ends too early");
}

int32_t read_raw(Picture& picture, int64_t index, int32_t line, uint8_t* packed) {
  File& file = *picture.file;
  const uint64_t row_bytes = picture.header.row_bytes();
  errno = 0;
  if (picture.gives_any_row()) {
    const int64_t place = picture.data_at + index * static_cast<int64_t>(row_bytes);
    if (file.position != place && fseeko(file.stream.file, place, SEEK_SET) != 0)
      return fail_end(picture, line);
    file.position = place + static_cast<int64_t>(row_bytes);
  }
  if (std::fread(packed, 1, row_bytes, file.stream.file) == row_bytes) return 0;
  file.position = -1;
  return fail_end(picture, line);
}

int32_t read_plain(Picture& picture, int32_t line, uint8_t* packed) {
  errno = 0;
  switch (read_plain_row(picture.file->stream.file, picture.header, packed)) {
    case PlainEnd::ok:
      return 0;
    case PlainEnd::file_ends:
      return fail_end(picture, line);
    case PlainEnd::bad_byte:
      return fail_row(picture, line, ORB_E_DECODE, "something else than a number");
    case PlainEnd::too_large:
      break;
  }
  return fail_row(picture, line, ORB_E_DECODE, "a sample is above the file's maximum");
}

// What stands behind the last row of a file that is read in sequence. Numbers in text may be followed by space.
void look_behind(Picture& picture) {
  File& file = *picture.file;
  int c = std::getc(file.stream.file);
  while (picture.header.is_plain && (c == ' ' || (c >= '\t' && c <= '\r'))) c = std::getc(file.stream.file);
  if (c != EOF) plugin::warn(file.stream, "what stands behind the picture is not kept");
}

}  // namespace

int32_t read_scan(void* data, int32_t line, void* rows_out) {
  Picture& picture = *static_cast<Picture*>(data);
  const Header& header = picture.header;
  const bool is_inside = line >= 0 && line < header.height;
  const int64_t index = header.is_bottom_up() ? line : header.height - 1 - int64_t{line};
  if (picture.file->failure != 0) return plugin::fail(picture.file->failure);
  if (!is_inside || (!picture.gives_any_row() && index != picture.next_index)) {
    return plugin::refuse_line(line);
  }
  uint8_t* packed = picture.reads_into_row() ? static_cast<uint8_t*>(picture.rows[0]) : picture.file->packed;
  const int32_t code =
      header.is_plain ? read_plain(picture, line, packed) : read_raw(picture, index, line, packed);
  if (code != 0) return code;
  const uint32_t seen = unpack_row(header, packed, picture.rows);
  if (header.bits <= 16 && seen >> header.bits != 0) {
    return fail_row(picture, line, ORB_E_DECODE, "a sample is above the file's maximum");
  }
  picture.next_index = index + 1;
  if (!picture.gives_any_row() && picture.next_index == header.height) look_behind(picture);
  *static_cast<void***>(rows_out) = picture.rows;
  return 0;
}

}  // namespace orb::pnm
