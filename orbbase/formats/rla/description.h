// What an RLA header says of an image, and what of an image an RLA header can say. The writer describes the handle
// anew from the header that it has made, so that both agree.
#pragma once

#include "orbbase/core.h"
#include "orbbase/formats/rla/header.h"

namespace orb::rla {

// Fills a descriptor from the header of the image with this index, from 0; what names and tables it had are
// released. Also settles ORB_ASSUMED_ bits of info for the first image. Returns 0 or the code, reported:
//   -8   the header is not one of an RLA file, by its numbers or by its gamma; path is for the report
//   -10  memory ran out
[[nodiscard]] int32_t describe_image(const Header& header, int32_t index, const char* path, ORB_INFO& info,
                                     ORB_IFD& ifd);

// Fills what holds for the whole file from the header of its first image. False when memory ran out, reported,
// with orb__err -10.
[[nodiscard]] bool describe_file(const Header& header, ORB_INFO& info);

// The header of an image to be written, without the position of the next. Numbers too large for their fields
// are kept, for is_storable to see.
void fill_header(const ORB_INFO& info, const ORB_IFD& ifd, Header& out);

// Whether windows and counts fit their fields and make a header that describe_image takes.
[[nodiscard]] bool is_storable(const Header& header);

// Reports a file that is none, and sets -8, which is returned.
int32_t not_rla(const char* path);

}  // namespace orb::rla
