#include "bench/exr_peer.h"

#include <OpenEXR/openexr.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace orb::bench {
namespace {

void check(exr_result_t result) {
  if (result == EXR_ERR_SUCCESS) return;
  std::fprintf(stderr, "OpenEXR: %s\n", exr_get_default_error_message(result));
  std::exit(2);
}

using File = std::vector<uint8_t>;

int64_t read_memory(exr_const_context_t, void* data, void* out, uint64_t size, uint64_t offset,
                    exr_stream_error_func_ptr_t) {
  const File& file = *static_cast<File*>(data);
  const uint64_t count = std::min(size, file.size() - std::min<uint64_t>(offset, file.size()));
  std::memcpy(out, file.data() + offset, count);
  return static_cast<int64_t>(count);
}

int64_t write_memory(exr_const_context_t, void* data, const void* in, uint64_t size, uint64_t offset,
                     exr_stream_error_func_ptr_t) {
  File& file = *static_cast<File*>(data);
  if (offset + size > file.size()) file.resize(offset + size);
  std::memcpy(file.data() + offset, in, size);
  return static_cast<int64_t>(size);
}

int64_t size_of_memory(exr_const_context_t, void* data) {
  return static_cast<int64_t>(static_cast<File*>(data)->size());
}

exr_context_initializer_t memory_stream(File& file) {
  exr_context_initializer_t stream = EXR_DEFAULT_CONTEXT_INITIALIZER;
  stream.user_data = &file;
  stream.read_fn = read_memory;
  stream.write_fn = write_memory;
  stream.size_fn = size_of_memory;
  return stream;
}

int32_t stored_width(const Picture& picture) {
  return static_cast<int32_t>(picture.depth == Depth::bits8 ? picture.width / 2 : picture.width);
}

exr_context_t start_file(const Picture& picture, const exr_context_initializer_t& stream) {
  exr_context_t context = nullptr;
  check(exr_start_write(&context, "memory", EXR_WRITE_FILE_DIRECTLY, &stream));
  int part = 0;
  check(exr_add_part(context, "part", EXR_STORAGE_SCANLINE, &part));
  check(exr_initialize_required_attr_simple(context, part, stored_width(picture),
                                            static_cast<int32_t>(picture.height), EXR_COMPRESSION_RLE));
  const exr_pixel_type_t type = picture.depth == Depth::floats ? EXR_PIXEL_FLOAT : EXR_PIXEL_HALF;
  for (size_t channel = 0; channel < picture.channels(); ++channel) {
    const std::string name(1, static_cast<char>('a' + channel));
    check(exr_add_channel(context, part, name.c_str(), type, EXR_PERCEPTUALLY_LOGARITHMIC, 1, 1));
  }
  check(exr_write_header(context));
  return context;
}

void write_file(const Picture& picture, File& file) {
  const exr_context_initializer_t stream = memory_stream(file);
  exr_context_t context = start_file(picture, stream);
  exr_encode_pipeline_t pipeline = {};
  for (size_t line = 0; line < picture.height; ++line) {
    exr_chunk_info_t chunk;
    check(exr_write_scanline_chunk_info(context, 0, static_cast<int>(line), &chunk));
    check(line == 0 ? exr_encoding_initialize(context, 0, &chunk, &pipeline)
                    : exr_encoding_update(context, 0, &chunk, &pipeline));
    for (size_t channel = 0; channel < picture.channels(); ++channel) {
      exr_coding_channel_info_t& info = pipeline.channels[channel];
      info.user_pixel_stride = info.user_bytes_per_element;
      info.user_line_stride = static_cast<int32_t>(picture.row_bytes());
      info.encode_from_ptr = picture.row(line, channel).data();
    }
    if (line == 0) check(exr_encoding_choose_default_routines(context, 0, &pipeline));
    check(exr_encoding_run(context, 0, &pipeline));
  }
  check(exr_encoding_destroy(context, &pipeline));
  check(exr_finish(&context));
}

}  // namespace

struct ExrPeer::Impl {
  explicit Impl(const Picture& coded) : picture(coded), rows(coded.channels() * coded.row_bytes()) {
    write_file(picture, file);
    stream = memory_stream(file);
    check(exr_start_read(&context, "memory", &stream));
    start_decoding();
  }
  ~Impl() {
    exr_decoding_destroy(context, &pipeline);
    exr_finish(&context);
  }
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;

  void start_decoding() {
    exr_chunk_info_t chunk;
    check(exr_read_scanline_chunk_info(context, 0, 0, &chunk));
    check(exr_decoding_initialize(context, 0, &chunk, &pipeline));
    for (size_t channel = 0; channel < picture.channels(); ++channel) {
      exr_coding_channel_info_t& info = pipeline.channels[channel];
      info.user_pixel_stride = info.user_bytes_per_element;
      info.user_line_stride = static_cast<int32_t>(picture.row_bytes());
      info.decode_to_ptr = rows.data() + channel * picture.row_bytes();
    }
    check(exr_decoding_choose_default_routines(context, 0, &pipeline));
  }

  void read_line(size_t line) {
    exr_chunk_info_t chunk;
    check(exr_read_scanline_chunk_info(context, 0, static_cast<int>(line), &chunk));
    check(exr_decoding_update(context, 0, &chunk, &pipeline));
    check(exr_decoding_run(context, 0, &pipeline));
  }

  const Picture& picture;
  File file;
  std::vector<uint8_t> rows;
  exr_context_initializer_t stream;
  exr_context_t context = nullptr;
  exr_decode_pipeline_t pipeline = {};
};

ExrPeer::ExrPeer(const Picture& picture) : impl_(new Impl(picture)) {}
ExrPeer::~ExrPeer() { delete impl_; }

void ExrPeer::read_all() {
  for (size_t line = 0; line < impl_->picture.height; ++line) impl_->read_line(line);
}

bool ExrPeer::is_same() {
  const Picture& picture = impl_->picture;
  const size_t line_bytes = impl_->rows.size();
  for (size_t line = 0; line < picture.height; ++line) {
    impl_->read_line(line);
    if (std::memcmp(impl_->rows.data(), picture.bytes.data() + line * line_bytes, line_bytes) != 0)
      return false;
  }
  return true;
}

}  // namespace orb::bench
