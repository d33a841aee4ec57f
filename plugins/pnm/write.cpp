// Opening a file for writing and closing it. All that can be refused is refused before the file is touched.
#include "write.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <utility>

#include "header.h"
#include "plugins/common/description.h"
#include "plugins/common/handle.h"
#include "plugins/common/reports.h"
#include "settings.h"

namespace orb::pnm {
namespace {

using plugin::make_zeroed;
using plugin::owned;

constexpr const char* kCall = "Opening a PNM for writing";
constexpr size_t kMostCommentBytes = 60000;  // what a reader takes, less the header's other lines

void release_writer(Writer& writer) {
  plugin::release(writer.stream);
  ERR_free(writer.packed);
}

// For an open that failed.
void undo(Writer& writer) {
  release_writer(writer);
  plugin::remove_created(writer.stream);
}
using WriterOwner = plugin::RecordOwner<Writer, undo>;

bool refuse(const Member& member) { return plugin::refuse(ORB_MSG_CANNOT_HANDLE, member.key.data()); }

bool take_size(const ORB_WINDOW& window, Header* out) {
  const int64_t width = plugin::width_of(window);
  const int64_t height = plugin::height_of(window);
  if (width < 1 || width > INT32_MAX || height < 1 || height > INT32_MAX) return false;
  out->width = static_cast<int32_t>(width);
  out->height = static_cast<int32_t>(height);
  return true;
}

// ---- The header ----

// A description becomes comments, a line each, which end with the line: a carriage return would end one too.
bool is_storable(const char* text) {
  const size_t length = std::strlen(text);
  const auto lines = static_cast<size_t>(std::count(text, text + length, '\n')) + 1;
  return length + 3 * lines <= kMostCommentBytes && !std::strchr(text, '\r');
}

// The kind of matte that a PAM has without a word; its name, taken out of the description.
char* take_separate(Writer& writer, ORB_IFD& ifd) {
  plugin::warn_of_associated(writer.stream, ifd);
  return plugin::has_matte_named(ifd, plugin::kSeparate) ? std::exchange(ifd.matte.name, nullptr) : nullptr;
}

// From here on the handle's description says what the file will hold.
void describe(ORB_INFO& info, Writer& writer) {
  const bool has_comments = writer.header.kind != Kind::pfm;
  char* separate = take_separate(writer, info.images[0]);
  plugin::keep_only(info, has_comments ? plugin::kKeepsDescription : plugin::kKeepsNothing);
  info.images[0].matte.name = separate;
  if (writer.header.is_bottom_up()) info.images[0].orientation |= ORB_BOTTOM_UP;
  if (!info.text3 || is_storable(info.text3)) return;
  plugin::warn(writer.stream, "the description cannot be stored");
  plugin::drop_description(info);
}

void write_comments(std::FILE* file, const char* text) {
  while (text) {
    const char* end = std::strchr(text, '\n');
    const size_t length = end ? static_cast<size_t>(end - text) : std::strlen(text);
    std::fprintf(file, "# %.*s\n", static_cast<int>(length), text);
    text = end ? end + 1 : nullptr;
  }
}

char magic_of(const Header& header) {
  switch (header.kind) {
    case Kind::pbm:
      return header.is_plain ? '1' : '4';
    case Kind::pgm:
      return header.is_plain ? '2' : '5';
    case Kind::ppm:
      return header.is_plain ? '3' : '6';
    case Kind::pam:
      return '7';
    case Kind::pfm:
    case Kind::automatic:
      break;
  }
  return header.colours == 3 ? 'F' : 'f';
}

// A failure shows in the stream.
void write_header(const Writer& writer, const char* description) {
  const Header& header = writer.header;
  std::FILE* file = writer.stream.file;
  const uint32_t maximum = header.bits <= 16 ? (1U << header.bits) - 1 : 0;
  std::fprintf(file, "P%c\n", magic_of(header));
  write_comments(file, description);
  if (header.kind == Kind::pam) {
    char buffer[64];
    std::fprintf(file, "WIDTH %d\nHEIGHT %d\nDEPTH %llu\nMAXVAL %u\nTUPLTYPE %s\nENDHDR\n", header.width,
                 header.height, static_cast<unsigned long long>(header.samples()), maximum,
                 tuple_type_of(header, buffer, sizeof buffer));
    return;
  }
  std::fprintf(file, "%d %d\n", header.width, header.height);
  if (header.kind == Kind::pgm || header.kind == Kind::ppm) std::fprintf(file, "%u\n", maximum);
  if (header.kind == Kind::pfm) std::fprintf(file, "%s\n", header.is_little_endian ? "-1.0" : "1.0");
}

bool start(ORB_IMAGE& image, const Member& member, Writer& writer) {
  if (!plugin::open_for_writing(image, member.extension, writer.stream)) return false;
  errno = 0;
  write_header(writer, image.info.text3);
  if (!std::ferror(writer.stream.file)) return true;
  plugin::report_transfer(writer.stream.path, plugin::Transfer::writing, plugin::kNoLine,
                          std::strerror(errno ? errno : EIO));
  return plugin::fail(ORB_E_WRITE) == 0;
}

// ---- The handle ----

int32_t finish(Writer& writer) {
  if (writer.failure != 0) return writer.failure;
  const int64_t missing = writer.header.height - writer.next_index;
  if (missing > 0) return plugin::report_missing_rows(writer.stream.path, writer.header.height, missing);
  return plugin::finish_and_report(writer.stream);
}

bool make_row(Writer& writer) {
  const Header& header = writer.header;
  const uint64_t plain_bytes =
      static_cast<uint64_t>(header.width) * header.samples() * (header.bits > 8 ? 2 : 1);
  const uint64_t packed_bytes = header.is_plain ? plain_bytes : header.row_bytes();
  if (orb__within_limit(ORB_LIMIT_BUFFER, packed_bytes, kCall) == 0) return false;
  writer.packed = static_cast<uint8_t*>(plugin::allocate(packed_bytes));
  return writer.packed != nullptr;
}

}  // namespace

bool write_open(ORB_IMAGE& image, const Member& member) {
  Settings settings;
  if (!read_settings(member, image.info, &settings)) return false;
  if (image.info.image_count != 1) return refuse(member);
  auto writer = plugin::make_record<WriterOwner>();
  owned<ORB_DRIVER_BLOCK> block = make_zeroed<ORB_DRIVER_BLOCK>(1);
  if (!writer || !block) return false;
  Header& header = writer->header;
  if (!choose_layout(member, settings.kind, image.info.images[0], &header)) return false;
  header.is_plain = settings.is_plain;
  header.is_little_endian = std::endian::native == std::endian::little;
  if (!take_size(image.info.images[0].window, &header)) return refuse(member);
  if (!make_row(*writer)) return false;
  writer->stream.path = image.info.handle;
  describe(image.info, *writer);
  if (!start(image, member, *writer)) return false;
  plugin::attach(image, block, writer, write_scan, plugin::close_writer<Writer, finish, release_writer>);
  return true;
}

}  // namespace orb::pnm
