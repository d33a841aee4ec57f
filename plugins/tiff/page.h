// One page of a TIFF: how its samples lie in the file, and which channels of a description they are.
#pragma once

#include <cstdint>

#include "codec.h"
#include "orbbase/core.h"
#include "plugins/common/description.h"
#include "samples.h"
#include "settings.h"

namespace orb::tiff {

using plugin::kAssociated;  // the matte group's name says its kind
using plugin::kSeparate;

// What the file's directory says of a page. When it is read once more it must say the same.
struct Shape {
  uint32_t width;
  uint32_t height;
  uint16_t bits;
  uint16_t samples;  // a pixel
  uint16_t sample_format;
  uint16_t photometric;
  uint16_t planar;
  uint16_t compression;
  uint16_t fill_order;
  uint16_t orientation;
  bool is_tiled;
  uint32_t block_width;   // of a tile, or the picture's
  uint32_t block_height;  // of a tile, or rows of a strip; at most 2^31 - 1

  bool operator==(const Shape&) const = default;
};

// The groups of a description and the samples of a file.
struct Channels {
  int32_t colours;       // channels of the description
  int32_t mattes;        // 0 or 1
  int32_t aux;           //
  bool has_indices;      // one channel of colour indices instead of colours
  int32_t file_colours;  // the first samples of a pixel; 1 for a palette
  int32_t alpha;         // the sample that is the matte, or -1
  bool is_separate;      // colours are not multiplied by the matte
  uint32_t type;
  int32_t width;  // bits of all groups, but for the colours of a palette
  int32_t colour_width;
  Form form;

  [[nodiscard]] int32_t total() const { return colours + mattes + aux + (has_indices ? 1 : 0); }
  // The row of a file's sample among the channel rows. Not for the colours of a palette.
  [[nodiscard]] int32_t row_of(int32_t sample) const;
};

// Where the packed rows of a page are while they are decoded: a band of rows of all planes and all tiles
// across. Packed rows of tile a in plane p are at (p * across + a) * block_bytes.
struct Band {
  uint32_t planes;
  uint32_t unit;         // samples of a pixel in one plane
  uint64_t row_bytes;    // of a tile or strip
  uint32_t across;       // tiles side by side
  uint32_t rows;         // most in a band
  uint64_t block_bytes;  // of a band's part of one tile or strip

  [[nodiscard]] uint64_t bytes() const { return block_bytes * across * planes + kPackedPadding; }
};

// A palette, 65535 being full. The block is released with ERR_free.
struct Palette16 {
  uint16_t* entries[3];  // in one block, the first is its address
  uint32_t count;        // 0: none
  bool is_8_bit;         // every value is a multiple of 257
};

struct Page {
  Shape shape;
  Channels channels;
  Band band;
  uint64_t directory;  // where it is in the file
  bool turns_around;   // 0 is white in the file and black in the rows
  bool is_mirrored;    // the first column is the right one
  bool is_upward;
};

// Puts the codec at a page that was taken before. False, reported, when that fails or the file has become
// another: what its directory said must still hold.
[[nodiscard]] bool go_to(Codec& codec, const Page& page);

// Finds out what the current page is. False when it cannot be read: reported, with orb__err set.
[[nodiscard]] bool take_page(Codec& codec, const Settings& settings, Page* out);

// The palette of the current page. False when memory ran out.
[[nodiscard]] bool take_palette(Codec& codec, const Page& page, Palette16* out);

// The form of integers of a width, or of floating-point samples.
Form form_of(uint16_t sample_format, int32_t bits);

}  // namespace orb::tiff
