// Opening a file for reading, and its scanlines.
#include "read.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "plugins/common/description.h"
#include "plugins/common/handle.h"
#include "plugins/common/palette.h"
#include "plugins/common/reports.h"
#include "samples.h"
#include "settings.h"

namespace orb::gif {
namespace {

constexpr const char* kCall = "Opening a GIF for reading";

void release_reader(Reader& reader) {
  release_screen(reader.screen);
  ORB_chan_free(reader.rows);
  if (reader.spooled) std::fclose(reader.spooled);
  plugin::release(reader.stream);
}

using ReaderOwner = plugin::RecordOwner<Reader, release_reader>;

// ---- A stream in which no place can be sought ----

bool fail_spool(const Reader& reader, int error) {
  plugin::report_transfer(reader.stream.path, plugin::Transfer::reading, plugin::kNoLine,
                          std::strerror(error ? error : EIO));
  plugin::fail(ORB_E_READ);
  return false;
}

bool copy_to(std::FILE* copy, const Reader& reader) {
  char bytes[16384];
  uint64_t total = 0;
  errno = 0;
  while (const size_t count = std::fread(bytes, 1, sizeof bytes, reader.stream.file)) {
    total += count;
    if (orb__within_limit(ORB_LIMIT_BUFFER, total, kCall) == 0) return false;
    if (std::fwrite(bytes, 1, count, copy) != count) return fail_spool(reader, errno);
  }
  return std::ferror(reader.stream.file) == 0 ? true : fail_spool(reader, errno);
}

// Frames are read again when a reader goes back, so the bytes of a pipe are kept in a file without a name.
bool make_seekable(Reader& reader) {
  reader.screen.file = reader.stream.file;
  if (plugin::is_regular(reader.stream.file)) {
    std::rewind(reader.stream.file);
    return true;
  }
  reader.spooled = std::tmpfile();
  if (!reader.spooled) return fail_spool(reader, errno);
  if (!copy_to(reader.spooled, reader)) return false;
  std::rewind(reader.spooled);
  reader.screen.file = reader.spooled;
  return true;
}

// ---- The description ----

// The mean of the frames' times; 0 when the file tells none.
void describe_times(ORB_INFO& info, const Contents& contents, plugin::Stream& stream) {
  uint64_t hundredths = 0;
  bool is_uniform = true;
  for (int32_t i = 0; i < contents.frame_count; ++i) {
    hundredths += contents.frames[i].delay;
    is_uniform = is_uniform && contents.frames[i].delay == contents.frames[0].delay;
  }
  if (hundredths == 0) return;
  info.frame_rate = static_cast<float>(100.0 * contents.frame_count / static_cast<double>(hundredths));
  plugin::declare(info, ORB_ASSUMED_FRAME_RATE);
  if (!is_uniform) plugin::note(stream, "its frames take different times; the frame rate is their mean");
}

void note_repeats(const Contents& contents, plugin::Stream& stream) {
  if (contents.repeats < 0) return;
  char text[80] = "it is to be played for ever, which the description does not carry";
  if (contents.repeats > 0) {
    std::snprintf(text, sizeof text, "it is to be played %d times, which the description does not carry",
                  contents.repeats + 1);
  }
  plugin::note(stream, text);
}

void describe_frames(ORB_INFO& info, const Contents& contents, plugin::Stream& stream) {
  note_repeats(contents, stream);
  if (contents.frame_count < 2) return;
  info.frame_count = contents.frame_count;
  describe_times(info, contents, stream);
}

void warn_of_clipping(const Contents& contents, plugin::Stream& stream) {
  for (int32_t i = 0; i < contents.frame_count; ++i) {
    if (on_screen(contents, contents.frames[i]).area() == contents.frames[i].rect().area()) continue;
    char text[80];
    std::snprintf(text, sizeof text, "frame %d reaches beyond the screen, where it is cut off", i + 1);
    return plugin::warn(stream, text);
  }
}

void describe(ORB_INFO& info, const Contents& contents, const Layout& layout) {
  ORB_IFD& ifd = info.images[0];
  plugin::describe_size(ifd, contents.width, contents.height);
  if (contents.aspect != 0) {
    ifd.pixel_aspect = static_cast<float>(contents.aspect + 15) / 64.0F;
    plugin::declare(info, ORB_ASSUMED_PIXEL_ASPECT);
  }
  ORB_CHANNELS& samples = layout.view == View::indices ? ifd.index : ifd.color;
  samples.count = layout.view == View::colours ? 3 : 1;
  samples.width = layout.bits;
  if (layout.has_matte) ifd.matte.count = 1;
}

// The comments become the description's.
void take_comments(ORB_INFO& info, Contents& contents) {
  if (!contents.comments) return;
  void* shorter = ERR_realloc(contents.comments, contents.comment_bytes + 1);
  info.text3 = static_cast<char*>(shorter ? shorter : contents.comments);
  contents.comments = nullptr;
}

// ---- Scanlines ----

int32_t fail_end(int32_t line) {
  orb__report(ORB_MSG_CANNOT_READ_LINE, line, "the file has no end mark: it was cut or damaged");
  return plugin::fail(ORB_E_READ);
}

void fill_rows(Reader& reader, const uint8_t* pixels) {
  const auto width = static_cast<size_t>(reader.screen.contents.width);
  switch (reader.screen.layout.view) {
    case View::colours:
      return split_colours(pixels, width, reader.screen.layout.has_matte, reader.rows);
    case View::grey:
      std::memcpy(reader.rows[0], pixels, width);
      return;
    case View::indices:
      return widen_indices(pixels, width, static_cast<uint16_t*>(reader.rows[0]));
  }
}

int32_t read_scan(void* data, int32_t line, void* rows_out) {
  Reader& reader = *static_cast<Reader*>(data);
  const Contents& contents = reader.screen.contents;
  if (line < 0 || line >= contents.height) {
    return plugin::refuse_line(line);
  }
  const int32_t code = compose(reader.screen, reader.current);
  if (code != 0) return code;
  // A file that was cut must not pass for a whole one.
  if (line == 0 && !contents.has_end && reader.current == contents.frame_count) return fail_end(line);
  fill_rows(reader, reader.screen.at(0, contents.height - 1 - line));
  *static_cast<void***>(rows_out) = reader.rows;
  return 0;
}

// ---- The lookup table ----

int32_t read_lut(void* data, ORB_LUT** lut_out) {
  const Reader& reader = *static_cast<Reader*>(data);
  const Colours& colours = reader.screen.contents.colours;
  const Layout& layout = reader.screen.layout;
  ORB_LUT* lut = ORB_lut_alloc(colours.count());
  if (!lut) return plugin::fail(ORB_E_MEMORY);
  for (int32_t i = 0; i < colours.count(); ++i) {
    uint16_t* rgba = lut->entries[i].rgba;
    for (int c = 0; c < 3; ++c) rgba[c] = plugin::widened(colours.rgb[i][c]);
    rgba[3] = layout.can_be_bare && layout.bare == i ? 0 : 65535;
  }
  *lut_out = lut;
  return 0;
}

// ---- The handle ----

bool attach(ORB_IMAGE& image, ReaderOwner& reader) {
  if (reader->screen.layout.view == View::indices) image.lut_read = read_lut;
  attach_playback(image);
  reader->image = &image;
  return plugin::attach_reader(image, reader, read_scan, plugin::close_reader<Reader, release_reader>);
}

// The block of the rows given out: those of indices have two bytes a sample.
uint64_t given_bytes(const Screen& screen) {
  const auto width = static_cast<uint64_t>(screen.contents.width);
  return screen.layout.view == View::colours ? 4 * plugin::given_row_bytes(width, 1) : width * 2;
}

bool is_asked_in_vain(const Layout& layout, const Settings& settings) {
  return settings.palette == Palette::indices && layout.view != View::indices;
}

}  // namespace

bool read_open(ORB_IMAGE& image) {
  Settings settings;
  if (!read_settings(image.info, &settings)) return false;
  auto reader = plugin::make_record<ReaderOwner>();
  if (!reader || !plugin::open_for_reading(image, kExtension, reader->stream)) return false;
  reader->current = 1;
  Screen& screen = reader->screen;
  screen.path = reader->stream.path;
  if (!make_seekable(*reader) || !read_contents(screen.file, reader->stream, screen.contents)) return false;
  screen.layout = choose_layout(screen.contents, find_keys(screen.contents), settings.palette);
  if (is_asked_in_vain(screen.layout, settings)) {
    plugin::warn(reader->stream,
                 "no indices of one palette tell its pixels; colours are given in their place");
  }
  if (!make_screen(screen, given_bytes(screen)) || !plugin::make_descriptors(image, 1)) return false;
  describe(image.info, screen.contents, screen.layout);
  describe_frames(image.info, screen.contents, reader->stream);
  warn_of_clipping(screen.contents, reader->stream);
  take_comments(image.info, screen.contents);
  reader->rows = ORB_chan_alloc(&image.info.images[0], screen.contents.width, kKey, nullptr);
  return reader->rows && attach(image, reader);
}

bool is_gif(const char* name, std::FILE* stream) {
  return plugin::begins_right(name, stream, 6, [](const uint8_t* bytes) {
    return std::memcmp(bytes, "GIF87a", 6) == 0 || std::memcmp(bytes, "GIF89a", 6) == 0;
  });
}

}  // namespace orb::gif
