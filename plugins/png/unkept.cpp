#include "unkept.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace orb::png {
namespace {

// Chunks that the codec library, some only of a later version, would read for itself and that are passed over here;
// five bytes each.
constexpr png_byte kPassedOver[] = "bKGD\0cICP\0cLLI\0eXIf\0hIST\0iCCP\0mDCV\0pCAL\0sCAL\0sPLT\0tIME";
constexpr int kPassedOverCount = sizeof kPassedOver / 5;

// What is said of a chunk, where more than its name helps.
struct Saying {
  const char* name;
  bool is_warning;
  const char* text;  // null: nothing; another chunk has said it
};
constexpr Saying kSayings[] = {
    {"iCCP", true, "iCCP: the colour profile is not kept"},
    {"cICP", true, "cICP: the coding of the colours is not kept"},
    {"acTL", true, "acTL: of the animation only the still picture is read"},
    {"fcTL", false, nullptr},
    {"fdAT", false, nullptr},
    {"bKGD", false, "bKGD: the background colour is not kept"},
    {"tIME", false, "tIME: the time of the last change is not kept"},
    {"eXIf", false, "eXIf: the camera's data are not kept"},
};

void say(Codec& codec, const char* name) {
  for (const Saying& saying : kSayings) {
    if (std::strcmp(saying.name, name) != 0) continue;
    if (!saying.text) return;
    return saying.is_warning ? plugin::warn(codec.stream, saying.text)
                             : plugin::note(codec.stream, saying.text);
  }
  char text[64];
  std::snprintf(text, sizeof text, "%s: this chunk is not kept", name);
  plugin::note(codec.stream, text);
}

// The name is four letters: the codec library has checked that.
int on_chunk(png_structp png, png_unknown_chunkp chunk) {
  constexpr int kHandled = 1;
  constexpr png_byte kAncillary = 0x20;
  if ((chunk->name[0] & kAncillary) == 0) png_chunk_error(png, "unknown, and the picture needs it");
  char name[5] = {};
  std::memcpy(name, chunk->name, 4);
  Codec& codec = *static_cast<Codec*>(png_get_user_chunk_ptr(png));
  say(codec, name);
  // Its bytes are released before the next chunk's are taken.
  codec.metadata_left = std::min<uint64_t>(kMetadataBytes, codec.metadata_left + chunk->size);
  return kHandled;
}

}  // namespace

void watch_unkept_chunks(Codec& codec) {
  png_set_keep_unknown_chunks(codec.png, PNG_HANDLE_CHUNK_NEVER, kPassedOver, kPassedOverCount);
  png_set_read_user_chunk_fn(codec.png, &codec, on_chunk);
}

}  // namespace orb::png
