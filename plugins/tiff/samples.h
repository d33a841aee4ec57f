// The loops over the samples of one row: between the file's packed rows and channel rows. Pure functions;
// sizes are the caller's contract. A packed row may begin at any address and must be followed by
// kPackedPadding bytes that may be read (and, by put_samples, rewritten as they are).
#pragma once

#include <cstddef>
#include <cstdint>

namespace orb::tiff {

inline constexpr size_t kPackedPadding = 8;

// How a sample lies in the file: whole bytes in the machine's order, half floats, or bits packed from the
// highest of a byte down.
enum class Form : uint8_t { byte, two, three, four, eight, half, bits };

// Where the samples of one channel are in a packed row.
struct Place {
  Form form;
  int32_t bits;    // a sample
  size_t unit;     // samples of a pixel in the row
  size_t channel;  // which of them
};

// Spreads one channel into a row of its own: samples of 1, 2, 4 or 8 bytes by the form (bits: the fewest that
// hold them; half: 4, a float), or with as_indices of 2.
void take_samples(const Place& place, const uint8_t* packed, size_t pixels, bool as_indices, void* out);

// The reverse, into a row that is zeroed where samples are packed as bits. Returns all samples ORed (0 for
// four, eight and half): what lies above the width shows there.
uint32_t put_samples(const Place& place, const void* row, size_t pixels, bool as_indices, uint8_t* packed);

// row[i] = largest - row[i].
template <class T>
void turn_around(T* row, size_t pixels, T largest);

template <class T>
void mirror(T* row, size_t pixels);

// out[i] = table[indices[i]]; the table is as long as indices are high.
template <class T>
void look_up(const uint16_t* indices, size_t pixels, const uint16_t* table, T* out);

}  // namespace orb::tiff
