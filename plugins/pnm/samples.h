// The loops over the samples of one row, between the file's bytes and channel rows. Pure functions; sizes are
// the caller's contract.
#pragma once

#include <cstddef>
#include <cstdint>

#include "kinds.h"

namespace orb::pnm {

// A black-and-white row: in the file a set bit is black, as a sample 1 is white. Bits behind the last pixel
// are 0.
void samples_from_bits(const uint8_t* packed, size_t pixels, uint8_t* out);
void bits_from_samples(const uint8_t* in, size_t pixels, uint8_t* packed);

// One row of the file, or of numbers read from text, into the rows of the channels. Returns all samples ored,
// which tells whether one needs more bits than it may have.
uint32_t unpack_row(const Header& header, const uint8_t* packed, void* const* rows);

// The reverse, with the same result. Samples of 16 bits are put in the file's order only in a raw file.
uint32_t pack_row(const Header& header, void* const* rows, uint8_t* packed);

}  // namespace orb::pnm
