// The result of a comparison for people and for programs.
#pragma once

#include "image_diff.h"
#include "json.h"

namespace orb::tool {

// "1.5", "inf"
[[nodiscard]] std::string shown(double value);

// "image 2", "frame 3", "image 2 of frame 3"; "" for the picture of a file that has but one.
[[nodiscard]] std::string name_of(const PictureNumber& number);

// What differs and the statistics, line by line.
[[nodiscard]] std::string text_of(const ImageResult& result, const DiffOptions& options);

// Adds them to an object.
void add_to(Json& json, const ImageResult& result, const DiffOptions& options);

}  // namespace orb::tool
