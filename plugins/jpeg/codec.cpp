#include "codec.h"

#include <jerror.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace orb::jpeg {
namespace {

// A picture in many passes is decoded whole at every one of them: a small file could keep a machine busy for
// hours. Who writes one makes ten or so.
constexpr int kMostScans = 500;

constexpr const char* kEndsEarly = "the file ends too early";

[[noreturn]] void jump(Codec& codec) { std::longjmp(codec.recovery, 1); }

[[noreturn]] void on_error(j_common_ptr cinfo) {
  Codec& codec = codec_of(cinfo);
  codec.is_out_of_memory = codec.errors.msg_code == JERR_OUT_OF_MEMORY;
  if (codec.message[0] == '\0') codec.errors.format_message(cinfo, codec.message);
  jump(codec);
}

// Warnings of the codec library after which it goes on with samples that the file does not hold.
constexpr int kDamages[] = {JWRN_HIT_MARKER,  JWRN_HUFF_BAD_CODE,  JWRN_ARITH_BAD_CODE,
                            JWRN_MUST_RESYNC, JWRN_NOT_SEQUENTIAL, JWRN_JPEG_EOF};

void on_message(j_common_ptr cinfo, int level) {
  if (level >= 0) return;  // of interest to the codec library's own developers
  Codec& codec = codec_of(cinfo);
  if (std::find(std::begin(kDamages), std::end(kDamages), codec.errors.msg_code) != std::end(kDamages)) {
    on_error(cinfo);
  }
  char text[JMSG_LENGTH_MAX];
  codec.errors.format_message(cinfo, text);
  plugin::warn(codec.stream, text);
}

void on_output(j_common_ptr) {}

void on_progress(j_common_ptr cinfo) {
  const auto* decoder = reinterpret_cast<j_decompress_ptr>(cinfo);
  if (cinfo->is_decompressor && decoder->input_scan_number > kMostScans) {
    give_up(codec_of(cinfo), "the picture comes in more than 500 passes");
  }
}

template <class Info>
void prepare(Codec& codec, Info& cinfo) {
  cinfo.err = jpeg_std_error(&codec.errors);
  codec.errors.error_exit = on_error;
  codec.errors.emit_message = on_message;
  codec.errors.output_message = on_output;
  codec.progress.progress_monitor = on_progress;
}

// ---- Reading ----

void on_source(j_decompress_ptr) {}

boolean on_empty(j_decompress_ptr cinfo) {
  Codec& codec = codec_of(cinfo);
  errno = 0;
  const size_t count = std::fread(codec.buffer, 1, sizeof codec.buffer, codec.stream.file);
  if (count == 0) {
    if (std::ferror(codec.stream.file)) codec.io_error = errno ? errno : EIO;
    codec.is_cut = codec.io_error == 0;
    give_up(codec, kEndsEarly);
  }
  cinfo->src->next_input_byte = codec.buffer;
  cinfo->src->bytes_in_buffer = count;
  return TRUE;
}

void on_skip(j_decompress_ptr cinfo, long count) {
  jpeg_source_mgr& source = *cinfo->src;
  auto left = static_cast<size_t>(std::max(count, 0L));
  while (left > source.bytes_in_buffer) {
    left -= source.bytes_in_buffer;
    on_empty(cinfo);
  }
  source.next_input_byte += left;
  source.bytes_in_buffer -= left;
}

void on_source_end(j_decompress_ptr) {}

// ---- Writing ----

void offer_buffer(j_compress_ptr cinfo) {
  cinfo->dest->next_output_byte = codec_of(cinfo).buffer;
  cinfo->dest->free_in_buffer = kBufferBytes;
}

void put_buffer(Codec& codec, size_t count) {
  errno = 0;
  if (std::fwrite(codec.buffer, 1, count, codec.stream.file) == count) return;
  codec.io_error = errno ? errno : EIO;
  give_up(codec, "cannot write");
}

boolean on_full(j_compress_ptr cinfo) {
  put_buffer(codec_of(cinfo), kBufferBytes);
  offer_buffer(cinfo);
  return TRUE;
}

void on_destination_end(j_compress_ptr cinfo) {
  put_buffer(codec_of(cinfo), kBufferBytes - cinfo->dest->free_in_buffer);
}

const char* failure_text(const Codec& codec) {
  if (codec.io_error != 0) return std::strerror(codec.io_error);
  return codec.message[0] != '\0' ? codec.message : "unknown error";
}

int32_t failure_code(const Codec& codec) {
  if (codec.is_writer) return ORB_E_WRITE;
  return codec.io_error != 0 || codec.is_cut ? ORB_E_READ : ORB_E_DECODE;
}

}  // namespace

bool start(Decoder& decoder) {
  prepare(decoder, decoder.cinfo);
  decoder.source.init_source = on_source;
  decoder.source.fill_input_buffer = on_empty;
  decoder.source.skip_input_data = on_skip;
  decoder.source.resync_to_restart = jpeg_resync_to_restart;
  decoder.source.term_source = on_source_end;
  return guarded(decoder, [&decoder] {
    jpeg_create_decompress(&decoder.cinfo);
    decoder.cinfo.src = &decoder.source;
    decoder.cinfo.progress = &decoder.progress;
  });
}

bool start(Encoder& encoder) {
  encoder.is_writer = true;
  prepare(encoder, encoder.cinfo);
  encoder.destination.init_destination = offer_buffer;
  encoder.destination.empty_output_buffer = on_full;
  encoder.destination.term_destination = on_destination_end;
  return guarded(encoder, [&encoder] {
    jpeg_create_compress(&encoder.cinfo);
    encoder.cinfo.dest = &encoder.destination;
  });
}

// Structures that were never made are zero, which the codec library's release takes for empty.
void release(Decoder& decoder) {
  if (decoder.cinfo.mem) jpeg_destroy_decompress(&decoder.cinfo);
  plugin::release(decoder.stream);
}

void release(Encoder& encoder) {
  if (encoder.cinfo.mem) jpeg_destroy_compress(&encoder.cinfo);
  plugin::release(encoder.stream);
}

void give_up(Codec& codec, const char* message) {
  if (codec.message[0] == '\0') std::snprintf(codec.message, sizeof codec.message, "%s", message);
  jump(codec);
}

int32_t report_failure(const Codec& codec, int64_t line) {
  if (codec.is_out_of_memory) return plugin::fail_for_memory();
  plugin::report_transfer(codec.stream.path,
                          codec.is_writer ? plugin::Transfer::writing : plugin::Transfer::reading, line,
                          failure_text(codec));
  return plugin::fail(failure_code(codec));
}

}  // namespace orb::jpeg
