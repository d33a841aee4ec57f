// A region's conversion 16 pixels at a time, written over a few instructions of one processor: the struct Isa
// of the including file. Everything here is a template on that struct, which must have internal linkage, and
// calls nothing of the run-time library: no function compiled for one processor may end up serving another.
//
//   Words words_of(const uint8_t*), words_of(const uint16_t*)
//                                    16 samples as words
//   Words scale_words(Words, float)  the low 16 bits of each product, cut toward zero; products below 2^31
//   __m128i scale_bytes(Words, float)
//                                    the low 8 bits
//   __m128i close_up(__m128i)        4 pixels of 3 bytes, given with a fourth that is 0, as 12 bytes and 4
//                                    zeros
//   void leave()                     called last of all
#pragma once

#include <emmintrin.h>

#include <cstddef>
#include <cstdint>

#include "orbbase/operators/region_rows.h"

namespace orb::region {

constexpr size_t kBlockPixels = 16;
constexpr size_t kPrefetchBytes = 1024;

// 16 words, in the order of the pixels.
struct Words {
  __m128i low;
  __m128i high;
};

template <class Isa, class Sample, bool is_full_width, bool is_streaming>
struct Blocks {
  static __m128i load(const void* from) { return _mm_loadu_si128(static_cast<const __m128i*>(from)); }

  static void store(uint8_t* to, __m128i vector) {
    if constexpr (is_streaming) {
      _mm_stream_si128(reinterpret_cast<__m128i*>(to), vector);
    } else {
      _mm_storeu_si128(reinterpret_cast<__m128i*>(to), vector);
    }
  }

  // s * 255 / 65535, cut: exact for every s.
  static __m128i byte_of_word(__m128i words) {
    return _mm_srli_epi16(_mm_mulhi_epu16(words, _mm_set1_epi16(static_cast<int16_t>(65281))), 8);
  }

  static const Sample* samples(const uint8_t* row, size_t i) {
    return reinterpret_cast<const Sample*>(row + i * sizeof(Sample));
  }

  // Every channel is a stream of its own, and a row ends before the processor has found all of them.
  static void prefetch(const Sample* in) {
    _mm_prefetch(reinterpret_cast<const char*>(in) + kPrefetchBytes, _MM_HINT_T0);
  }

  // ---- 16 components of a channel, from pixel i on ----

  static __m128i bytes(const uint8_t* row, size_t i, float factor) {
    const Sample* in = samples(row, i);
    prefetch(in);
    if constexpr (!is_full_width) return Isa::scale_bytes(Isa::words_of(in), factor);
    if constexpr (sizeof(Sample) == 1) return load(in);
    return _mm_packus_epi16(byte_of_word(load(in)), byte_of_word(load(in + 8)));
  }

  static Words words(const uint8_t* row, size_t i, float factor) {
    const Sample* in = samples(row, i);
    prefetch(in);
    if constexpr (!is_full_width) return Isa::scale_words(Isa::words_of(in), factor);
    if constexpr (sizeof(Sample) == 2) return {load(in), load(in + 8)};
    const __m128i v = load(in);
    return {_mm_unpacklo_epi8(v, v), _mm_unpackhi_epi8(v, v)};  // times 257
  }

  static __m128i alpha_bytes(const RowSources& sources, size_t i, float factor) {
    const uint8_t* row = sources.channels[3];
    return row ? bytes(row, i, factor) : _mm_set1_epi8(static_cast<int8_t>(sources.fixed_alpha));
  }

  static Words alpha_words(const RowSources& sources, size_t i, float factor) {
    if (const uint8_t* row = sources.channels[3]) return words(row, i, factor);
    const __m128i fixed = _mm_set1_epi16(static_cast<int16_t>(sources.fixed_alpha));
    return {fixed, fixed};
  }

  // ---- A block of each layout ----

  struct Grey8 {
    static constexpr size_t kPixelBytes = 1;
    static void convert(const RowSources& sources, const Factors& factors, size_t i, uint8_t* out) {
      store(out, bytes(sources.channels[0], i, factors.color));
    }
  };

  struct Grey16 {
    static constexpr size_t kPixelBytes = 2;
    static void convert(const RowSources& sources, const Factors& factors, size_t i, uint8_t* out) {
      const Words grey = words(sources.channels[0], i, factors.color);
      store(out, grey.low);
      store(out + 16, grey.high);
    }
  };

  // 16 pixels of four bytes each.
  struct Quads {
    __m128i of_4[4];
  };

  static Quads interleave(__m128i red, __m128i green, __m128i blue, __m128i alpha) {
    const __m128i rg_low = _mm_unpacklo_epi8(red, green);
    const __m128i rg_high = _mm_unpackhi_epi8(red, green);
    const __m128i ba_low = _mm_unpacklo_epi8(blue, alpha);
    const __m128i ba_high = _mm_unpackhi_epi8(blue, alpha);
    return {{_mm_unpacklo_epi16(rg_low, ba_low), _mm_unpackhi_epi16(rg_low, ba_low),
             _mm_unpacklo_epi16(rg_high, ba_high), _mm_unpackhi_epi16(rg_high, ba_high)}};
  }

  struct Rgba8 {
    static constexpr size_t kPixelBytes = 4;
    static void convert(const RowSources& sources, const Factors& factors, size_t i, uint8_t* out) {
      const Quads quads = interleave(
          bytes(sources.channels[0], i, factors.color), bytes(sources.channels[1], i, factors.color),
          bytes(sources.channels[2], i, factors.color), alpha_bytes(sources, i, factors.matte));
      for (size_t k = 0; k < 4; ++k) store(out + k * 16, quads.of_4[k]);
    }
  };

  struct Rgb8 {
    static constexpr size_t kPixelBytes = 3;
    static void convert(const RowSources& sources, const Factors& factors, size_t i, uint8_t* out) {
      const Quads quads = interleave(bytes(sources.channels[0], i, factors.color),
                                     bytes(sources.channels[1], i, factors.color),
                                     bytes(sources.channels[2], i, factors.color), _mm_setzero_si128());
      __m128i twelve[4];  // bytes each
      for (size_t k = 0; k < 4; ++k) twelve[k] = Isa::close_up(quads.of_4[k]);
      store(out, _mm_or_si128(twelve[0], _mm_slli_si128(twelve[1], 12)));
      store(out + 16, _mm_or_si128(_mm_srli_si128(twelve[1], 4), _mm_slli_si128(twelve[2], 8)));
      store(out + 32, _mm_or_si128(_mm_srli_si128(twelve[2], 8), _mm_slli_si128(twelve[3], 4)));
    }
  };

  // 8 pixels of four words each.
  static void store_words(__m128i red, __m128i green, __m128i blue, __m128i alpha, uint8_t* out) {
    const __m128i rg_low = _mm_unpacklo_epi16(red, green);
    const __m128i rg_high = _mm_unpackhi_epi16(red, green);
    const __m128i ba_low = _mm_unpacklo_epi16(blue, alpha);
    const __m128i ba_high = _mm_unpackhi_epi16(blue, alpha);
    store(out, _mm_unpacklo_epi32(rg_low, ba_low));
    store(out + 16, _mm_unpackhi_epi32(rg_low, ba_low));
    store(out + 32, _mm_unpacklo_epi32(rg_high, ba_high));
    store(out + 48, _mm_unpackhi_epi32(rg_high, ba_high));
  }

  struct Rgba16 {
    static constexpr size_t kPixelBytes = 8;
    static void convert(const RowSources& sources, const Factors& factors, size_t i, uint8_t* out) {
      const Words red = words(sources.channels[0], i, factors.color);
      const Words green = words(sources.channels[1], i, factors.color);
      const Words blue = words(sources.channels[2], i, factors.color);
      const Words alpha = alpha_words(sources, i, factors.matte);
      store_words(red.low, green.low, blue.low, alpha.low, out);
      store_words(red.high, green.high, blue.high, alpha.high, out + 64);
    }
  };

  template <class Block>
  static size_t convert_row(const RowSources& sources, const Factors& factors, size_t pixel_count,
                            uint8_t* out) {
    size_t i = 0;
    for (; pixel_count - i >= kBlockPixels; i += kBlockPixels) {
      Block::convert(sources, factors, i, out + i * Block::kPixelBytes);
    }
    Isa::leave();
    return i;
  }

  static Kernel kernel(const Layout& layout) {
    const bool is_wide = layout.bits == 16;
    switch (layout.components) {
      case 1:
        return is_wide ? &convert_row<Grey16> : &convert_row<Grey8>;
      case 3:
        return &convert_row<Rgb8>;
      default:
        return is_wide ? &convert_row<Rgba16> : &convert_row<Rgba8>;
    }
  }
};

template <class Isa, class Sample, bool is_full_width>
BlockKernels block_kernels(const Layout& layout) {
  return {Blocks<Isa, Sample, is_full_width, false>::kernel(layout),
          Blocks<Isa, Sample, is_full_width, true>::kernel(layout)};
}

template <class Isa>
BlockKernels choose_blocks(const Conversion& conversion) {
  const Layout& layout = *conversion.layout;
  if (conversion.sample_bytes == 1) {
    return conversion.is_full_width ? block_kernels<Isa, uint8_t, true>(layout)
                                    : block_kernels<Isa, uint8_t, false>(layout);
  }
  return conversion.is_full_width ? block_kernels<Isa, uint16_t, true>(layout)
                                  : block_kernels<Isa, uint16_t, false>(layout);
}

}  // namespace orb::region
