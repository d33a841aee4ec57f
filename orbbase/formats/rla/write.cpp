// Opening RLA files for writing, and closing them. What can be refused is refused before the file is touched.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "orbbase/core/drivers/description.h"
#include "orbbase/core/internal.h"
#include "orbbase/driver.h"
#include "orbbase/formats/rla.h"
#include "orbbase/formats/rla/description.h"
#include "orbbase/formats/rla/writing.h"

namespace orb::rla {
namespace {

constexpr const char* kCall = "ORB_open";
constexpr const char* kTimeSoFar = "00:00:00";

bool failed(int32_t code) {
  set_error(code);
  return false;
}

bool refuse(int32_t message, const char* text) {
  orb__report(message, text);
  return failed(ORB_E_HANDLE);
}

bool cannot_write(const char* path, const char* reason) {
  orb__report(ORB_MSG_CANNOT_WRITE, path, reason);
  return failed(ORB_E_WRITE);
}

// ---- Images ----

void release_images(WriteImage* images) {
  Output* const output = images->output;
  for (int32_t i = 0; i < output->image_count; ++i) ERR_free(images[i].head);
  ERR_free(output->scratch);
  ERR_free(output);
}

struct ImagesReleased {
  void operator()(WriteImage* images) const {
    images->output->buffer.finish();
    release_images(images);
    ERR_free(images);
  }
};
using ImagesOwner = std::unique_ptr<WriteImage, ImagesReleased>;

// Rows of samples that are not encoded always take their full length.
bool rows_fit_blocks(const Layout& layout) {
  return std::all_of(std::begin(layout.coders), std::end(layout.coders), [&layout](const SampleCoder* coder) {
    return !coder || coder->is_coded || coder->block_room(layout.active_width()) <= kMostBlockBytes;
  });
}

uint64_t most_put_bytes(const Layout& layout) {
  uint64_t bytes = 0;
  for (const SampleCoder* coder : layout.coders) {
    if (coder) bytes = std::max(bytes, 2 + coder->block_room(layout.active_width()));
  }
  return bytes;
}

// The header and the empty offset table of one image.
bool prepare_image(const ORB_INFO& info, int32_t index, WriteImage& image, uint64_t& held_bytes) {
  const ORB_IFD& ifd = info.images[index];
  if (ifd.color.count == 0 && ifd.index.count > 0) return refuse(ORB_MSG_INDEX_TYPE, key_of(info));
  Header header;
  fill_header(info, ifd, header);
  if (!is_storable(header)) return cannot_write(info.handle, "its numbers do not fit the header");
  if (lay_out(ifd, key_of(info), EmptyGroups::of_any_type, image.layout) != ORB_OK) return false;
  if (!rows_fit_blocks(image.layout)) return cannot_write(info.handle, "its rows are too long");
  const uint64_t head_bytes = kHeaderBytes + image.layout.table_bytes;
  held_bytes += head_bytes;
  if (!orb__within_limit(ORB_LIMIT_HANDLE, held_bytes, kCall)) return false;
  image.head = make_zeroed<uint8_t>(head_bytes).release();
  if (!image.head) return out_of_memory();
  compose_header(header, HeaderBytes(image.head, kHeaderBytes));
  image.next_line = ifd.window.bottom;
  return true;
}

bool prepare_images(const ORB_INFO& info, WriteImage* images) {
  Output& output = *images->output;
  uint64_t held_bytes = 0;
  uint64_t put_bytes = 0;
  for (int32_t i = 0; i < info.image_count; ++i) {
    if (!prepare_image(info, i, images[i], held_bytes)) return false;
    put_bytes = std::max(put_bytes, most_put_bytes(images[i].layout));
    output.scratch_bytes = std::max(output.scratch_bytes, images[i].layout.scratch_bytes);
  }
  if (!output.buffer.start(put_bytes)) return out_of_memory();
  if (output.scratch_bytes == 0) return true;
  output.scratch = static_cast<uint8_t*>(allocate(output.scratch_bytes));
  return output.scratch || out_of_memory();
}

ImagesOwner make_images(const ORB_INFO& info) {
  owned<Output> output = make_zeroed<Output>(1);
  owned<WriteImage> images = make_zeroed<WriteImage>(static_cast<uint64_t>(info.image_count));
  if (!output || !images) {
    out_of_memory();
    return nullptr;
  }
  output->image_count = info.image_count;
  for (int32_t i = 0; i < info.image_count; ++i) images.get()[i].output = output.get();
  output.release();
  return ImagesOwner(images.release());
}

// ---- Description ----

// What the format has no place for becomes what a reader gives.
void forget_unkept(ORB_INFO& info) {
  ORB_INFO fresh;
  ORB_info_init(&fresh);
  std::memcpy(info.chromaticity, fresh.chromaticity, sizeof info.chromaticity);
  info.field_mode = fresh.field_mode;
  info.frame_rate = fresh.frame_rate;
  std::memcpy(info.words, fresh.words, sizeof info.words);
  info.frame_count = fresh.frame_count;
  info.int_d = fresh.int_d;
  info.word_f = fresh.word_f;
  info.write_option = 0;
}

// The handle's description becomes that of the file. The time is the one that this writing takes.
bool describe(ORB_INFO& info, const WriteImage* images) {
  forget_unkept(info);
  for (int32_t i = 0; i < info.image_count; ++i) {
    Header header;
    parse_header(ConstHeaderBytes(images[i].head, kHeaderBytes), header);
    if (describe_image(header, i, info.handle, info, info.images[i]) != ORB_OK) return false;
    if (i == 0 && !describe_file(header, info)) return false;
  }
  return replace_text(&info.text8, kTimeSoFar) || out_of_memory();
}

// ---- Closing ----

void store_elapsed_time(int64_t started_nanoseconds, uint8_t* field) {
  const int64_t milliseconds = (platform::monotonic_nanoseconds() - started_nanoseconds) / 1'000'000;
  const int64_t seconds = milliseconds / 1000;
  char text[32];
  std::snprintf(text, sizeof text, "%02d:%02d:%02d", static_cast<int>(seconds / 3600),
                static_cast<int>(seconds / 60 % 60), static_cast<int>(seconds % 60));
  text[kTimeBytes - 1] = '\0';
  std::memset(field, 0, kTimeBytes);
  std::memcpy(field, text, std::strlen(text));
}

uint64_t head_bytes(const WriteImage& image) { return kHeaderBytes + image.layout.table_bytes; }

// Chains the images whose headers lie within the reach of a position. Returns how many those are, the first
// among them.
int32_t chain_images(WriteImage* images) {
  uint64_t position = images->output->buffer.position();
  int32_t chained = 1;
  for (; chained < images->output->image_count && position <= UINT32_MAX; ++chained) {
    store_word(static_cast<uint32_t>(position), images[chained - 1].head + kNextOffset);
    position += head_bytes(images[chained]);
  }
  return chained;
}

// The headers of all images but the first go to the end of the file now. 0 or the system's error.
int put_later_heads(WriteImage* images) {
  OutputBuffer& buffer = images->output->buffer;
  const int32_t image_count = images->output->image_count;
  const int32_t put_count = buffer.stream().is_standard ? image_count : chain_images(images);
  for (int32_t i = 1; i < put_count; ++i) {
    if (const int error = buffer.put({images[i].head, head_bytes(images[i])})) return error;
  }
  return put_count < image_count ? EFBIG : 0;
}

// Standard output is never positioned: the time follows the data there, on purpose, and the rest stays unfilled.
int put_time_behind(const WriteImage& first) {
  OutputBuffer& buffer = first.output->buffer;
  const int error = buffer.put({first.head + kTimeOffset, kTimeBytes});
  return error != 0 ? error : buffer.flush();
}

// Completes the file, as far as it goes after a failure. 0 or the first of the system's errors.
int complete(WriteImage* images) {
  WriteImage& first = images[0];
  OutputBuffer& buffer = first.output->buffer;
  store_elapsed_time(first.output->started_nanoseconds, first.head + kTimeOffset);
  int error = put_later_heads(images);
  if (buffer.stream().is_standard) return error != 0 ? error : put_time_behind(first);
  const int flush_error = buffer.flush();
  if (error == 0) error = flush_error;
  if (buffer.has_failed()) store_word(0, first.head + kNextOffset);  // the other images cannot be found
  const int late_error =
      buffer.replace(kTimeOffset, {first.head + kTimeOffset, head_bytes(first) - kTimeOffset});
  return error != 0 ? error : late_error;
}

int32_t close_writer(ORB_IMAGE* image) {
  WriteImage* const images = static_cast<WriteImage*>(image->driver->data);
  Output& output = *images->output;
  int error = complete(images);
  const int close_error = output.buffer.finish();
  if (error == 0) error = close_error;
  if (error != 0 && output.failure == ORB_OK) {
    cannot_write(image->info.handle, std::strerror(error));
    output.failure = ORB_E_WRITE;
  }
  const int32_t code = output.failure;
  release_images(images);
  orb__free_obj(image);
  return code == ORB_OK ? ORB_OK : fail(code);
}

// ---- Opening ----

// Writes the first header and its table at once, so that a full disk shows early. Only a file that was made here
// is removed when that fails.
bool begin_file(const char* path, const WriteImage& first) {
  OutputStream stream;
  if (!open_to_write(path, stream)) return false;
  OutputBuffer& buffer = first.output->buffer;
  buffer.attach(stream);
  int error = buffer.put({first.head, head_bytes(first)});
  if (error == 0) error = buffer.flush();
  if (error == 0) return true;
  buffer.finish();
  if (stream.is_created) std::remove(path);
  return cannot_write(path, std::strerror(error));
}

bool open_writer(ORB_IMAGE& image) {
  ORB_INFO& info = image.info;
  if (!has_required_fields(info)) return false;
  const auto image_count = static_cast<uint64_t>(info.image_count);
  if (!orb__within_limit(ORB_LIMIT_IMAGES, image_count, kCall)) return false;
  ImagesOwner images = make_images(info);
  owned<ORB_DRIVER_BLOCK> slots = make_zeroed<ORB_DRIVER_BLOCK>(image_count);
  if (!images || !slots) return failed(ORB_E_MEMORY);
  if (!settle_output_path(info) || !prepare_images(info, images.get()) || !describe(info, images.get())) {
    return false;
  }
  if (!begin_file(info.handle, *images)) return false;
  images->output->started_nanoseconds = platform::monotonic_nanoseconds();
  for (uint64_t i = 0; i < image_count; ++i) slots.get()[i].data = &images.get()[i];
  images.release();  // the slots have them
  image.driver = slots.release();
  image.scan = write_row;
  image.close = close_writer;
  return true;
}

}  // namespace
}  // namespace orb::rla

int32_t ORB_rla_w_open(ORB_IMAGE* image) { return orb::rla::open_writer(*image) ? 1 : 0; }
