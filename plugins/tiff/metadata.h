// What stands beside the pictures: between the file's tags and the description.
#pragma once

#include <cstdint>

#include "codec.h"
#include "orbbase/core.h"
#include "page.h"

namespace orb::tiff {

// Fills the description of one image, and with the first one the file's, from the page that the codec is at.
// What the file does not declare keeps the library's default and is marked in word_e; what the description
// has no place for is remarked on. False when memory ran out.
[[nodiscard]] bool take_metadata(Codec& codec, ORB_IMAGE& image, int32_t index, const Page& page);

// Before writing: makes the handle's description of one image, and with the first one the file's, say what
// the file will hold. bits: of a stored sample. False when memory ran out.
[[nodiscard]] bool settle_metadata(Codec& codec, ORB_IMAGE& image, int32_t index, int32_t bits);

// Sets the tags of one page from the settled description. False when memory ran out or the codec fails: to be
// passed to report_failure.
[[nodiscard]] bool put_metadata(Codec& codec, ORB_IMAGE& image, int32_t index);

// The tags of the file's texts; the first page has them.
struct TextTag {
  uint32_t tag;
  char* ORB_INFO::*field;
};
inline constexpr TextTag kTextTags[] = {
    {TIFFTAG_DOCUMENTNAME, &ORB_INFO::text1}, {TIFFTAG_IMAGEDESCRIPTION, &ORB_INFO::text3},
    {TIFFTAG_SOFTWARE, &ORB_INFO::text4},     {TIFFTAG_HOSTCOMPUTER, &ORB_INFO::text5},
    {TIFFTAG_ARTIST, &ORB_INFO::text6},       {TIFFTAG_DATETIME, &ORB_INFO::text7}};

}  // namespace orb::tiff
