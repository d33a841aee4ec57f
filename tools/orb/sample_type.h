// Another sample type for the colour and matte channels of an open image, as its rows are read.
#pragma once

#include <optional>
#include <string>

#include "image.h"

namespace orb::tool {

struct SampleType {
  uint32_t type;  // ORB_C_
  int32_t width;
};

// uint1 to uint32, float, double.
[[nodiscard]] std::string sample_type_names();
[[nodiscard]] std::optional<SampleType> sample_type_named(const std::string& name);

// Puts the change on a reader. An integer of all bits and a real 1.0 are the same; integers become others, and real
// samples integers, rounded to the nearest; what is outside 0 to 1 is held there, what is no number becomes 0.
// Auxiliary channels stay. Throws Failure: the image holds colour indices, or memory ran out.
void change_sample_type(const Image& reader, const SampleType& wanted, const std::string& file);

}  // namespace orb::tool
