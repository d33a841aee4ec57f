// The forms of a region's conversion against the slow one.
#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "orbbase/operators/region_rows.h"
#include "tests/operators/region_oracle.h"

namespace {

using namespace orb::region;
using namespace orb::testing;

constexpr uint16_t kFixedAlpha = 0x1234;
constexpr uint8_t kUntouched = 0xCD;

struct Case {
  PixelForm form;
  uint32_t sample_bytes;
  int32_t color_width;
  int32_t matte_width;  // 0: no alpha channel
};

// Converts rows that hold every value a sample can have with every form that was built and that this processor
// runs. No sample is behind them, so that an address sanitizer sees reads there.
void expect_pixels(const Case& row, size_t pixel_count, size_t offset) {
  std::vector<uint8_t> rows[4];
  std::vector<uint8_t> pixels(pixel_count * row.form.bytes());
  const float factors[] = {expected_factor(row.color_width, row.form.bits),
                           row.matte_width ? expected_factor(row.matte_width, row.form.bits) : 0};
  for (uint32_t c = 0; c < 4; ++c) {
    rows[c].resize(pixel_count * row.sample_bytes);
    for (size_t i = 0; i < pixel_count; ++i) {
      const auto value = static_cast<uint16_t>(i * (2 * c + 1) + c * 0x5A5B);
      std::memcpy(&rows[c][i * row.sample_bytes], &value, row.sample_bytes);
      const uint32_t sample = row.sample_bytes == 1 ? value & 0xFF : value;
      const uint32_t wanted = c == 3 && !row.matte_width
                                  ? kFixedAlpha
                                  : expected_component(sample, factors[c == 3], row.form.bits);
      if (c < row.form.components) store_component(&pixels[i * row.form.bytes()], c, wanted, row.form.bits);
    }
  }
  const RowSources sources = {
      {rows[0].data(), rows[1].data(), rows[2].data(), row.matte_width ? rows[3].data() : nullptr},
      kFixedAlpha};
  constexpr size_t kGuard = 32;
  std::vector<uint8_t> expected(kGuard + offset, kUntouched);
  expected.insert(expected.end(), pixels.begin(), pixels.end());
  expected.resize(expected.size() + kGuard, kUntouched);
  std::vector<uint8_t> out;
  const auto check = [&](const char* name, const RowConverter& convert) {
    out.assign(expected.size(), kUntouched);
    convert(sources, {out.data() + kGuard + offset, pixels.size()});
    EXPECT_TRUE(out == expected) << name << ", layout " << row.form.layout << ", " << row.sample_bytes
                                 << " bytes, widths " << row.color_width << " and " << row.matte_width << ", "
                                 << pixel_count << " pixels";
  };
  const bool is_full_width = row.color_width == static_cast<int32_t>(8 * row.sample_bytes) &&
                             (!row.matte_width || row.matte_width == row.color_width);
  for (const bool is_large : {false, true}) {
    const Conversion conversion = {
        find_layout(row.form.layout), row.sample_bytes, {factors[0], factors[1]}, is_full_width, is_large};
    check("definition", RowConverter(conversion));
    if (suits_blocks(conversion)) check("SSE2", RowConverter(conversion, sse2_kernels(conversion)));
    check("chosen", choose_converter(conversion));
  }
}

TEST(RegionRows, of_every_storable_sample_at_every_width_are_those_of_the_formula) {
  for (const PixelForm& form : kPixelForms) {
    for (const uint32_t bytes : {1u, 2u}) {
      const size_t pixel_count = (bytes == 1 ? 256 : 65536) + 5;
      const auto full = static_cast<int32_t>(8 * bytes);
      for (int32_t width = 1; width <= 16; ++width) {
        expect_pixels({form, bytes, width, width}, pixel_count, 0);
        if (form.components == 4) expect_pixels({form, bytes, full, width}, pixel_count, 0);
      }
      for (const auto& [color, matte] : {std::pair{full, 0}, {7, 0}, {8, 31}, {8, 32}}) {
        expect_pixels({form, bytes, color, matte}, pixel_count, 0);
      }
    }
  }
}

TEST(RegionRows, of_any_length_at_any_address_write_their_pixels_and_nothing_else) {
  for (const PixelForm& form : kPixelForms) {
    for (const int32_t width : {8, 5, 16, 11}) {
      for (size_t pixel_count = 0; pixel_count <= 50; ++pixel_count) {
        for (const size_t offset : {0, 1, 2, 16}) {
          expect_pixels({form, width > 8 ? 2u : 1u, width, width}, pixel_count, offset);
        }
      }
    }
  }
}

}  // namespace
