// The forms of a region's conversion against the slow one.
#include <gtest/gtest.h>

#include <vector>

#include "orbbase/operators/region_rows.h"
#include "tests/operators/region_oracle.h"

namespace {

using namespace orb::region;
using orb::testing::expected_component;
using orb::testing::expected_factor;
using orb::testing::kPixelForms;
using orb::testing::PixelForm;
using orb::testing::store_component;

// Four rows of samples, no two alike, that together hold every value a sample can have.
struct Rows {
  Rows(uint32_t bytes, size_t pixel_count) : sample_bytes(bytes) {
    for (uint32_t c = 0; c < 4; ++c) {
      rows[c].resize(pixel_count * bytes);
      for (size_t i = 0; i < pixel_count; ++i) {
        const auto value = static_cast<uint16_t>(i * (2 * c + 1) + c * 0x5A5B);
        std::memcpy(&rows[c][i * bytes], &value, bytes);
      }
    }
  }

  [[nodiscard]] uint32_t sample(uint32_t channel, size_t i) const {
    uint16_t value = 0;
    std::memcpy(&value, &rows[channel][i * sample_bytes], sample_bytes);
    return value;
  }

  [[nodiscard]] RowSources sources(bool has_alpha) const {
    return {{rows[0].data(), rows[1].data(), rows[2].data(), has_alpha ? rows[3].data() : nullptr}, 0x1234};
  }

  uint32_t sample_bytes;
  std::vector<uint8_t> rows[4];
};

struct Case {
  PixelForm form;
  uint32_t sample_bytes;
  int32_t color_width;
  int32_t matte_width;  // 0: no alpha channel

  [[nodiscard]] Conversion conversion(bool is_large) const {
    return {
        find_layout(form.layout),
        sample_bytes,
        {expected_factor(color_width, form.bits), matte_width ? expected_factor(matte_width, form.bits) : 0},
        color_width == static_cast<int32_t>(8 * sample_bytes) && (!matte_width || matte_width == color_width),
        is_large};
  }

  [[nodiscard]] std::vector<uint8_t> expected(const Rows& rows, size_t pixel_count) const {
    std::vector<uint8_t> out(pixel_count * form.bytes());
    for (size_t i = 0; i < pixel_count; ++i) {
      for (uint32_t c = 0; c < form.components; ++c) {
        const int32_t width = c == 3 ? matte_width : color_width;
        const uint32_t value =
            width ? expected_component(rows.sample(c, i), expected_factor(width, form.bits), form.bits)
                  : 0x1234;
        store_component(&out[i * form.bytes()], c, value, form.bits);
      }
    }
    return out;
  }
};

// Calls check(name, converter) with every form that was built and that this processor runs.
template <class Check>
void for_each_converter(const Case& row, Check check) {
  for (const bool is_large : {false, true}) {
    const Conversion conversion = row.conversion(is_large);
    check("definition", RowConverter(conversion));
    if (suits_blocks(conversion)) check("SSE2", RowConverter(conversion, sse2_kernels(conversion)));
    check("chosen", choose_converter(conversion));
  }
}

std::vector<Case> every_width() {
  std::vector<Case> all;
  for (const PixelForm& form : kPixelForms) {
    for (const uint32_t bytes : {1u, 2u}) {
      for (int32_t width = 1; width <= 16; ++width) {
        all.push_back({form, bytes, width, width});
        if (form.components == 4) all.push_back({form, bytes, static_cast<int32_t>(8 * bytes), width});
      }
      all.push_back({form, bytes, static_cast<int32_t>(8 * bytes), 0});
      all.push_back({form, bytes, 7, 0});
      for (const int32_t width : {31, 32}) all.push_back({form, bytes, 8, width});
    }
  }
  return all;
}

TEST(RegionRows, of_every_storable_sample_at_every_width_are_those_of_the_formula) {
  const Rows rows[] = {Rows(1, 256 + 5), Rows(2, 65536 + 5)};
  for (const Case& row : every_width()) {
    const Rows& in = rows[row.sample_bytes - 1];
    const size_t pixel_count = in.rows[0].size() / in.sample_bytes;
    const std::vector<uint8_t> expected = row.expected(in, pixel_count);
    std::vector<uint8_t> out(expected.size());
    for_each_converter(row, [&](const char* name, const RowConverter& convert) {
      std::fill(out.begin(), out.end(), 0xCD);
      convert(in.sources(row.matte_width != 0), out);
      EXPECT_EQ(out, expected) << name << ", layout " << row.form.layout << ", " << row.sample_bytes
                               << " bytes, widths " << row.color_width << " and " << row.matte_width;
    });
  }
}

TEST(RegionRows, of_any_length_at_any_address_write_their_pixels_and_nothing_else) {
  constexpr size_t kGuard = 32;
  for (const PixelForm& form : kPixelForms) {
    for (const int32_t width : {8, 5, 16, 11}) {
      const Case row = {form, width > 8 ? 2u : 1u, width, width};
      for (size_t pixel_count = 0; pixel_count <= 50; ++pixel_count) {
        const Rows in(row.sample_bytes,
                      pixel_count);  // no sample more: an address sanitizer sees reads behind
        const std::vector<uint8_t> pixels = row.expected(in, pixel_count);
        for (const size_t offset : {0, 1, 2, 16}) {
          std::vector<uint8_t> expected(kGuard + offset, 0xCD);
          expected.insert(expected.end(), pixels.begin(), pixels.end());
          expected.resize(expected.size() + kGuard, 0xCD);
          for_each_converter(row, [&](const char* name, const RowConverter& convert) {
            std::vector<uint8_t> out(expected.size(), 0xCD);
            convert(in.sources(true), {out.data() + kGuard + offset, pixels.size()});
            EXPECT_EQ(out, expected) << name << ", layout " << form.layout << ", width " << width << ", "
                                     << pixel_count << " pixels";
          });
        }
      }
    }
  }
}

}  // namespace
