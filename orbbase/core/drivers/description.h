// What of a description a built-in driver keeps of an image file: its texts, words and descriptors. Where the
// file is and how it is opened (key, handle, options, settings) stays with each handle.
#pragma once

#include "orbbase/core/ifd_copy.h"

namespace orb {

// The texts that are kept, in record order.
inline constexpr char* ORB_INFO::*kKeptTexts[] = {&ORB_INFO::text1, &ORB_INFO::text3, &ORB_INFO::text4,
                                                  &ORB_INFO::text5, &ORB_INFO::text6, &ORB_INFO::text7,
                                                  &ORB_INFO::text8, &ORB_INFO::text9, &ORB_INFO::text10};

// Copies what is kept; `to` has no texts and descriptors yet. frame_count becomes 0: these drivers hold one
// frame. False when memory runs out, reported, with orb__err -10; what was copied so far is then in `to`, and
// its count of images is that of the whole descriptors.
[[nodiscard]] bool copy_description(const ORB_INFO& from, ORB_INFO& to, UnknownNames names);

// Releases what copy_description made.
void release_description(ORB_INFO& info);

// The lookup table that goes with an image to be written: lent by the application through write_option, and
// only with colour indices. Null when there is none.
[[nodiscard]] const ORB_LUT* lut_to_write(const ORB_INFO& info);

// Makes a gamma curve's further fields ones that every user of the curve can work with; those that say
// nothing usable get their defaults. A gamma curve has no tables.
void settle_gamma_curve(ORB_RESPONSE_CURVE& curve);

// Reports a description that cannot be written, for want of an image or a file name, and sets -5.
[[nodiscard]] bool has_required_fields(const ORB_INFO& info);

}  // namespace orb
