// The loops over pixels: drawing a frame's row, and taking a row of the screen apart. Pure functions.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace orb::gif {

// A pixel of a screen of colours: red in the lowest byte, alpha in the highest. 0 is a bare one.
constexpr uint32_t pack(uint8_t red, uint8_t green, uint8_t blue) {
  return uint32_t{red} | uint32_t{green} << 8 | uint32_t{blue} << 16 | 0xFF000000U;
}

// screen[i] = colours[indices[i]], but where the index is the transparent one (-1: nowhere). Equal sizes.
// Returns the largest index drawn; 0 without any.
uint32_t draw_colours(std::span<const uint8_t> indices, const uint32_t (&colours)[256], int32_t transparent,
                      uint32_t* screen);

// The same on a screen that holds the indices themselves.
uint32_t draw_indices(std::span<const uint8_t> indices, int32_t transparent, uint8_t* screen);

// Red, green, blue and, with a matte, alpha into a row each.
void split_colours(const uint8_t* screen, size_t pixels, bool has_matte, void* const* rows);

void widen_indices(const uint8_t* screen, size_t pixels, uint16_t* row);

}  // namespace orb::gif
