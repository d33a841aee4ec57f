#include "samples.h"

#include <bit>

#include "plugins/common/planes.h"

namespace orb::pnm {
namespace {

constexpr bool kIsLittleEndian = std::endian::native == std::endian::little;

uint8_t turned(uint8_t sample) { return sample; }
uint16_t turned(uint16_t sample) { return static_cast<uint16_t>(sample << 8 | sample >> 8); }
uint32_t turned(uint32_t sample) {
  return sample << 24 | (sample << 8 & 0xFF0000U) | (sample >> 8 & 0xFF00U) | sample >> 24;
}

// Floats are moved as the bits that they are. Bits of a byte order that is the machine's stay.
bool is_turned(const Header& header) {
  if (header.form() == Form::floats) return header.is_little_endian != kIsLittleEndian;
  return kIsLittleEndian && !header.is_plain;
}

// Calls move with the change that a sample undergoes on its way; the samples seen, in the machine's order, are
// ored.
template <class T, class Move>
uint32_t with_change(bool turns, bool turns_before, Move move) {
  uint32_t seen = 0;
  if (!turns) {
    move([&seen](T sample) { return seen |= sample, sample; });
  } else if (turns_before) {
    move([&seen](T sample) { return sample = turned(sample), seen |= sample, sample; });
  } else {
    move([&seen](T sample) { return seen |= sample, turned(sample); });
  }
  return seen;
}

uint32_t or_of(const uint8_t* samples, size_t count) {
  uint32_t seen = 0;
  for (size_t i = 0; i < count; ++i) seen |= samples[i];
  return seen;
}

}  // namespace

void samples_from_bits(const uint8_t* packed, size_t pixels, uint8_t* out) {
  for (size_t i = 0; i < pixels; ++i) out[i] = (packed[i / 8] >> (7 - i % 8) & 1) ^ 1;
}

void bits_from_samples(const uint8_t* in, size_t pixels, uint8_t* packed) {
  for (size_t i = 0; i < pixels; i += 8) {
    uint32_t byte = 0;
    for (size_t bit = 0; bit < 8 && i + bit < pixels; ++bit) byte |= (~in[i + bit] & 1U) << (7 - bit);
    packed[i / 8] = static_cast<uint8_t>(byte);
  }
}

uint32_t unpack_row(const Header& header, const uint8_t* packed, void* const* rows) {
  const size_t pixels = static_cast<size_t>(header.width);
  const size_t channels = header.samples();
  const Form form = header.form();
  if (form == Form::bits && !header.is_plain) {
    samples_from_bits(packed, pixels, static_cast<uint8_t*>(rows[0]));
    return 0;
  }
  if (packed == rows[0]) return or_of(packed, pixels);  // read where it belongs
  const auto split = [&]<class T>(T) {
    return with_change<T>(sizeof(T) > 1 && is_turned(header), true, [&](auto change) {
      plugin::split_pixels(reinterpret_cast<const T*>(packed), channels, pixels, rows, change);
    });
  };
  if (form == Form::floats) return split(uint32_t{});
  return form == Form::shorts ? split(uint16_t{}) : split(uint8_t{});
}

uint32_t pack_row(const Header& header, void* const* rows, uint8_t* packed) {
  const size_t pixels = static_cast<size_t>(header.width);
  const Form form = header.form();
  if (form == Form::bits && !header.is_plain) {
    const auto* samples = static_cast<const uint8_t*>(rows[0]);
    bits_from_samples(samples, pixels, packed);
    return or_of(samples, pixels);
  }
  const auto merge = [&]<class T>(T) {
    return with_change<T>(sizeof(T) > 1 && is_turned(header), false, [&](auto change) {
      plugin::merge_pixels(rows, header.samples(), pixels, reinterpret_cast<T*>(packed), change);
    });
  };
  if (form == Form::floats) return merge(uint32_t{});
  return form == Form::shorts ? merge(uint16_t{}) : merge(uint8_t{});
}

}  // namespace orb::pnm
