#include "compose.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <span>

#include "orbbase/driver.h"
#include "plugins/common/memory.h"
#include "samples.h"

namespace orb::gif {
namespace {

constexpr const char* kCall = "Opening a GIF for reading";

// ---- The codec library ----

// Its byte source: the file, from wherever it stands.
int read_bytes(GifFileType* codec, GifByteType* bytes, int count) {
  Screen& screen = *static_cast<Screen*>(codec->UserData);
  const size_t taken = std::fread(bytes, 1, static_cast<size_t>(count), screen.file);
  if (taken == static_cast<size_t>(count)) return count;
  // It goes on with what it has; the rest of its buffer is not to be that of an earlier block.
  std::memset(bytes + taken, 0, static_cast<size_t>(count) - taken);
  screen.is_cut = true;
  return static_cast<int>(taken);
}

int32_t fail_frame(Screen& screen, int32_t number, int32_t code, const char* reason) {
  char text[160];
  std::snprintf(text, sizeof text, "frame %d: %s", number, reason);
  orb__report(ORB_MSG_READ_PROBLEM, screen.path, text);
  return plugin::fail(code);
}

int32_t fail_codec(Screen& screen, int32_t number, int system_error) {
  if (screen.codec->Error == D_GIF_ERR_NOT_ENOUGH_MEM || (!screen.is_cut && plugin::codec_lacked_memory()))
    return plugin::fail_for_memory();
  if (!screen.is_cut) return fail_frame(screen, number, ORB_E_DECODE, "its data are damaged");
  const bool is_error = std::ferror(screen.file) != 0 || system_error != 0;
  const char* reason =
      is_error ? std::strerror(system_error ? system_error : EIO) : "the file ends too early";
  return fail_frame(screen, number, ORB_E_READ, reason);
}

// The codec stands before the first row of the frame.
bool find_frame(Screen& screen, const Frame& frame) {
  std::clearerr(screen.file);
  screen.codec->Error = 0;
  GifRecordType kind = UNDEFINED_RECORD_TYPE;
  screen.is_cut = fseeko(screen.file, frame.at, SEEK_SET) != 0;
  return !screen.is_cut && DGifGetRecordType(screen.codec, &kind) == GIF_OK &&
         kind == IMAGE_DESC_RECORD_TYPE && DGifGetImageHeader(screen.codec) == GIF_OK;
}

// A file that was changed since it was opened.
bool is_as_found(const GifImageDesc& found, const Frame& frame) {
  return found.Left == frame.left && found.Top == frame.top && found.Width == frame.width &&
         found.Height == frame.height;
}

// ---- Drawing ----

struct Pass {
  int32_t first;
  int32_t step;
};
constexpr Pass kWhole[] = {{0, 1}};
constexpr Pass kInterlaced[] = {{0, 8}, {4, 8}, {2, 4}, {1, 2}};

// What the rows of one frame are drawn with.
struct Brush {
  uint32_t colours[256];
  uint32_t colour_count;
  int32_t transparent;
  Rect rect;  // on the screen
};

void take_colours(const ColorMapObject& map, Brush* out) {
  out->colour_count = static_cast<uint32_t>(std::clamp(map.ColorCount, 0, 256));
  for (uint32_t i = 0; i < out->colour_count; ++i) {
    out->colours[i] = pack(map.Colors[i].Red, map.Colors[i].Green, map.Colors[i].Blue);
  }
}

// False when a pixel has no colour.
bool draw_row(Screen& screen, const Brush& brush, int32_t y) {
  const std::span<const uint8_t> indices(screen.row, static_cast<size_t>(brush.rect.width));
  uint8_t* place = screen.at(brush.rect.left, brush.rect.top + y);
  const uint32_t largest =
      screen.layout.holds_indices()
          ? draw_indices(indices, brush.transparent, place)
          : draw_colours(indices, brush.colours, brush.transparent, reinterpret_cast<uint32_t*>(place));
  return largest < brush.colour_count;
}

// Decodes the rows in the order of the file, as far as some are on the screen.
int32_t draw_rows(Screen& screen, const Brush& brush, const Frame& frame, int32_t number) {
  const std::span<const Pass> passes =
      screen.codec->Image.Interlace ? std::span<const Pass>(kInterlaced) : std::span<const Pass>(kWhole);
  int32_t to_come = brush.rect.height;
  for (const Pass& pass : passes) {
    for (int32_t y = pass.first; y < frame.height && to_come > 0; y += pass.step) {
      errno = 0;
      if (DGifGetLine(screen.codec, screen.row, frame.width) != GIF_OK)
        return fail_codec(screen, number, errno);
      if (y >= brush.rect.height) continue;
      --to_come;
      if (!draw_row(screen, brush, y))
        return fail_frame(screen, number, ORB_E_DECODE, "a pixel has no colour");
    }
  }
  return 0;
}

// A code of the compression takes 2 bits or more and stands for no more than 4096 pixels.
bool can_be_there(const Frame& frame, const Rect& on_screen) {
  constexpr uint64_t kMostPixelsOfByte = 4 * 4096;
  const uint64_t pixels = static_cast<uint64_t>(frame.width) * static_cast<uint64_t>(on_screen.height);
  return pixels / kMostPixelsOfByte <= static_cast<uint64_t>(frame.data_bytes);
}

int32_t fail_short(Screen& screen, int32_t number) {
  const bool is_cut = number == screen.contents.frame_count && !screen.contents.has_end;
  return is_cut ? fail_frame(screen, number, ORB_E_READ, "the file ends too early")
                : fail_frame(screen, number, ORB_E_DECODE, "its data are damaged");
}

int32_t draw_frame(Screen& screen, int32_t number) {
  const Frame& frame = screen.contents.frames[number - 1];
  Brush brush = {.colours = {}, .colour_count = 0, .transparent = frame.transparent, .rect = {}};
  brush.rect = on_screen(screen.contents, frame);
  if (brush.rect.area() == 0) return 0;
  if (!can_be_there(frame, brush.rect)) return fail_short(screen, number);
  errno = 0;
  if (!find_frame(screen, frame)) return fail_codec(screen, number, errno);
  const GifImageDesc& found = screen.codec->Image;
  const ColorMapObject* map = found.ColorMap ? found.ColorMap : screen.codec->SColorMap;
  if (!map || !is_as_found(found, frame)) {
    return fail_frame(screen, number, ORB_E_READ, "the file was changed meanwhile");
  }
  take_colours(*map, &brush);
  return draw_rows(screen, brush, frame, number);
}

// ---- The screen between two frames ----

void clear(Screen& screen, const Rect& rect) {
  const size_t bytes = static_cast<size_t>(rect.width) * screen.layout.pixel_bytes();
  for (int32_t y = 0; y < rect.height; ++y) {
    std::memset(screen.at(rect.left, rect.top + y), screen.layout.bare, bytes);
  }
}

enum class Copy { save, restore };

void copy(Screen& screen, const Rect& rect, Copy direction) {
  const size_t bytes = static_cast<size_t>(rect.width) * screen.layout.pixel_bytes();
  for (int32_t y = 0; y < rect.height; ++y) {
    uint8_t* on_screen = screen.at(rect.left, rect.top + y);
    uint8_t* aside = screen.saved + static_cast<size_t>(y) * bytes;
    if (direction == Copy::save) {
      std::memcpy(aside, on_screen, bytes);
    } else {
      std::memcpy(on_screen, aside, bytes);
    }
  }
}

void dispose(Screen& screen, const Frame& frame) {
  const Rect rect = on_screen(screen.contents, frame);
  if (frame.disposal == kClear) clear(screen, rect);
  if (frame.disposal == kRestore) copy(screen, rect, Copy::restore);
}

// An empty screen, for a key frame that lets it be seen. Memory as it came is one, and costs nothing until it is
// looked at.
void begin(Screen& screen, const Frame& frame) {
  if (!screen.is_used && screen.layout.bare == 0) return;
  if (hides_all(screen.contents, frame) && frame.disposal != kRestore) return;
  clear(screen, {0, 0, screen.contents.width, screen.contents.height});
}

int32_t show_next(Screen& screen, int32_t number) {
  const Frame& frame = screen.contents.frames[number - 1];
  if (frame.disposal == kRestore) copy(screen, on_screen(screen.contents, frame), Copy::save);
  return draw_frame(screen, number);
}

// What the file says will not change; memory may come back.
int32_t note_failure(Screen& screen, int32_t number, int32_t code) {
  if (code == ORB_E_MEMORY) return code;
  screen.failed = number;
  return screen.failure = code;
}

// ---- Memory ----

// Of the frames that are taken away again, the largest.
uint64_t saved_bytes(const Screen& screen) {
  uint64_t pixels = 0;
  for (int32_t i = 0; i < screen.contents.frame_count; ++i) {
    const Frame& frame = screen.contents.frames[i];
    if (frame.disposal == kRestore) pixels = std::max(pixels, on_screen(screen.contents, frame).area());
  }
  return pixels * screen.layout.pixel_bytes();
}

uint64_t widest_frame(const Contents& contents) {
  uint64_t widest = 1;
  for (int32_t i = 0; i < contents.frame_count; ++i)
    widest = std::max<uint64_t>(widest, contents.frames[i].width);
  return widest;
}

bool start_codec(Screen& screen) {
  std::rewind(screen.file);
  int error = 0;
  errno = 0;
  screen.codec = DGifOpen(&screen, read_bytes, &error);
  if (screen.codec) return true;
  if (error == D_GIF_ERR_NOT_ENOUGH_MEM || plugin::codec_lacked_memory()) {
    plugin::fail_for_memory();
    return false;
  }
  orb__report(ORB_MSG_NOT_OF_FORMAT, screen.path, "GIF", "its header is damaged");
  plugin::fail(ORB_E_FORMAT);
  return false;
}

}  // namespace

bool make_screen(Screen& screen, uint64_t other_bytes) {
  const uint64_t whole = screen.row_bytes() * static_cast<uint64_t>(screen.contents.height);
  const uint64_t saved = saved_bytes(screen);
  const uint64_t row = widest_frame(screen.contents);
  const uint64_t index = uint64_t{screen.contents.frame_capacity} * sizeof(Frame);
  if (orb__within_limit(ORB_LIMIT_BUFFER, whole, kCall) == 0 ||
      orb__within_limit(ORB_LIMIT_HANDLE, whole + saved + row + index + other_bytes, kCall) == 0) {
    return false;
  }
  screen.pixels = plugin::make_zeroed<uint8_t>(whole).release();
  screen.row = static_cast<uint8_t*>(plugin::allocate(row));
  if (saved > 0) screen.saved = static_cast<uint8_t*>(plugin::allocate(saved));
  return screen.pixels && screen.row && (saved == 0 || screen.saved) && start_codec(screen);
}

int32_t compose(Screen& screen, int32_t frame) {
  if (screen.composed == frame) return 0;
  const int32_t key = screen.contents.frames[frame - 1].key + 1;
  // Else each row that is asked for would cost a screen.
  if (screen.failed >= key && screen.failed <= frame) return plugin::fail(screen.failure);
  int32_t number = screen.composed + 1;
  if (screen.composed >= key && screen.composed < frame) {
    dispose(screen, screen.contents.frames[screen.composed - 1]);
  } else {
    number = key;
    begin(screen, screen.contents.frames[key - 1]);
  }
  screen.composed = 0;  // until it is whole
  screen.is_used = true;
  for (; number <= frame; ++number) {
    const int32_t code = show_next(screen, number);
    if (code != 0) return note_failure(screen, number, code);
    if (number < frame) dispose(screen, screen.contents.frames[number - 1]);
  }
  screen.composed = frame;
  return 0;
}

void release_screen(Screen& screen) {
  if (screen.codec) DGifCloseFile(screen.codec, nullptr);
  release_contents(screen.contents);
  ERR_free(screen.pixels);
  ERR_free(screen.saved);
  ERR_free(screen.row);
}

}  // namespace orb::gif
