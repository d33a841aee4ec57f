#include "markers.h"

#include <algorithm>
#include <cstring>

namespace orb::jpeg {
namespace {

constexpr size_t kLabelBytes = 12;

// ---- The bytes of a marker ----

uint8_t next_byte(j_decompress_ptr cinfo) {
  jpeg_source_mgr& source = *cinfo->src;
  if (source.bytes_in_buffer == 0) source.fill_input_buffer(cinfo);
  --source.bytes_in_buffer;
  return *source.next_input_byte++;
}

// How many bytes follow in the marker.
uint32_t read_length(j_decompress_ptr cinfo) {
  const uint32_t high = next_byte(cinfo);
  const uint32_t length = high << 8 | next_byte(cinfo);
  if (length < 2) give_up(codec_of(cinfo), "a marker with a wrong length");
  return length - 2;
}

void skip(j_decompress_ptr cinfo, uint32_t count) {
  if (count > 0) cinfo->src->skip_input_data(cinfo, static_cast<long>(count));
}

// ---- Comments ----

bool make_room(Comments& comments, uint32_t needed) {
  if (needed <= comments.capacity) return true;
  const uint32_t capacity = std::max(needed, comments.capacity * 2);
  auto* grown = static_cast<char*>(plugin::allocate(capacity));
  if (!grown) return false;
  if (comments.text) std::memcpy(grown, comments.text, comments.length);
  ERR_free(comments.text);
  comments.text = grown;
  comments.capacity = capacity;
  return true;
}

boolean on_comment(j_decompress_ptr cinfo) {
  const uint32_t length = read_length(cinfo);
  Codec& codec = codec_of(cinfo);
  auto& comments = *static_cast<Comments*>(cinfo->client_data);
  const bool is_kept = !comments.is_closed && comments.length + length + 3 <= kMostCommentBytes;
  if (!is_kept) {
    plugin::warn(codec.stream, comments.is_closed ? "a comment behind the picture's start is not kept"
                                                  : "comments of more than 1 MiB together are not kept");
    skip(cinfo, length);
    return TRUE;
  }
  if (!make_room(comments, comments.length + length + 2)) {
    codec.is_out_of_memory = true;
    give_up(codec, "out of memory");
  }
  if (comments.length > 0) comments.text[comments.length++] = '\n';
  bool has_zero = false;
  for (uint32_t i = 0; i < length; ++i) {
    const char c = static_cast<char>(next_byte(cinfo));
    if (c != '\0') comments.text[comments.length++] = c;
    has_zero = has_zero || (c == '\0' && i + 1 < length);  // many end with one
  }
  comments.text[comments.length] = '\0';
  if (has_zero) plugin::warn(codec.stream, "a comment holds zero bytes, which are left out");
  return TRUE;
}

// ---- Others ----

// What is said of a marker that begins like this.
struct Saying {
  int marker;
  const char* label;
  bool is_warning;
  const char* text;
};
constexpr Saying kSayings[] = {
    {1, "Exif", true, "Exif: the camera's data are not kept, the picture's turning among them"},
    {1, "http://", false, "XMP: this packet is not kept"},
    {2, "ICC_PROFILE", true, "ICC: the colour profile is not kept"},
    {2, "MPF", true, "MPF: of several pictures only the first is read"},
    {13, "Photoshop", false, "APP13: this marker is not kept"},
};

boolean on_application(j_decompress_ptr cinfo) {
  const int marker = cinfo->unread_marker - JPEG_APP0;
  const uint32_t length = read_length(cinfo);
  char label[kLabelBytes + 1] = {};
  const uint32_t read = std::min<uint32_t>(length, kLabelBytes);
  for (uint32_t i = 0; i < read; ++i) label[i] = static_cast<char>(next_byte(cinfo));
  skip(cinfo, length - read);
  plugin::Stream& stream = codec_of(cinfo).stream;
  for (const Saying& saying : kSayings) {
    if (saying.marker != marker || std::strncmp(saying.label, label, std::strlen(saying.label)) != 0)
      continue;
    if (saying.is_warning) {
      plugin::warn(stream, saying.text);
    } else {
      plugin::note(stream, saying.text);
    }
    return TRUE;
  }
  char text[48];
  std::snprintf(text, sizeof text, "APP%d: this marker is not kept", marker);
  plugin::note(stream, text);
  return TRUE;
}

}  // namespace

void watch_markers(Decoder& decoder, Comments* comments) {
  decoder.cinfo.client_data = comments;
  jpeg_set_marker_processor(&decoder.cinfo, JPEG_COM, on_comment);
  for (int marker = 1; marker < 16; ++marker) {
    // APP0 and APP14 say what the samples mean; the codec library reads those itself.
    if (marker != 14) jpeg_set_marker_processor(&decoder.cinfo, JPEG_APP0 + marker, on_application);
  }
}

}  // namespace orb::jpeg
