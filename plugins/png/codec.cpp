#include "codec.h"

#include <cerrno>
#include <cstring>

#include "orbbase/driver.h"

namespace orb::png {
namespace {

constexpr png_uint_32 kMostPixels = 0x7fffffff;        // the format's own; the library's limits decide
constexpr png_uint_32 kMostChunksKept = 1000;          // texts of one file
constexpr png_alloc_size_t kMostChunkBytes = 8000000;  // of one of them, unpacked
constexpr size_t kWrittenChunkBytes = 65536;

[[noreturn]] void jump(Codec& codec) { std::longjmp(codec.recovery, 1); }

[[noreturn]] void on_error(png_structp png, png_const_charp message) {
  Codec& codec = *static_cast<Codec*>(png_get_error_ptr(png));
  if (codec.message[0] == '\0') {
    std::snprintf(codec.message, sizeof codec.message, "%s", message ? message : "unknown error");
  }
  jump(codec);
}

void on_warning(png_structp png, png_const_charp message) {
  Codec& codec = *static_cast<Codec*>(png_get_error_ptr(png));
  if (codec.is_out_of_memory || codec.is_over_budget) return;  // said once already
  plugin::warn(codec.stream, message);
}

png_voidp on_allocate(png_structp png, png_alloc_size_t size_bytes) {
  Codec& codec = *static_cast<Codec*>(png_get_mem_ptr(png));
  if (codec.counts_metadata) {
    if (size_bytes > codec.metadata_left) {
      codec.is_over_budget = true;
      return nullptr;
    }
    codec.metadata_left -= size_bytes;
  }
  if (codec.is_out_of_memory) return nullptr;  // the compressor asks on; each refusal would be reported
  void* block = allocate(size_bytes);
  if (!block) codec.is_out_of_memory = true;
  return block;
}

void on_free(png_structp, png_voidp block) { ERR_free(block); }

void on_read(png_structp png, png_bytep out, size_t size_bytes) {
  Codec& codec = *static_cast<Codec*>(png_get_io_ptr(png));
  errno = 0;
  if (std::fread(out, 1, size_bytes, codec.stream.file) == size_bytes) return;
  if (std::ferror(codec.stream.file)) {
    codec.io_error = errno ? errno : EIO;
  } else {
    codec.is_cut = true;
  }
  png_error(png, "the file ends too early");
}

void on_write(png_structp png, png_bytep bytes, size_t size_bytes) {
  Codec& codec = *static_cast<Codec*>(png_get_io_ptr(png));
  errno = 0;
  if (std::fwrite(bytes, 1, size_bytes, codec.stream.file) == size_bytes) return;
  codec.io_error = errno ? errno : EIO;
  png_error(png, "cannot write");
}

void on_flush(png_structp) {}

int32_t failure_code(const Codec& codec) {
  if (codec.is_out_of_memory || codec.is_over_budget) return ORB_E_MEMORY;
  if (codec.is_writer) return ORB_E_WRITE;
  return codec.io_error != 0 || codec.is_cut ? ORB_E_READ : ORB_E_DECODE;
}

const char* failure_text(const Codec& codec) {
  if (codec.is_over_budget) return "the data beside the picture: over the limit of 64 MiB of memory";
  if (codec.io_error != 0) return std::strerror(codec.io_error);
  if (codec.is_cut) return "the file ends too early";
  return codec.message[0] != '\0' ? codec.message : "unknown error";
}

}  // namespace

bool start_reading(Codec& codec) {
  codec.metadata_left = kMetadataBytes;
  const bool is_started = guarded(codec, [&codec] {
    codec.png = png_create_read_struct_2(PNG_LIBPNG_VER_STRING, &codec, on_error, on_warning, &codec,
                                         on_allocate, on_free);
    if (!codec.png) return;
    codec.info = png_create_info_struct(codec.png);
    if (!codec.info) return;
    png_set_read_fn(codec.png, &codec, on_read);
    png_set_user_limits(codec.png, kMostPixels, kMostPixels);
    png_set_chunk_cache_max(codec.png, kMostChunksKept);
    png_set_chunk_malloc_max(codec.png, kMostChunkBytes);
  });
  return is_started && codec.png && codec.info;
}

bool start_writing(Codec& codec) {
  codec.is_writer = true;
  const bool is_started = guarded(codec, [&codec] {
    codec.png = png_create_write_struct_2(PNG_LIBPNG_VER_STRING, &codec, on_error, on_warning, &codec,
                                          on_allocate, on_free);
    if (!codec.png) return;
    codec.info = png_create_info_struct(codec.png);
    if (!codec.info) return;
    png_set_write_fn(codec.png, &codec, on_write, on_flush);
    png_set_user_limits(codec.png, kMostPixels, kMostPixels);
    png_set_compression_buffer_size(codec.png, kWrittenChunkBytes);
  });
  return is_started && codec.png && codec.info;
}

void release(Codec& codec) {
  if (codec.is_writer) {
    png_destroy_write_struct(&codec.png, &codec.info);
  } else {
    png_destroy_read_struct(&codec.png, &codec.info, nullptr);
  }
  plugin::release(codec.stream);
}

int32_t report_failure(const Codec& codec, int64_t line) {
  if (!codec.is_out_of_memory) {
    plugin::report_transfer(codec.stream.path,
                            codec.is_writer ? plugin::Transfer::writing : plugin::Transfer::reading, line,
                            failure_text(codec));
  }
  return fail(failure_code(codec));
}

}  // namespace orb::png
