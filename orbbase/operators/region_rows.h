// Converting one scanline into a region's pixels. Pure functions: no handle, no report, no allocation.
//
// The scalar form is the definition: a sample becomes single precision, is multiplied by its factor, and the
// product is cut toward zero to an integer whose low 8 or 16 bits are stored. The vector forms give the same
// bits for every value that a sample can hold, larger ones than its width allows included.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace orb::region {

// How a pixel looks in the caller's buffer.
struct Layout {
  uint32_t code;       // ORB_REGION_
  uint8_t components;  // 1: red alone; 3: red, green, blue; 4: with alpha
  uint8_t bits;        // of a component
  [[nodiscard]] uint32_t pixel_bytes() const { return uint32_t{components} * bits / 8; }
};

// Null for a code that is none.
const Layout* find_layout(uint32_t code);

// The samples of consecutive pixels, from the first one's on.
struct RowSources {
  const uint8_t* channels[4];  // red, green, blue, alpha; a null alpha stands for fixed_alpha
  uint16_t fixed_alpha;
};

// What samples are multiplied by.
struct Factors {
  float color;
  float matte;
};

// Converts pixels from the first on; returns how many it did. out receives exactly that many pixels.
using Kernel = size_t (*)(const RowSources& sources, const Factors& factors, size_t pixel_count,
                          uint8_t* out);

// The forms that convert whole blocks of pixels. Null: none.
struct BlockKernels {
  Kernel plain;
  Kernel streaming;  // past the caches, to addresses that are a multiple of 16
};

// What rows are to be converted from and to.
struct Conversion {
  const Layout* layout;
  uint32_t sample_bytes;  // 1 or 2, of every channel
  Factors factors;
  // The samples use all bits of their bytes, the alpha channel's too, and the factors say so.
  bool is_full_width;
  // More is written than the caches hold: what is stored would only push out what is still to be read.
  bool is_large;
};

// A way to convert rows, chosen once for all of them. When it goes, what it has stored is there for all
// threads.
class RowConverter {
 public:
  // A conversion by the definition alone.
  explicit RowConverter(const Conversion& conversion);
  RowConverter(const Conversion& conversion, BlockKernels blocks);
  ~RowConverter();
  RowConverter(const RowConverter&) = delete;
  RowConverter& operator=(const RowConverter&) = delete;

  // Fills out with pixels, from the first of the sources on.
  void operator()(const RowSources& sources, std::span<uint8_t> out) const;

 private:
  Conversion conversion_;
  BlockKernels blocks_;
  Kernel scalar_;
};

// The converter with the best instructions that this processor has.
RowConverter choose_converter(const Conversion& conversion);

// Whether the forms below give the definition's results.
bool suits_blocks(const Conversion& conversion);

// The forms for one instruction set; none where it was not built. avx2: for processors that have it.
BlockKernels sse2_kernels(const Conversion& conversion);
BlockKernels avx2_kernels(const Conversion& conversion);

// Waits until what was stored past the caches is in memory.
void complete_streaming();

}  // namespace orb::region
