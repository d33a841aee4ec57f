#include "codec.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "orbbase/driver.h"
#include "settings.h"

namespace orb::exr {
namespace {

// What the codec library says, and what memory it was refused: it asks for memory without saying for which file, and
// its error handler must not ask it for one, for it may hold its lock. All happens during calls of the same thread.
struct State {
  char message[256];       // the first error since forget_errors
  bool is_memory_refused;  // reported, since forget_errors
  char reason[96];         // of reason_against
};
thread_local State state;

// ---- What the codec library calls ----

void on_free(void* block) { ERR_free(block); }

void on_error(exr_const_context_t, exr_result_t, const char* message) {
  if (state.message[0] != '\0') return;
  std::snprintf(state.message, sizeof state.message, "%s", message);
  plugin::mask_controls(state.message);
}

int64_t on_read(exr_const_context_t, void* data, void* out, uint64_t size_bytes, uint64_t offset,
                exr_stream_error_func_ptr_t) {
  return static_cast<int64_t>(read_at(static_cast<Codec*>(data)->file, offset, out, size_bytes));
}

int64_t on_write(exr_const_context_t, void* data, const void* bytes, uint64_t size_bytes, uint64_t offset,
                 exr_stream_error_func_ptr_t) {
  return write_at(static_cast<Codec*>(data)->file, offset, bytes, size_bytes)
             ? static_cast<int64_t>(size_bytes)
             : -1;
}

int64_t on_size(exr_const_context_t, void* data) { return end_of(static_cast<Codec*>(data)->file); }

exr_context_initializer_t initializer(Codec& codec) {
  exr_context_initializer_t start = EXR_DEFAULT_CONTEXT_INITIALIZER;
  start.error_handler_fn = on_error;
  start.alloc_fn = allocate_for_codec;
  start.free_fn = on_free;
  start.user_data = &codec;
  // Rows that the file has no place for are not looked for: a cut file must not pass for a whole one.
  // Nor is a header put right that lacks something: a default in its place would make another picture of it.
  start.flags = EXR_CONTEXT_FLAG_DISABLE_CHUNK_RECONSTRUCTION | EXR_CONTEXT_FLAG_STRICT_HEADER;
  return start;
}

// ---- Reports ----

const char* failure_text(const Codec& codec, exr_result_t result) {
  if (codec.file.io_error != 0) return std::strerror(codec.file.io_error);
  if (codec.file.is_cut) return "the file ends too early";
  return state.message[0] != '\0' ? state.message : exr_get_default_error_message(result);
}

int32_t failure_code(const Codec& codec) {
  if (codec.is_writer) return ORB_E_WRITE;
  return codec.file.io_error != 0 || codec.file.is_cut ? ORB_E_READ : ORB_E_DECODE;
}

void remark(Codec& codec, const char* text, void (*report)(plugin::Stream&, const char*)) {
  char placed[320];
  plugin::place_remark("part", codec.part, text, placed);
  plugin::mask_controls(placed);
  report(codec.file.stream, placed);
}

}  // namespace

const char* reason_against(exr_compression_t compression) {
  int major = 0;
  int minor = 0;
  int patch = 0;
  exr_get_library_version(&major, &minor, &patch, nullptr);
  const bool is_late = compression == EXR_COMPRESSION_DWAA || compression == EXR_COMPRESSION_DWAB;
  if (!is_late || major > 3 || (major == 3 && minor >= 2)) return nullptr;
  std::snprintf(state.reason, sizeof state.reason, "OpenEXR %d.%d.%d has no C coder for the compression %s",
                major, minor, patch, name_of(compression));
  return state.reason;
}

bool start_reading(Codec& codec) {
  forget_errors(codec);
  exr_context_initializer_t start = initializer(codec);
  start.read_fn = on_read;
  start.size_fn = on_size;
  exr_result_t result = exr_start_read(&codec.context, codec.file.stream.path, &start);
  if (result != EXR_ERR_SUCCESS) codec.context = nullptr;  // the codec library has released it
  result = checked(result);
  if (result != EXR_ERR_SUCCESS) report_failure(codec, result, kNoLine);
  return result == EXR_ERR_SUCCESS;
}

bool start_writing(Codec& codec) {
  codec.is_writer = true;
  forget_errors(codec);
  exr_context_initializer_t start = initializer(codec);
  start.write_fn = on_write;
  const exr_result_t result =
      exr_start_write(&codec.context, codec.file.stream.path, EXR_WRITE_FILE_DIRECTLY, &start);
  if (result == EXR_ERR_SUCCESS) return true;
  codec.context = nullptr;
  report_failure(codec, result, kNoLine);
  return false;
}

void* allocate_for_codec(size_t size_bytes) {
  const bool is_within =
      orb__within_limit(ORB_LIMIT_BUFFER, size_bytes, "A block of the OpenEXR library") != 0;
  void* block = is_within ? plugin::allocate(size_bytes) : nullptr;
  state.is_memory_refused = state.is_memory_refused || !block;
  return block;
}

exr_result_t end_codec(Codec& codec) {
  const exr_result_t result = codec.context ? exr_finish(&codec.context) : EXR_ERR_SUCCESS;
  codec.context = nullptr;
  return result;
}

void forget_errors(Codec& codec) {
  errno = 0;
  state.message[0] = '\0';
  codec.file.is_cut = false;
  codec.file.io_error = 0;
  state.is_memory_refused = false;
}

exr_result_t checked(exr_result_t result) {
  return state.is_memory_refused ? static_cast<exr_result_t>(EXR_ERR_OUT_OF_MEMORY) : result;
}

int32_t report_failure(const Codec& codec, exr_result_t result, int64_t line) {
  if (state.is_memory_refused) return fail(ORB_E_MEMORY);
  if (result == EXR_ERR_OUT_OF_MEMORY || (codec.file.io_error == 0 && plugin::codec_lacked_memory()))
    return plugin::fail_for_memory();
  char placed[320];
  plugin::place_remark("part", codec.part, failure_text(codec, result), placed);
  plugin::report_transfer(codec.file.stream.path,
                          codec.is_writer ? plugin::Transfer::writing : plugin::Transfer::reading, line,
                          placed);
  return fail(failure_code(codec));
}

bool refuse_part(const Codec& codec, const char* reason) {
  char placed[320];
  plugin::place_remark("part", codec.part, reason, placed);
  return plugin::refuse(ORB_MSG_READ_PROBLEM, codec.file.stream.path, placed);
}

void note(Codec& codec, const char* text) { remark(codec, text, plugin::note); }
void warn(Codec& codec, const char* text) { remark(codec, text, plugin::warn); }

}  // namespace orb::exr
