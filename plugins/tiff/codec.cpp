#include "codec.h"

#include <fcntl.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <utility>

#include "orbbase/driver.h"

namespace orb::tiff {
namespace {

constexpr int kHandled = 1;  // no other handler is asked

void remark(Codec& codec, const char* text, void (*report)(plugin::Stream&, const char*)) {
  if (codec.is_muted) return;
  char placed[320];
  plugin::place_remark("page", codec.page, text, placed);
  report(codec.file.stream, placed);
}

bool is_about_tags(const char* text) {
  return std::strstr(text, "fields array") || std::strstr(text, "list of custom values");
}

void lose_tags(Codec& codec) {
  codec.has_lost_tags = true;
  if (std::exchange(codec.is_guarded, false)) std::longjmp(codec.recovery, 1);
}

__attribute__((format(printf, 4, 0))) int on_error(TIFF*, void* user_data, const char*, const char* format,
                                                   va_list arguments) {
  Codec& codec = *static_cast<Codec*>(user_data);
  char text[sizeof codec.message];
  std::vsnprintf(text, sizeof text, format, arguments);
  if (plugin::codec_lacked_memory() && is_about_tags(text)) lose_tags(codec);
  if (codec.message[0] != '\0') return kHandled;
  codec.is_over_limit = std::strstr(format, "limit defined in open options") != nullptr;
  plugin::mask_controls(text);
  std::memcpy(codec.message, text, sizeof text);
  return kHandled;
}

__attribute__((format(printf, 4, 0))) int on_warning(TIFF*, void* user_data, const char*, const char* format,
                                                     va_list arguments) {
  Codec& codec = *static_cast<Codec*>(user_data);
  // Tags without a name are remarked on by those who look through the tags.
  if (std::strncmp(format, "Unknown field with tag", 22) == 0) return kHandled;
  char text[256];
  std::vsnprintf(text, sizeof text, format, arguments);
  plugin::mask_controls(text);
  warn(codec, text);
  return kHandled;
}

// ---- The file, as the codec library sees it ----

Codec& codec_of(thandle_t handle) { return *static_cast<Codec*>(handle); }

tmsize_t on_read(thandle_t handle, void* out, tmsize_t size_bytes) {
  File& file = codec_of(handle).file;
  if (size_bytes < 0) return 0;
  // Never below 0: the codec library would clear its buffer from there on.
  const uint64_t got = read_some(file, file.position, out, static_cast<uint64_t>(size_bytes));
  file.position += got;
  return static_cast<tmsize_t>(got);
}

tmsize_t on_write(thandle_t handle, void* bytes, tmsize_t size_bytes) {
  File& file = codec_of(handle).file;
  if (size_bytes < 0 || !write_at(file, file.position, bytes, static_cast<uint64_t>(size_bytes))) return -1;
  file.position += static_cast<uint64_t>(size_bytes);
  return size_bytes;
}

toff_t on_size(thandle_t handle) { return end_of(codec_of(handle).file); }

toff_t on_seek(thandle_t handle, toff_t offset, int whence) {
  File& file = codec_of(handle).file;
  const uint64_t base = whence == SEEK_CUR ? file.position : whence == SEEK_END ? on_size(handle) : 0;
  return file.position = base + offset;
}

int on_close(thandle_t) { return 0; }

bool start(Codec& codec, const char* mode) {
  forget_errors(codec);
  TIFFOpenOptions* options = TIFFOpenOptionsAlloc();
  if (!options) return false;
  const uint64_t limit = ORB_limit(ORB_LIMIT_BUFFER, 0);
  TIFFOpenOptionsSetMaxSingleMemAlloc(options, static_cast<tmsize_t>(limit < INT64_MAX ? limit : INT64_MAX));
  TIFFOpenOptionsSetErrorHandlerExtR(options, on_error, &codec);
  TIFFOpenOptionsSetWarningHandlerExtR(options, on_warning, &codec);
  // Not mapped into memory: a file that is cut meanwhile would end the process.
  codec.tiff = TIFFClientOpenExt(codec.file.stream.path, mode, &codec, on_read, on_write, on_seek, on_close,
                                 on_size, nullptr, nullptr, options);
  TIFFOpenOptionsFree(options);
  return codec.tiff && !codec.has_lost_tags;
}

int32_t failure_code(const Codec& codec) {
  if (codec.is_over_limit || codec.is_out_of_memory) return ORB_E_MEMORY;
  if (codec.is_writer) return ORB_E_WRITE;
  return codec.file.io_error != 0 || codec.file.is_cut ? ORB_E_READ : ORB_E_DECODE;
}

const char* failure_text(const Codec& codec) {
  if (codec.file.io_error != 0) return std::strerror(codec.file.io_error);
  if (codec.file.is_cut) return "the file ends too early";
  return codec.message[0] != '\0' ? codec.message : "unknown error";
}

}  // namespace

bool start_reading(Codec& codec) { return start(codec, "rhm"); }

bool start_writing(Codec& codec, bool is_big) {
  codec.is_writer = true;
  return start(codec, is_big ? "w8m" : "w4m");
}

void end_codec(Codec& codec) {
  TIFF* const tiff = std::exchange(codec.tiff, nullptr);
  // Without its tags the codec library cannot even release what it holds: that is lost, rather than the process.
  if (!tiff || codec.has_lost_tags) return;
  // A writer would flush, and does not always have what it needs for that after a failure.
  TIFFSetMode(tiff, O_RDONLY);
  TIFFCleanup(tiff);
}

void forget_errors(Codec& codec) {
  errno = 0;
  codec.message[0] = '\0';
  codec.is_over_limit = codec.is_out_of_memory = false;
  codec.file.is_cut = false;
  if (!codec.is_writer) codec.file.io_error = 0;
}

bool has_error(const Codec& codec) {
  // Texts and tables that it had no memory for the codec library leaves out without a word.
  return codec.message[0] != '\0' || codec.is_out_of_memory || codec.file.is_cut ||
         codec.file.io_error != 0 || plugin::codec_lacked_memory();
}

int32_t report_failure(const Codec& codec, int64_t line) {
  if (codec.is_out_of_memory) return fail(ORB_E_MEMORY);
  if (codec.has_lost_tags || (codec.file.io_error == 0 && plugin::codec_lacked_memory()))
    return plugin::fail_for_memory();
  char placed[320];
  plugin::place_remark("page", codec.page, failure_text(codec), placed);
  plugin::report_transfer(codec.file.stream.path,
                          codec.is_writer ? plugin::Transfer::writing : plugin::Transfer::reading, line,
                          placed);
  return fail(failure_code(codec));
}

bool refuse_page(const Codec& codec, const char* reason) {
  char placed[320];
  plugin::place_remark("page", codec.page, reason, placed);
  return plugin::refuse(ORB_MSG_READ_PROBLEM, codec.file.stream.path, static_cast<const char*>(placed));
}

void note(Codec& codec, const char* text) { remark(codec, text, plugin::note); }
void warn(Codec& codec, const char* text) { remark(codec, text, plugin::warn); }

}  // namespace orb::tiff
