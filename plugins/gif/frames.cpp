#include "frames.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "orbbase/driver.h"
#include "plugins/common/memory.h"

namespace orb::gif {
namespace {

using plugin::fail;

constexpr const char* kCall = "Opening a GIF for reading";

enum Block : int { kImage = 0x2C, kExtension = 0x21, kEnd = 0x3B };
enum Extension : int { kPlainText = 0x01, kControl = 0xF9, kComment = 0xFE, kApplication = 0xFF };

// What a graphic control extension says of the frame behind it.
struct Control {
  uint16_t delay = 0;
  int16_t transparent = -1;
  uint8_t disposal = kLeave;
};

// A walk through the file. It ends at the first byte that is not there.
struct Walk {
  std::FILE* file;
  plugin::Stream& stream;
  Contents& contents;
  int64_t at = 0;  // bytes taken
  Colours global = {};
  Control control = {};
  int32_t code = 0;  // of a failure that was reported
  bool has_comments_left_out = false;

  bool take(uint8_t* bytes, size_t count) {
    const size_t taken = std::fread(bytes, 1, count, file);
    at += static_cast<int64_t>(taken);
    return taken == count;
  }
};

int32_t word(const uint8_t* bytes) { return bytes[0] | bytes[1] << 8; }

// The next part of a block, at most 255 bytes; 0 is its end. Negative when the file is cut.
int32_t take_part(Walk& walk, uint8_t* bytes) {
  uint8_t count = 0;
  if (!walk.take(&count, 1) || !walk.take(bytes, count)) return -1;
  return count;
}

bool skip_parts(Walk& walk) {
  uint8_t bytes[255];
  int32_t count = 1;
  while (count > 0) count = take_part(walk, bytes);
  return count == 0;
}

bool take_colours(Walk& walk, uint8_t flags, Colours* out) {
  *out = {};
  if ((flags & 0x80) == 0) return true;
  out->bits = (flags & 7) + 1;
  return walk.take(out->rgb[0], static_cast<size_t>(out->count()) * 3);
}

// ---- Extensions ----

bool take_control(Walk& walk) {
  uint8_t bytes[255];
  const int32_t count = take_part(walk, bytes);
  if (count < 0) return false;
  if (count == 0) return true;
  if (count >= 4) {
    walk.control.disposal = static_cast<uint8_t>(bytes[0] >> 2 & 7);
    walk.control.delay = static_cast<uint16_t>(word(bytes + 1));
    walk.control.transparent = (bytes[0] & 1) != 0 ? bytes[3] : int16_t{-1};
  }
  return skip_parts(walk);
}

// Room for so many more bytes and the end of the text.
bool has_comment_room(Walk& walk, size_t bytes) {
  Contents& contents = walk.contents;
  if (contents.comment_bytes + bytes >= kMostCommentBytes) {
    if (!walk.has_comments_left_out)
      plugin::warn(walk.stream, "the comments are too long; the rest is left out");
    walk.has_comments_left_out = true;
    return false;
  }
  if (contents.comments) return true;
  contents.comments = static_cast<char*>(plugin::allocate(kMostCommentBytes));
  if (!contents.comments) walk.code = ORB_E_MEMORY;
  return contents.comments != nullptr;
}

void add_comment(Walk& walk, const void* bytes, size_t count) {
  if (!has_comment_room(walk, count)) return;
  char* end = walk.contents.comments + walk.contents.comment_bytes;
  std::memcpy(end, bytes, count);
  const auto kept = static_cast<size_t>(std::remove(end, end + count, '\0') - end);
  if (kept != count) plugin::warn(walk.stream, "a comment holds zero bytes, which are left out");
  end[kept] = '\0';
  walk.contents.comment_bytes += static_cast<uint32_t>(kept);
}

bool take_comment(Walk& walk) {
  if (walk.contents.comment_bytes > 0) add_comment(walk, "\n", 1);
  uint8_t bytes[255];
  for (;;) {
    const int32_t count = take_part(walk, bytes);
    if (count <= 0 || walk.code != 0) return count == 0 && walk.code == 0;
    add_comment(walk, bytes, static_cast<size_t>(count));
  }
}

bool is_named(const uint8_t* bytes, int32_t count, const char* name) {
  return count == 11 && std::memcmp(bytes, name, 11) == 0;
}

bool take_repeats(Walk& walk) {
  uint8_t bytes[255];
  for (;;) {
    const int32_t count = take_part(walk, bytes);
    if (count <= 0) return count == 0;
    if (count >= 3 && (bytes[0] & 7) == 1) walk.contents.repeats = word(bytes + 1);
  }
}

void remark_on_application(Walk& walk, const uint8_t* bytes, int32_t count) {
  if (is_named(bytes, count, "ICCRGBG1012")) {
    plugin::warn(walk.stream, "the colour profile is not kept");
    return;
  }
  char name[9] = {};
  for (int32_t i = 0; i < std::min(count, 8); ++i) {
    name[i] = bytes[i] >= 32 && bytes[i] < 127 ? static_cast<char>(bytes[i]) : '?';
  }
  char text[64];
  std::snprintf(text, sizeof text, "the data of the application \"%s\" are not kept", name);
  plugin::note(walk.stream, text);
}

bool take_application(Walk& walk) {
  uint8_t bytes[255];
  const int32_t count = take_part(walk, bytes);
  if (count <= 0) return count == 0;
  if (is_named(bytes, count, "NETSCAPE2.0") || is_named(bytes, count, "ANIMEXTS1.0"))
    return take_repeats(walk);
  remark_on_application(walk, bytes, count);
  return skip_parts(walk);
}

bool take_extension(Walk& walk) {
  uint8_t label = 0;
  if (!walk.take(&label, 1)) return false;
  switch (label) {
    case kControl:
      return take_control(walk);
    case kComment:
      return take_comment(walk);
    case kApplication:
      return take_application(walk);
    case kPlainText:
      plugin::warn(walk.stream, "text that is to be drawn into the picture is left out");
      walk.control = {};
      return skip_parts(walk);
    default:
      plugin::note(walk.stream, "an extension of an unknown kind is not kept");
      return skip_parts(walk);
  }
}

// ---- Frames ----

// The colours of a frame are looked at now; what they are is read again with its pixels.
bool take_frame_colours(Walk& walk, uint8_t flags) {
  Colours local;
  if (!take_colours(walk, flags, &local)) return false;
  const Colours& colours = local.bits != 0 ? local : walk.global;
  Contents& contents = walk.contents;
  if (colours.bits == 0) {
    orb__report(ORB_MSG_NOT_OF_FORMAT, walk.stream.path, "GIF", "a frame has no palette");
    walk.code = fail(ORB_E_FORMAT);
    return false;
  }
  if (contents.frame_count == 0) {
    contents.colours = colours;
    contents.is_one_palette = true;
  } else if (contents.is_one_palette) {
    contents.is_one_palette = is_same(colours, contents.colours);
  }
  return true;
}

bool add_frame(Walk& walk, const Frame& frame) {
  Contents& contents = walk.contents;
  const auto count = static_cast<uint32_t>(contents.frame_count);
  if (count == contents.frame_capacity) {
    const uint64_t wanted = count == 0 ? 16 : uint64_t{count} * 2;
    const uint64_t bytes = wanted * sizeof(Frame);
    if (orb__within_limit(ORB_LIMIT_BUFFER, bytes, kCall) == 0 || bytes > UINT32_MAX) return false;
    void* larger = ERR_realloc(contents.frames, static_cast<uint32_t>(bytes));
    if (!larger) return false;
    contents.frames = static_cast<Frame*>(larger);
    contents.frame_capacity = static_cast<uint32_t>(wanted);
  }
  contents.frames[count] = frame;
  ++contents.frame_count;
  return true;
}

bool take_frame(Walk& walk) {
  const int64_t at = walk.at - 1;  // with the byte that says what it is
  uint8_t bytes[9];
  if (!walk.take(bytes, sizeof bytes) || !take_frame_colours(walk, bytes[8])) return false;
  const Control control = walk.control;
  walk.control = {};
  const auto half = [&bytes](int i) { return static_cast<uint16_t>(word(bytes + i)); };
  const Frame frame = {at,      0,       0,       control.transparent, half(0),
                       half(2), half(4), half(6), control.delay,       control.disposal};
  if (!add_frame(walk, frame)) {
    walk.code = fail(ORB_E_MEMORY);
    return false;
  }
  uint8_t code_bits = 0;
  const bool is_whole = walk.take(&code_bits, 1) && skip_parts(walk);
  walk.contents.frames[walk.contents.frame_count - 1].data_bytes = walk.at - at;
  return is_whole;
}

// ---- The file ----

bool refuse(const Walk& walk, const char* reason) {
  orb__report(ORB_MSG_NOT_OF_FORMAT, walk.stream.path, "GIF", reason);
  fail(ORB_E_FORMAT);
  return false;
}

bool refuse_cut(const Walk& walk) {
  const char* reason =
      std::ferror(walk.file) != 0 ? std::strerror(errno ? errno : EIO) : "the file ends too early";
  orb__report(ORB_MSG_READ_PROBLEM, walk.stream.path, reason);
  fail(ORB_E_READ);
  return false;
}

bool take_screen(Walk& walk) {
  uint8_t bytes[13];
  errno = 0;
  if (!walk.take(bytes, sizeof bytes)) {
    const bool is_empty = walk.at == 0 && std::ferror(walk.file) == 0;
    return is_empty ? refuse(walk, "it is empty") : refuse_cut(walk);
  }
  if (std::memcmp(bytes, "GIF87a", 6) != 0 && std::memcmp(bytes, "GIF89a", 6) != 0) {
    return refuse(walk, "it does not begin as one");
  }
  Contents& contents = walk.contents;
  contents.width = word(bytes + 6);
  contents.height = word(bytes + 8);
  contents.aspect = bytes[12];
  contents.repeats = -1;
  if (contents.width == 0 || contents.height == 0) return refuse(walk, "its screen has no pixels");
  return take_colours(walk, bytes[10], &walk.global) || refuse_cut(walk);
}

void take_end(Walk& walk) {
  walk.contents.has_end = true;
  if (std::fgetc(walk.file) != EOF) plugin::warn(walk.stream, "what stands behind the end mark is not kept");
}

void take_blocks(Walk& walk) {
  for (bool goes_on = true; goes_on;) {
    uint8_t kind = 0;
    if (!walk.take(&kind, 1)) return;
    switch (kind) {
      case kImage:
        goes_on = take_frame(walk);
        break;
      case kExtension:
        goes_on = take_extension(walk);
        break;
      case kEnd:
        return take_end(walk);
      default:
        char text[80];
        std::snprintf(text, sizeof text, "byte %lld makes no sense; what follows is not read",
                      static_cast<long long>(walk.at - 1));
        plugin::warn(walk.stream, text);
        return;
    }
  }
}

}  // namespace

bool is_same(const Colours& a, const Colours& b) {
  return a.bits == b.bits && std::memcmp(a.rgb, b.rgb, static_cast<size_t>(a.count()) * 3) == 0;
}

bool read_contents(std::FILE* file, plugin::Stream& stream, Contents& contents) {
  Walk walk = {.file = file, .stream = stream, .contents = contents};
  if (!take_screen(walk)) return false;
  take_blocks(walk);
  if (walk.code != 0) return false;
  // What can be had of a cut file is shown; of one that cannot be read nobody knows what there is.
  if (!contents.has_end && std::ferror(file) != 0) return refuse_cut(walk);
  if (contents.frame_count > 0) return true;
  return contents.has_end ? refuse(walk, "it holds no picture") : refuse_cut(walk);
}

void release_contents(Contents& contents) {
  ERR_free(contents.frames);
  ERR_free(contents.comments);
}

}  // namespace orb::gif
