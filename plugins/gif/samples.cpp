#include "samples.h"

#include <algorithm>
#include <cstring>

namespace orb::gif {
namespace {

template <bool kHasTransparent, class T, class Colour>
uint32_t draw(std::span<const uint8_t> indices, int32_t transparent, T* screen, Colour colour_of) {
  uint32_t largest = 0;
  for (size_t i = 0; i < indices.size(); ++i) {
    const uint32_t index = indices[i];
    if (kHasTransparent && static_cast<int32_t>(index) == transparent) continue;
    screen[i] = colour_of(index);
    largest = std::max(largest, index);
  }
  return largest;
}

template <class T, class Colour>
uint32_t draw(std::span<const uint8_t> indices, int32_t transparent, T* screen, Colour colour_of) {
  return transparent < 0 ? draw<false>(indices, transparent, screen, colour_of)
                         : draw<true>(indices, transparent, screen, colour_of);
}

template <size_t kChannels>
void split(const uint8_t* screen, size_t pixels, void* const* rows) {
  uint8_t* planes[kChannels];
  for (size_t c = 0; c < kChannels; ++c) planes[c] = static_cast<uint8_t*>(rows[c]);
  for (size_t i = 0; i < pixels; ++i) {
    uint32_t pixel = 0;
    std::memcpy(&pixel, screen + 4 * i, 4);
    for (size_t c = 0; c < kChannels; ++c) planes[c][i] = static_cast<uint8_t>(pixel >> (8 * c));
  }
}

}  // namespace

uint32_t draw_colours(std::span<const uint8_t> indices, const uint32_t (&colours)[256], int32_t transparent,
                      uint32_t* screen) {
  return draw(indices, transparent, screen, [&colours](uint32_t index) { return colours[index]; });
}

uint32_t draw_indices(std::span<const uint8_t> indices, int32_t transparent, uint8_t* screen) {
  return draw(indices, transparent, screen, [](uint32_t index) { return static_cast<uint8_t>(index); });
}

void split_colours(const uint8_t* screen, size_t pixels, bool has_matte, void* const* rows) {
  if (has_matte) {
    split<4>(screen, pixels, rows);
  } else {
    split<3>(screen, pixels, rows);
  }
}

void widen_indices(const uint8_t* screen, size_t pixels, uint16_t* row) {
  for (size_t i = 0; i < pixels; ++i) row[i] = screen[i];
}

}  // namespace orb::gif
