// The scanlines of a JPEG: from the codec's rows to the channel rows that a reader gives out.
#include "plugins/common/planes.h"
#include "read.h"

namespace orb::jpeg {
namespace {

int32_t fail_for_good(Reader& reader, int64_t line) {
  return reader.failure = report_failure(reader.decoder, line);
}

// What is missing of a picture in several passes the codec fills in, without a word. A component of which
// nothing came is an error; one that lacks its last touches is a coarser picture.
void look_for_missing_passes(Reader& reader) {
  jpeg_decompress_struct& cinfo = reader.decoder.cinfo;
  bool is_coarse = false;
  for (int c = 0; c < cinfo.num_components; ++c) {
    const bool has_base = !cinfo.progressive_mode || cinfo.coef_bits[c][0] >= 0;
    if (!cinfo.comp_info[c].quant_table || !has_base)
      give_up(reader.decoder, "a component of the picture is missing");
    for (int k = 0; cinfo.progressive_mode && k < DCTSIZE2; ++k) {
      is_coarse = is_coarse || cinfo.coef_bits[c][k] != 0;
    }
  }
  if (is_coarse) plugin::warn(reader.decoder.stream, "the last passes are missing: the picture is coarse");
}

// Here the codec takes the memory for its work, and reads a picture in several passes whole.
bool start_rows(Reader& reader) {
  reader.is_started = true;
  return guarded(reader.decoder, [&reader] {
    jpeg_start_decompress(&reader.decoder.cinfo);
    look_for_missing_passes(reader);
  });
}

// Reads up to the file's end mark: a file that lacks it was cut.
bool finish(Reader& reader) {
  Decoder& decoder = reader.decoder;
  if (!guarded(decoder, [&decoder] { jpeg_finish_decompress(&decoder.cinfo); })) return false;
  if (decoder.source.bytes_in_buffer > 0 || std::getc(decoder.stream.file) != EOF) {
    plugin::note(decoder.stream, "what stands behind the picture is not kept");
  }
  return true;
}

void fill(Reader& reader) {
  if (!reader.packed) return;  // the codec has filled the only row itself
  const auto channels = static_cast<size_t>(reader.channels);
  const auto pixels = static_cast<size_t>(reader.width);
  if (reader.is_inverted) {
    const auto invert = [](uint8_t sample) { return static_cast<uint8_t>(255 - sample); };
    plugin::split_pixels(reader.packed, channels, pixels, reader.rows, invert);
  } else {
    plugin::split_pixels(reader.packed, channels, pixels, reader.rows, [](uint8_t sample) { return sample; });
  }
}

}  // namespace

int32_t read_scan(void* data, int32_t line, void* rows_out) {
  Reader& reader = *static_cast<Reader*>(data);
  if (reader.failure != 0) return plugin::fail(reader.failure);
  if (line != reader.next_line || line < 0) {
    return plugin::refuse_line(line);
  }
  if (!reader.is_started && !start_rows(reader)) return fail_for_good(reader, kNoLine);
  Decoder& decoder = reader.decoder;
  JSAMPROW row = reader.packed ? reader.packed : static_cast<uint8_t*>(reader.rows[0]);
  const bool is_read = guarded(decoder, [&decoder, row] {
    JSAMPROW rows[1] = {row};
    if (jpeg_read_scanlines(&decoder.cinfo, rows, 1) != 1) give_up(decoder, "the codec gives no row");
  });
  if (!is_read) return fail_for_good(reader, line);
  fill(reader);
  if (line == 0 && !finish(reader)) return fail_for_good(reader, kNoLine);
  --reader.next_line;
  *static_cast<void***>(rows_out) = reader.rows;
  return 0;
}

}  // namespace orb::jpeg
