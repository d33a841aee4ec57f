// Opening a file for reading: its headers become descriptions, and what they claim is held against the limits
// and against the file's size before memory is taken.
#include "read.h"

#include <sys/stat.h>
#include <sys/types.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "plugins/common/description.h"
#include "plugins/common/handle.h"
#include "plugins/common/reports.h"
#include "settings.h"

namespace orb::pnm {
namespace {

using plugin::make_zeroed;
using plugin::owned;

constexpr const char* kCall = "Opening a PNM for reading";

void release_file(File& file) {
  plugin::release(file.stream);
  ERR_free(file.packed);
}
using FileOwner = plugin::RecordOwner<File, release_file>;

void release_rows(Picture* pictures, int32_t count) {
  for (int32_t i = 0; i < count; ++i) ORB_chan_free(pictures[i].rows);
}

// The pictures of a file that is being opened.
struct Pictures {
  owned<Picture> first;
  int32_t count = 0;
  ~Pictures() {
    if (first) release_rows(first.get(), count);
  }
};

bool report(const File& file, const Member& member, const Problem& problem) {
  const char* text = problem.io_error != 0 ? std::strerror(problem.io_error) : problem.text;
  if (problem.code == ORB_E_FORMAT) {
    orb__report(ORB_MSG_NOT_OF_FORMAT, file.stream.path, member.name, text);
  } else {
    orb__report(ORB_MSG_READ_PROBLEM, file.stream.path, text);
  }
  plugin::fail(problem.code);
  return false;
}

void measure(File& file) {
  struct stat status;
  if (fstat(fileno(file.stream.file), &status) != 0 || !S_ISREG(status.st_mode)) return;
  file.position = ftello(file.stream.file);
  file.is_seekable = file.position >= 0;
  file.end = status.st_size;
}

bool move_to(File& file, int64_t position) {
  file.position = position;
  return fseeko(file.stream.file, position, SEEK_SET) == 0;
}

// Numbers in text take a byte, and but for black and white one more between them.
uint64_t least_row_bytes(const Header& header) {
  if (!header.is_plain) return header.row_bytes();
  const uint64_t numbers = static_cast<uint64_t>(header.width) * header.samples();
  return header.kind == Kind::pbm ? numbers : numbers * 2 - 1;
}

bool fits_file(const File& file, const Header& header, int64_t data_at, Problem* problem) {
  const auto left = static_cast<uint64_t>(std::max<int64_t>(file.end - data_at, 0));
  if (static_cast<uint64_t>(header.height) <= left / least_row_bytes(header)) return true;
  *problem = {ORB_E_READ, 0, ""};
  std::snprintf(problem->text, sizeof problem->text,
                "the file ends too early: %llu bytes are there for %d rows of %llu",
                static_cast<unsigned long long>(left), header.height,
                static_cast<unsigned long long>(least_row_bytes(header)));
  return false;
}

// ---- The pictures of a file ----

// Whether another picture begins at this place; a remark when something else does.
bool is_followed(File& file, int64_t at) {
  if (at >= file.end) return false;
  uint8_t bytes[3];
  if (move_to(file, at) && std::fread(bytes, 1, sizeof bytes, file.stream.file) == sizeof bytes &&
      is_magic(bytes, Kind::automatic)) {
    return true;
  }
  char text[96];
  std::snprintf(text, sizeof text, "the %lld bytes behind the picture are not kept",
                static_cast<long long>(file.end - at));
  plugin::warn(file.stream, text);
  return false;
}

bool read_picture(File& file, int32_t number, Picture* out, Comments* comments, Problem* problem) {
  *out = {};
  out->file = &file;
  if (!read_header(file.stream.file, &out->header, comments, problem)) return false;
  if (problem->text[0] != '\0') {
    char placed[320];
    plugin::place_remark("picture", number, problem->text, placed);
    plugin::mask_controls(placed);
    plugin::warn(file.stream, placed);
  }
  if (!file.is_seekable) return true;
  out->data_at = file.position = ftello(file.stream.file);
  return fits_file(file, out->header, out->data_at, problem);
}

int64_t end_of(const Picture& picture) {
  return picture.data_at + static_cast<int64_t>(picture.header.row_bytes()) * picture.header.height;
}

// Walks the pictures that follow the first, which must be raw in a regular file. others: takes them, or null
// to count them. Each is within the file, so that their number is bounded by it.
bool walk_others(File& file, const Picture& first, Picture* others, int32_t* count_out, Problem* problem) {
  *count_out = 0;
  Picture picture = first;
  while (picture.gives_any_row() && is_followed(file, end_of(picture))) {
    if (!move_to(file, end_of(picture)) || !read_picture(file, *count_out + 2, &picture, nullptr, problem))
      return false;
    if (others) others[*count_out] = picture;
    ++*count_out;
  }
  return true;
}

bool find_pictures(File& file, const Member& member, Comments* comments, Pictures* out) {
  Picture first;
  Problem problem = {};
  int32_t others = 0;
  if (!read_picture(file, 0, &first, comments, &problem) ||
      !walk_others(file, first, nullptr, &others, &problem)) {
    return report(file, member, problem);
  }
  const int64_t count = int64_t{others} + 1;
  if (orb__within_limit(ORB_LIMIT_IMAGES, static_cast<uint64_t>(count), kCall) == 0) return false;
  out->first = make_zeroed<Picture>(static_cast<uint64_t>(count));
  if (!out->first) return false;
  out->first.get()[0] = first;
  if (others > 0) {
    const int32_t warnings = file.stream.warnings;
    file.stream.warnings = INT32_MAX;  // said once already
    const bool is_walked = walk_others(file, first, out->first.get() + 1, &others, &problem);
    file.stream.warnings = warnings;
    if (!is_walked) return report(file, member, problem);
  }
  out->count = others + 1;
  return first.gives_any_row() && others == 0 ? move_to(file, first.data_at) : true;
}

// ---- Descriptions ----

void describe_group(ORB_CHANNELS& group, int32_t count, const Header& header) {
  group.count = count;
  if (count == 0) return;
  group.type = header.form() == Form::floats ? ORB_C_FLOAT : ORB_C_INTEGER;
  group.width = header.bits;
}

void describe(ORB_IFD& ifd, const Header& header) {
  plugin::describe_size(ifd, header.width, header.height);
  if (header.is_bottom_up()) ifd.orientation |= ORB_BOTTOM_UP;
  describe_group(ifd.color, header.colours, header);
  describe_group(ifd.matte, header.mattes, header);
  describe_group(ifd.aux, header.auxes, header);
}

bool take_comments(File& file, const Comments& comments, const Pictures& pictures, ORB_INFO& info) {
  const Picture* first = pictures.first.get();
  if (std::any_of(first + 1, first + pictures.count,
                  [](const Picture& p) { return p.header.has_comments; })) {
    plugin::note(file.stream, "the comments of further pictures are not kept");
  }
  if (comments.has_zero) plugin::warn(file.stream, "a comment holds zero bytes, which are left out");
  if (comments.length == 0) return true;
  owned<char> text(static_cast<char*>(plugin::allocate(comments.length + 1)));
  if (!text) return false;
  std::memcpy(text.get(), comments.text, comments.length + 1);
  info.text3 = text.release();
  return true;
}

// ---- Rows ----

// The block of the rows given out.
uint64_t given_bytes(const Header& header) {
  const uint64_t pixels = static_cast<uint64_t>(header.width);
  const uint64_t sample_bytes = header.bits > 16 ? 4 : header.bits > 8 ? 2 : 1;
  return plugin::given_row_bytes(pixels, sample_bytes) * header.samples();
}

uint64_t packed_bytes(const Header& header) {
  if (!header.is_plain) return header.row_bytes();
  return static_cast<uint64_t>(header.width) * header.samples() * (header.bits > 8 ? 2 : 1);
}

bool is_within_limits(const Pictures& pictures, uint64_t* packed_out) {
  uint64_t together = 0;
  for (int32_t i = 0; i < pictures.count; ++i) {
    const Header& header = pictures.first.get()[i].header;
    if (orb__within_limit(ORB_LIMIT_CHANNELS, header.samples(), kCall) == 0) return false;
    const uint64_t given = given_bytes(header);
    const uint64_t packed = packed_bytes(header);
    if (orb__within_limit(ORB_LIMIT_BUFFER, std::max(given, packed), kCall) == 0) return false;
    together += given;
    *packed_out = std::max(*packed_out, packed);
    if (orb__within_limit(ORB_LIMIT_HANDLE, together + *packed_out, kCall) == 0) return false;
  }
  return true;
}

bool make_rows(const Pictures& pictures, const Member& member, ORB_IMAGE& image, File& file) {
  uint64_t packed = 0;
  if (!is_within_limits(pictures, &packed)) return false;
  file.packed = static_cast<uint8_t*>(plugin::allocate(packed));
  if (!file.packed) return false;
  for (int32_t i = 0; i < pictures.count; ++i) {
    Picture& picture = pictures.first.get()[i];
    picture.rows = ORB_chan_alloc(&image.info.images[i], picture.header.width, member.key.data(), nullptr);
    if (!picture.rows) return false;
  }
  return true;
}

// ---- The handle ----

int32_t close_reader(ORB_IMAGE* image) {
  auto* pictures = static_cast<Picture*>(image->driver->data);
  const FileOwner file(pictures->file);
  release_rows(pictures, image->info.image_count);
  orb__free_obj(image);
  return 0;
}

bool attach(ORB_IMAGE& image, Pictures& pictures, FileOwner& file) {
  owned<ORB_DRIVER_BLOCK> blocks = make_zeroed<ORB_DRIVER_BLOCK>(static_cast<uint64_t>(pictures.count));
  if (!blocks) return false;
  if (pictures.first->gives_any_row()) image.seek = plugin::seek_anywhere;
  image.scan = read_scan;
  image.close = close_reader;
  for (int32_t i = 0; i < pictures.count; ++i) blocks.get()[i].data = pictures.first.get() + i;
  image.driver = blocks.release();
  pictures.first.release();  // slot 0's data is all of them
  file.release();
  return true;
}

}  // namespace

bool read_open(ORB_IMAGE& image, const Member& member) {
  Settings settings;
  if (!read_settings(member, image.info, &settings)) return false;
  auto file = plugin::make_record<FileOwner>();
  const owned<Comments> comments = make_zeroed<Comments>(1);
  if (!file || !comments) return false;
  if (!plugin::open_for_reading(image, member.extension, file->stream)) return false;
  measure(*file);
  Pictures pictures;
  if (!find_pictures(*file, member, comments.get(), &pictures)) return false;
  if (!plugin::make_descriptors(image, pictures.count)) return false;
  for (int32_t i = 0; i < pictures.count; ++i) describe(image.info.images[i], pictures.first.get()[i].header);
  return take_comments(*file, *comments, pictures, image.info) && make_rows(pictures, member, image, *file) &&
         attach(image, pictures, file);
}

bool is_of_member(const char* name, std::FILE* stream, const Member& member) {
  static constexpr bool (*kLooks[])(const uint8_t*) = {
      [](const uint8_t* bytes) { return is_magic(bytes, Kind::automatic); },
      [](const uint8_t* bytes) { return is_magic(bytes, Kind::pbm); },
      [](const uint8_t* bytes) { return is_magic(bytes, Kind::pgm); },
      [](const uint8_t* bytes) { return is_magic(bytes, Kind::ppm); },
      [](const uint8_t* bytes) { return is_magic(bytes, Kind::pam); },
      [](const uint8_t* bytes) { return is_magic(bytes, Kind::pfm); }};
  return plugin::begins_right(name, stream, 3, kLooks[static_cast<size_t>(member.kind)]);
}

}  // namespace orb::pnm
