#include "bench/exr_peer.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "bench/give_up.h"

namespace orb::bench {
namespace {

void check(exr_result_t result) {
  if (result != EXR_ERR_SUCCESS) give_up(exr_get_default_error_message(result));
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

// The caller's row of a channel.
exr_coding_channel_info_t& described(exr_coding_channel_info_t& info, const Picture& picture) {
  info.user_pixel_stride = info.user_bytes_per_element;
  info.user_line_stride = static_cast<int32_t>(picture.row_bytes());
  return info;
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
      described(pipeline.channels[channel], picture).encode_from_ptr = picture.row(line, channel).data();
    }
    if (line == 0) check(exr_encoding_choose_default_routines(context, 0, &pipeline));
    check(exr_encoding_run(context, 0, &pipeline));
  }
  check(exr_encoding_destroy(context, &pipeline));
  check(exr_finish(&context));
}

}  // namespace

ExrPeer::ExrPeer(const Picture& coded) : picture_(coded), rows_(coded.channels() * coded.row_bytes()) {
  write_file(picture_, file_);
  stream_ = memory_stream(file_);
  check(exr_start_read(&context_, "memory", &stream_));
  start_decoding();
  for (size_t line = 0; line < picture_.height; ++line) {
    read_line(line);
    if (!std::equal(rows_.begin(), rows_.end(), picture_.row(line, 0).data())) {
      give_up("OpenEXR holds another picture");
    }
  }
}

ExrPeer::~ExrPeer() {
  exr_decoding_destroy(context_, &pipeline_);
  exr_finish(&context_);
}

void ExrPeer::start_decoding() {
  exr_chunk_info_t chunk;
  check(exr_read_scanline_chunk_info(context_, 0, 0, &chunk));
  check(exr_decoding_initialize(context_, 0, &chunk, &pipeline_));
  for (size_t channel = 0; channel < picture_.channels(); ++channel) {
    described(pipeline_.channels[channel], picture_).decode_to_ptr =
        rows_.data() + channel * picture_.row_bytes();
  }
  check(exr_decoding_choose_default_routines(context_, 0, &pipeline_));
}

void ExrPeer::read_line(size_t line) {
  exr_chunk_info_t chunk;
  check(exr_read_scanline_chunk_info(context_, 0, static_cast<int>(line), &chunk));
  check(exr_decoding_update(context_, 0, &chunk, &pipeline_));
  check(exr_decoding_run(context_, 0, &pipeline_));
}

void ExrPeer::read_all() {
  for (size_t line = 0; line < picture_.height; ++line) read_line(line);
}

}  // namespace orb::bench
