// Writing: one picture or an animation of whole screens, row after row. All that can be refused is refused
// before the file is touched, but for samples.
#include "write.h"

#include <gif_lib.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>

#include "frames.h"
#include "layout.h"
#include "plugins/common/description.h"
#include "plugins/common/handle.h"
#include "plugins/common/palette.h"
#include "plugins/common/reports.h"
#include "plugins/common/stream.h"
#include "settings.h"

namespace orb::gif {
namespace {

using plugin::make_zeroed;
using plugin::owned;
using plugin::refuse;

constexpr const char* kCall = "Opening a GIF for writing";

// What the file will hold beside pixels. Plain data; starts zeroed.
struct Plan {
  int32_t width;
  int32_t height;
  Colours colours;
  int32_t colour_count;  // those that a sample may choose
  int32_t transparent;   // an index; -1: none
  bool has_indices;      // of 2 bytes, else greys of one
  int32_t frame_count;
  int32_t delay;    // of each frame, in hundredths of a second
  int32_t repeats;  // 0: for ever; -1: not declared
  uint8_t aspect;

  [[nodiscard]] bool is_animation() const { return frame_count > 1; }
};

// The record of an open file. One flat block: the handle's release frees it.
struct Writer {
  plugin::Stream stream;
  GifFileType* codec;
  Plan plan;
  uint8_t* row;       // as the codec takes it; it changes it
  int32_t frame;      // the one being written, from 1
  int32_t next_row;   // of it, from the top
  int32_t failure;    // code of an earlier failure: no more is written
  int system_error;   // why bytes could not be written
  bool is_swallowed;  // the codec's bytes go nowhere: it is being closed for good
};

// The codec's byte sink.
int write_bytes(GifFileType* codec, const GifByteType* bytes, int count) {
  Writer& writer = *static_cast<Writer*>(codec->UserData);
  if (writer.is_swallowed) return count;
  errno = 0;
  const size_t written = std::fwrite(bytes, 1, static_cast<size_t>(count), writer.stream.file);
  if (written == static_cast<size_t>(count)) return count;
  if (writer.system_error == 0) writer.system_error = errno ? errno : EIO;
  return static_cast<int>(written);
}

void release_codec(Writer& writer) {
  if (!writer.codec) return;
  writer.is_swallowed = true;
  EGifCloseFile(writer.codec, nullptr);
  writer.codec = nullptr;
}

void release_writer(Writer& writer) {
  release_codec(writer);
  plugin::release(writer.stream);
  ERR_free(writer.row);
}

// For an open that failed.
void undo(Writer& writer) {
  release_writer(writer);
  plugin::remove_created(writer.stream);
}
using WriterOwner = plugin::RecordOwner<Writer, undo>;

// Reports the system's reason, or that the codec had no memory, under the scanline or for the file as a whole.
int32_t report_failure(const Writer& writer, int64_t line) {
  if (writer.system_error == 0 && plugin::codec_lacked_memory()) return plugin::fail_for_memory();
  const char* reason = writer.system_error != 0 ? std::strerror(writer.system_error) : "the codec failed";
  if (line == plugin::kNoLine) {
    orb__report(ORB_MSG_CANNOT_WRITE, writer.stream.path, reason);
  } else {
    orb__report(ORB_MSG_CANNOT_WRITE_LINE, static_cast<int32_t>(line), reason);
  }
  return plugin::fail(ORB_E_WRITE);
}

// ---- What can be stored ----

bool take_size(const ORB_WINDOW& window, Plan* out) {
  const int64_t width = plugin::width_of(window);
  const int64_t height = plugin::height_of(window);
  if (width < 1 || width > 65535 || height < 1 || height > 65535) return refuse(ORB_MSG_CANNOT_HANDLE, kKey);
  out->width = static_cast<int32_t>(width);
  out->height = static_cast<int32_t>(height);
  return true;
}

bool take_group(const ORB_CHANNELS& group, int32_t type_message, int32_t width_message, Plan* out) {
  if (group.type != ORB_C_INTEGER) return refuse(type_message, kKey);
  if (group.width < 1 || group.width > 8) return refuse(width_message, kKey);
  out->colours.bits = group.width;
  return true;
}

bool take_samples(const ORB_IFD& ifd, Plan* out) {
  if (ifd.matte.count != 0 || ifd.aux.count != 0) return refuse(ORB_MSG_CANNOT_HANDLE, kKey);
  if (ifd.color.count == 1) return take_group(ifd.color, ORB_MSG_IMAGE_TYPE, ORB_MSG_IMAGE_WIDTH, out);
  if (ifd.color.count != 0 || ifd.index.count != 1) return refuse(ORB_MSG_CANNOT_HANDLE, kKey);
  out->has_indices = true;
  return take_group(ifd.index, ORB_MSG_INDEX_TYPE, ORB_MSG_INDEX_WIDTH, out);
}

void take_ramp(Plan* out) {
  out->colour_count = out->colours.count();
  for (int32_t i = 0; i < out->colour_count; ++i)
    std::fill_n(out->colours.rgb[i], 3, grey_of(i, out->colours.bits));
}

// An entry is stored in 8 bits a value.
bool take_entry(const ORB_LUT_ENTRY& entry, int32_t index, Plan* out) {
  for (int c = 0; c < 3; ++c) {
    if (!plugin::is_widened(entry.rgba[c])) return false;
    out->colours.rgb[index][c] = plugin::narrowed(entry.rgba[c]);
  }
  if (entry.rgba[3] == 65535) return true;
  if (entry.rgba[3] != 0 || out->transparent >= 0) return false;
  out->transparent = index;
  return true;
}

bool take_table(const ORB_INFO& info, Plan* out) {
  const ORB_LUT* lut = plugin::lent_table(info, out->colours.count());
  if (!lut) return false;
  out->colour_count = lut->entry_count;
  for (int32_t i = 0; i < out->colour_count; ++i) {
    if (take_entry(lut->entries[i], i, out)) continue;
    return refuse(
        ORB_MSG_CANNOT_WRITE, info.handle,
        "a lookup table is stored in 8 bits a value, with at most one entry transparent, and fully so");
  }
  return true;
}

// ---- The description ----

void take_frame_rate(const ORB_INFO& info, Plan* out) {
  const float rate = info.frame_rate;
  if (!plugin::is_declared(info, ORB_ASSUMED_FRAME_RATE) || !(rate > 0.0F)) return;
  out->delay = static_cast<int32_t>(std::clamp(std::round(100.0 / static_cast<double>(rate)), 1.0, 65535.0));
}

// The byte that stands for the aspect, if one does.
void take_aspect(ORB_INFO& info, Plan* out, plugin::Stream& stream) {
  if (!plugin::is_declared(info, ORB_ASSUMED_PIXEL_ASPECT)) return;
  float& aspect = info.images[0].pixel_aspect;
  const float value = std::round(aspect * 64.0F) - 15.0F;
  if (!(value >= 1.0F && value <= 255.0F)) {
    plugin::warn(stream, "the pixel aspect cannot be stored");
    return plugin::drop_pixel_aspect(info);
  }
  out->aspect = static_cast<uint8_t>(value);
  aspect = (value + 15.0F) / 64.0F;
}

// From here on the handle's description says what the file will hold.
void describe(ORB_INFO& info, Writer& writer) {
  Plan& plan = writer.plan;
  plugin::keep_only(info, plugin::kKeepsDescription | plugin::kKeepsPixelAspect);
  take_aspect(info, &plan, writer.stream);
  if (!plan.is_animation()) return;
  info.frame_count = plan.frame_count;
  if (plan.delay == 0) return;
  info.frame_rate = static_cast<float>(100.0 / plan.delay);
  plugin::declare(info, ORB_ASSUMED_FRAME_RATE);
}

bool make_plan(ORB_INFO& info, const Settings& settings, Plan* out) {
  const ORB_IFD& ifd = info.images[0];
  out->transparent = -1;
  if (!take_samples(ifd, out) || !take_size(ifd.window, out)) return false;
  if (!out->has_indices) {
    take_ramp(out);
  } else if (!take_table(info, out)) {
    return false;
  }
  out->frame_count = std::max(info.frame_count, 1);
  out->repeats = settings.plays - 1;
  if (settings.plays == 0) out->repeats = 0;
  if (settings.plays == 1 || !out->is_animation()) out->repeats = -1;
  if (out->is_animation()) take_frame_rate(info, out);
  return true;
}

// ---- The file ----

bool put_screen(Writer& writer, bool has_comment) {
  const Plan& plan = writer.plan;
  ColorMapObject* map = GifMakeMapObject(plan.colours.count(), nullptr);
  if (!map) return false;
  for (int32_t i = 0; i < plan.colours.count(); ++i) {
    const uint8_t* rgb = plan.colours.rgb[i];
    map->Colors[i] = {rgb[0], rgb[1], rgb[2]};
  }
  writer.codec->AspectByte = plan.aspect;
  const bool is_new = has_comment || plan.is_animation() || plan.transparent >= 0 || plan.aspect != 0;
  EGifSetGifVersion(writer.codec, is_new);
  const bool is_put =
      EGifPutScreenDesc(writer.codec, plan.width, plan.height, plan.colours.bits, 0, map) == GIF_OK;
  GifFreeMapObject(map);
  return is_put;
}

bool put_repeats(GifFileType* codec, int32_t repeats) {
  const GifByteType bytes[3] = {1, static_cast<GifByteType>(repeats & 255),
                                static_cast<GifByteType>(repeats >> 8)};
  return EGifPutExtensionLeader(codec, APPLICATION_EXT_FUNC_CODE) == GIF_OK &&
         EGifPutExtensionBlock(codec, 11, "NETSCAPE2.0") == GIF_OK &&
         EGifPutExtensionBlock(codec, 3, bytes) == GIF_OK && EGifPutExtensionTrailer(codec) == GIF_OK;
}

bool put_header(Writer& writer, const char* description) {
  GifFileType* codec = writer.codec;
  return put_screen(writer, description != nullptr) &&
         (writer.plan.repeats < 0 || put_repeats(codec, writer.plan.repeats)) &&
         (!description || EGifPutComment(codec, description) == GIF_OK);
}

// Frames are whole screens: one that shows through is taken away before the next.
bool put_frame(Writer& writer) {
  const Plan& plan = writer.plan;
  const bool has_transparent = plan.transparent >= 0;
  if (plan.is_animation() || has_transparent) {
    const GraphicsControlBlock control = {.DisposalMode = has_transparent ? kClear : DISPOSE_DO_NOT,
                                          .UserInputFlag = false,
                                          .DelayTime = plan.delay,
                                          .TransparentColor = plan.transparent};
    GifByteType bytes[4];
    EGifGCBToExtension(&control, bytes);
    if (EGifPutExtension(writer.codec, GRAPHICS_EXT_FUNC_CODE, sizeof bytes, bytes) != GIF_OK) return false;
  }
  return EGifPutImageDesc(writer.codec, 0, 0, plan.width, plan.height, false, nullptr) == GIF_OK;
}

bool start(ORB_IMAGE& image, Writer& writer) {
  if (!plugin::open_for_writing(image, kExtension, writer.stream)) return false;
  int error = 0;
  errno = 0;
  writer.codec = EGifOpen(&writer, write_bytes, &error);
  if (writer.codec && put_header(writer, image.info.text3) && writer.system_error == 0) return true;
  report_failure(writer, plugin::kNoLine);
  return false;
}

// ---- Rows and frames ----

int32_t fail_line(Writer& writer, int32_t line) { return writer.failure = report_failure(writer, line); }

template <class T>
uint32_t take_row(const void* from, size_t pixels, uint8_t* out) {
  const T* samples = static_cast<const T*>(from);
  uint32_t largest = 0;
  for (size_t i = 0; i < pixels; ++i) {
    largest = std::max<uint32_t>(largest, samples[i]);
    out[i] = static_cast<uint8_t>(samples[i]);
  }
  return largest;
}

int32_t write_scan(void* data, int32_t line, void* rows) {
  Writer& writer = *static_cast<Writer*>(data);
  const Plan& plan = writer.plan;
  if (writer.failure != 0) return plugin::fail(writer.failure);
  if (writer.next_row >= plan.height || int64_t{line} != int64_t{plan.height} - 1 - writer.next_row) {
    return plugin::refuse_line(line);
  }
  const void* samples = static_cast<void* const*>(rows)[0];
  const auto pixels = static_cast<size_t>(plan.width);
  const uint32_t largest = plan.has_indices ? take_row<uint16_t>(samples, pixels, writer.row)
                                            : take_row<uint8_t>(samples, pixels, writer.row);
  if (largest >= static_cast<uint32_t>(plan.colour_count)) {
    orb__report(ORB_MSG_CANNOT_WRITE_LINE, line, "a sample has no entry in the palette");
    return plugin::fail(ORB_E_HANDLE);  // the row may be given again; the file stays as it is
  }
  errno = 0;
  if ((writer.next_row == 0 && !put_frame(writer)) ||
      EGifPutLine(writer.codec, writer.row, plan.width) != GIF_OK || writer.system_error != 0) {
    return fail_line(writer, line);
  }
  ++writer.next_row;
  return 0;
}

int32_t get_frame(void* data, intptr_t frame_out, intptr_t, intptr_t) {
  if (frame_out == 0) return plugin::fail(ORB_E_HANDLE);
  *reinterpret_cast<int32_t*>(frame_out) = static_cast<Writer*>(data)->frame;
  return 0;
}

// The frames are written one after the other, each whole.
int32_t set_frame(void* data, intptr_t frame, intptr_t, intptr_t) {
  Writer& writer = *static_cast<Writer*>(data);
  const Plan& plan = writer.plan;
  if (frame == writer.frame && writer.next_row == 0) return 0;
  if (frame != writer.frame + intptr_t{1} || frame > plan.frame_count || writer.next_row < plan.height) {
    orb__report(ORB_MSG_CANNOT_WRITE, writer.stream.path, "its frames are written in order, each one whole");
    return plugin::fail(ORB_E_HANDLE);
  }
  ++writer.frame;
  writer.next_row = 0;
  return 0;
}

// ---- The close ----

int32_t report_missing_frames(const Writer& writer) {
  char text[96];
  std::snprintf(text, sizeof text, "closed when %d of %d frames were written", writer.frame,
                writer.plan.frame_count);
  orb__report(ORB_MSG_CANNOT_WRITE, writer.stream.path, text);
  return ORB_E_WRITE;
}

// A file that does not hold all rows gets no end mark, so that it is not taken for whole.
int32_t finish(Writer& writer) {
  const Plan& plan = writer.plan;
  if (writer.failure != 0) return writer.failure;
  if (writer.next_row < plan.height) {
    return plugin::report_missing_rows(writer.stream.path, plan.height, plan.height - writer.next_row);
  }
  if (writer.frame < plan.frame_count) return report_missing_frames(writer);
  EGifCloseFile(writer.codec, nullptr);
  writer.codec = nullptr;
  const int error = plugin::finish_writing(writer.stream);
  if (writer.system_error == 0) writer.system_error = error;
  if (writer.system_error == 0) return 0;
  return report_failure(writer, plugin::kNoLine);
}

void attach(ORB_IMAGE& image, WriterOwner& writer, owned<ORB_DRIVER_BLOCK>& block) {
  image.get_frame = get_frame;
  image.set_frame = set_frame;
  plugin::attach(image, block, writer, write_scan, plugin::close_writer<Writer, finish, release_writer>);
}

}  // namespace

bool write_open(ORB_IMAGE& image) {
  Settings settings;
  if (!read_settings(image.info, &settings)) return false;
  if (image.info.image_count != 1) return refuse(ORB_MSG_CANNOT_HANDLE, kKey);
  auto writer = plugin::make_record<WriterOwner>();
  owned<ORB_DRIVER_BLOCK> block = make_zeroed<ORB_DRIVER_BLOCK>(1);
  if (!writer || !block) return false;
  writer->frame = 1;
  writer->stream.path = image.info.handle;
  if (!make_plan(image.info, settings, &writer->plan)) return false;
  const auto row_bytes = static_cast<uint64_t>(writer->plan.width);
  if (orb__within_limit(ORB_LIMIT_BUFFER, row_bytes, kCall) == 0) return false;
  writer->row = static_cast<uint8_t*>(plugin::allocate(row_bytes));
  if (!writer->row) return false;
  describe(image.info, *writer);
  if (!start(image, *writer)) return false;
  attach(image, writer, block);
  return true;
}

}  // namespace orb::gif
