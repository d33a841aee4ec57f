// Files of the codec library, read by the plug-in.
#include <gmock/gmock.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <random>

#include "oracle.h"

namespace orb::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

// The slow, obvious value of a half float.
uint64_t float_bits_of_half(uint64_t half) {
  const double sign = (half & 0x8000) != 0 ? -1 : 1;
  const int exponent = static_cast<int>(half >> 10 & 31);
  const double fraction = static_cast<double>(half & 1023) / 1024;
  if (exponent == 31) return (half & 0x8000) << 16 | 0x7F800000 | (half & 1023) << 13;
  const double value = exponent == 0 ? std::ldexp(fraction, -14) : std::ldexp(1 + fraction, exponent - 15);
  return std::bit_cast<uint32_t>(static_cast<float>(sign * value));
}

uint64_t expected_at(const Stored& page, uint32_t x, uint32_t row, int sample) {
  const uint64_t stored = page.at(x, row, sample);
  return page.format == SAMPLEFORMAT_IEEEFP && page.bits == 16 ? float_bits_of_half(stored) : stored;
}

// A page whose file samples are the channels in their order.
Planes planes_of(const Stored& page) {
  Planes planes(static_cast<size_t>(page.samples));
  for (int s = 0; s < page.samples; ++s) {
    for (uint32_t i = 0; i < page.width * page.height; ++i)
      planes[static_cast<size_t>(s)].push_back(expected_at(page, i % page.width, i / page.width, s));
  }
  return planes;
}

TEST_F(TiffTest, every_width_and_layout_comes_through_as_stored) {
  const struct {
    int samples;
    bool is_planar;
    uint32_t tile;
    uint16_t compression;
    const char* mode;
  } layouts[] = {{1, false, 0, COMPRESSION_NONE, "wl"},         {3, false, 0, COMPRESSION_NONE, "wb"},
                 {3, true, 0, COMPRESSION_NONE, "wb"},          {3, false, 16, COMPRESSION_NONE, "wb"},
                 {3, true, 16, COMPRESSION_LZW, "wl"},          {3, true, 0, COMPRESSION_PACKBITS, "wl"},
                 {3, false, 0, COMPRESSION_ADOBE_DEFLATE, "w8"}};
  std::vector<Stored> pages;
  for (int bits = 1; bits <= 32; ++bits) pages.push_back({.bits = bits});
  for (const int bits : {16, 32, 64}) pages.push_back({.bits = bits, .format = SAMPLEFORMAT_IEEEFP});
  for (const auto& layout : layouts) {
    SCOPED_TRACE(&layout - layouts);
    for (Stored& page : pages) {
      page.samples = layout.samples;
      page.photometric = layout.samples == 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK;
      page.is_planar = layout.is_planar;
      page.tile = layout.tile;
      page.compression = layout.compression;
    }
    save_tiff("in.tif", pages, layout.mode);
    const Image image = open_read("tiff", "in.tif");
    ASSERT_TRUE(image) << reports.texts();
    ASSERT_EQ(image->info.image_count, static_cast<int32_t>(pages.size()));
    for (size_t i = 0; i < pages.size(); ++i) {
      const ORB_CHANNELS& color = image->info.images[i].color;
      EXPECT_EQ(color.count, layout.samples);
      EXPECT_EQ(color.width,
                pages[i].format == SAMPLEFORMAT_UINT ? pages[i].bits : std::max(32, pages[i].bits));
      EXPECT_EQ(read_all(*image, static_cast<int32_t>(i)), planes_of(pages[i])) << pages[i].bits << " bits";
    }
    EXPECT_EQ(reports.texts(), "");
  }
}

// Rows that are spread in several pieces, none of which may begin within a byte.
TEST_F(TiffTest, rows_of_any_length_and_number_of_samples_come_through_as_stored) {
  std::vector<Stored> pages;
  for (const int bits : {1, 2, 4, 7, 12, 16}) {
    pages.push_back({.width = 60'013, .height = 1, .bits = bits, .samples = 3});
    pages.push_back({.width = 131, .height = 1, .bits = bits, .samples = 5'001});
  }
  for (Stored& page : pages) page.photometric = page.samples == 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_SEPARATED;
  save_tiff("in.tif", pages);
  const Image image = open_read("tiff", "in.tif");
  ASSERT_TRUE(image) << reports.texts();
  for (size_t i = 0; i < pages.size(); ++i)
    EXPECT_EQ(read_all(*image, static_cast<int32_t>(i)), planes_of(pages[i]));
}

TEST_F(TiffTest, any_line_of_any_page_is_read_in_any_order) {
  // A single strip of each; of the first two the bands do not hold it at once.
  std::vector<Stored> pages(16, {.width = 300, .height = 200, .strip_rows = 2000});
  pages[0].width = pages[1].width = 3000;
  pages[0].height = pages[1].height = 2000;
  for (size_t i = 0; i < pages.size(); i += 2) pages[i].compression = COMPRESSION_PACKBITS;
  save_tiff("in.tif", pages);
  const Image image = open_read("tiff", "in.tif");
  ASSERT_TRUE(image);
  std::mt19937 random(1);
  for (int i = 0; i < 300; ++i) {
    const auto page = i < 150 ? static_cast<int32_t>(random() % 16) : 0;
    const ORB_IFD& ifd = image->info.images[page];
    const auto line = static_cast<int32_t>(random() % static_cast<uint32_t>(ifd.window.top + 1));
    void** rows = read_row(*image, line, page);
    ASSERT_TRUE(rows) << reports.texts();
    for (const int32_t x : {0, 149, ifd.window.right}) {
      EXPECT_EQ(sample_at(ifd, rows, 0, x),
                pages[0].at(static_cast<uint32_t>(x), static_cast<uint32_t>(ifd.window.top - line), 0));
    }
    static_cast<uint8_t*>(rows[0])[149] ^= 0xFF;  // whoever has the rows may change them
  }
}

TEST_F(TiffTest, extra_samples_become_matte_and_auxiliary_by_their_kind) {
  const struct {
    uint16_t photometric;
    int samples;
    std::vector<uint16_t> extras;
    int colours, mattes, aux;
    const char* kind;
    std::vector<int> order;  // the file's sample of each channel
  } rows[] = {{PHOTOMETRIC_RGB, 4, {EXTRASAMPLE_ASSOCALPHA}, 3, 1, 0, "associated", {0, 1, 2, 3}},
              {PHOTOMETRIC_RGB, 4, {EXTRASAMPLE_UNASSALPHA}, 3, 1, 0, "separate", {0, 1, 2, 3}},
              {PHOTOMETRIC_RGB, 6, {0, EXTRASAMPLE_UNASSALPHA, 0}, 3, 1, 2, "separate", {0, 1, 2, 4, 3, 5}},
              {PHOTOMETRIC_MINISBLACK, 2, {EXTRASAMPLE_UNSPECIFIED}, 1, 0, 1, nullptr, {0, 1}},
              {PHOTOMETRIC_SEPARATED, 5, {EXTRASAMPLE_ASSOCALPHA}, 4, 1, 0, "associated", {0, 1, 2, 3, 4}},
              {PHOTOMETRIC_MASK, 1, {}, 0, 1, 0, nullptr, {0}}};
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    const Stored page = {
        .bits = 12, .samples = row.samples, .photometric = row.photometric, .extras = row.extras};
    save_tiff("in.tif", {page});
    const Image image = open_read("tiff", "in.tif");
    ASSERT_TRUE(image) << reports.texts();
    const ORB_IFD& ifd = image->info.images[0];
    EXPECT_EQ(ifd.color.count, row.colours);
    EXPECT_EQ(ifd.matte.count, row.mattes);
    EXPECT_EQ(ifd.aux.count, row.aux);
    EXPECT_STREQ(ifd.matte.name, row.kind);
    void** channels = read_row(*image, ifd.window.top - 5);
    ASSERT_TRUE(channels);
    for (size_t c = 0; c < row.order.size(); ++c) {
      EXPECT_EQ(static_cast<uint16_t*>(channels[c])[11], page.at(11, 5, row.order[c])) << c;
    }
  }
}

TEST_F(TiffTest, a_palette_is_read_as_colours_or_as_indices_with_their_table) {
  for (const bool is_wide : {false, true}) {
    std::vector<uint16_t> map[3] = {std::vector<uint16_t>(16), std::vector<uint16_t>(16),
                                    std::vector<uint16_t>(16)};
    for (int i = 0; i < 48; ++i) map[i / 16][i % 16] = static_cast<uint16_t>(i * (is_wide ? 1001 : 257 * 5));
    const Stored page = {.bits = 4, .photometric = PHOTOMETRIC_PALETTE, .decorate = [&map](TIFF* tiff) {
                           TIFFSetField(tiff, TIFFTAG_COLORMAP, map[0].data(), map[1].data(), map[2].data());
                         }};
    save_tiff("in.tif", {page});
    const Image colours = open_read("tiff", "in.tif");
    ASSERT_TRUE(colours);
    EXPECT_EQ(colours->info.images[0].color.width, is_wide ? 16 : 8);
    void** rows = read_row(*colours, 20);
    for (int c = 0; c < 3; ++c) {
      const uint16_t value = map[c][page.at(7, 0, 0)];
      EXPECT_EQ(sample_at(colours->info.images[0], rows, c, 7), is_wide ? value : value / 257);
    }
    const Image indices = open_read("tiff", "in.tif", {{0, 1}});
    ASSERT_TRUE(indices);
    EXPECT_EQ(indices->info.images[0].color.count, 0);
    EXPECT_EQ(indices->info.images[0].index.width, 4);
    EXPECT_EQ(read_all(*indices), planes_of(page));
    const Table table = read_table(*indices);
    ASSERT_EQ(table->entry_count, 16);
    for (int i = 0; i < 16; ++i) {
      EXPECT_THAT(table->entries[i].rgba, ElementsAre(map[0][i], map[1][i], map[2][i], 65535));
    }
  }
}

TEST_F(TiffTest, the_picture_stands_upright_and_0_is_black) {
  const struct {
    uint16_t orientation;
    bool is_upward, is_mirrored;
  } rows[] = {{ORIENTATION_TOPLEFT, false, false}, {ORIENTATION_TOPRIGHT, false, true},
              {ORIENTATION_BOTRIGHT, true, true},  {ORIENTATION_BOTLEFT, true, false},
              {ORIENTATION_LEFTTOP, false, false}, {ORIENTATION_LEFTBOT, false, false}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.orientation);
    reports.clear();
    const Stored page = {.bits = 5, .photometric = PHOTOMETRIC_MINISWHITE, .decorate = [&row](TIFF* tiff) {
                           TIFFSetField(tiff, TIFFTAG_ORIENTATION, row.orientation);
                         }};
    save_tiff("in.tif", {page});
    for (const bool is_stored : {false, true}) {
      const Image image = open_read("tiff", "in.tif", {{9, is_stored ? 1 : 0}});
      ASSERT_TRUE(image);
      const ORB_IFD& ifd = image->info.images[0];
      EXPECT_EQ((ifd.orientation & ORB_BOTTOM_UP) != 0, row.is_upward);
      void** channels = read_row(*image, row.is_upward ? 2 : 18);
      ASSERT_TRUE(channels);
      const uint64_t stored = page.at(row.is_mirrored ? 36 : 0, 2, 0);
      EXPECT_EQ(sample_at(ifd, channels, 0, 0), is_stored ? stored : 31 - stored);
    }
    EXPECT_EQ(reports.texts().find("turned by 90 degrees") != std::string::npos, row.orientation >= 5);
  }
}

TEST_F(TiffTest, jpeg_fax_and_reversed_bits_are_read_as_the_codec_library_reads_them) {
  const auto reversed = [](TIFF* tiff) { TIFFSetField(tiff, TIFFTAG_FILLORDER, FILLORDER_LSB2MSB); };
  const auto rgb = [](TIFF* tiff) { TIFFSetField(tiff, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB); };
  const Stored pages[] = {{.bits = 1, .compression = COMPRESSION_CCITTFAX4},
                          {.bits = 1, .compression = COMPRESSION_CCITTFAX3, .decorate = reversed},
                          {.bits = 10, .decorate = reversed},
                          {.bits = 10, .compression = COMPRESSION_LZW, .decorate = reversed},
                          {.samples = 3,
                           .photometric = PHOTOMETRIC_YCBCR,
                           .compression = COMPRESSION_JPEG,
                           .strip_rows = 16,
                           .decorate = rgb}};
  for (const Stored& page : pages) {
    SCOPED_TRACE(page.compression);
    save_tiff("in.tif", {page});
    const Image image = open_read("tiff", "in.tif");
    ASSERT_TRUE(image) << reports.texts();
    if (page.compression != COMPRESSION_JPEG) {
      EXPECT_EQ(read_all(*image), planes_of(page));
      continue;
    }
    std::vector<uint8_t> row(size_t{37} * 3);
    const Planes planes = read_all(*image);
    ASSERT_EQ(planes.size(), 3U);
    inspect("in.tif", [&](TIFF* tiff) {
      rgb(tiff);
      for (uint32_t y = 0; y < 21; ++y) {
        ASSERT_EQ(TIFFReadScanline(tiff, row.data(), y, 0), 1);
        for (size_t i = 0; i < row.size(); ++i) ASSERT_EQ(planes[i % 3][y * 37 + i / 3], row[i]);
      }
    });
  }
}

TEST_F(TiffTest, what_is_not_read_is_refused_in_clear_words) {
  const struct {
    Stored page;
    const char* reason;
  } rows[] = {{{.format = SAMPLEFORMAT_INT}, "signed integer samples are not read"},
              {{.bits = 64}, "integers above 32 bits are not read"},
              {{.bits = 64, .format = SAMPLEFORMAT_COMPLEXIEEEFP}, "complex samples are not read"},
              {{.bits = 24, .format = SAMPLEFORMAT_IEEEFP}, "other than 16, 32 or 64 bits"},
              {{.samples = 3, .photometric = PHOTOMETRIC_CIELAB}, "L*a*b* colours are not read"},
              {{.photometric = PHOTOMETRIC_CFA}, "raw camera mosaics are not read"},
              {{.photometric = 4711}, "photometric interpretation 4711 is not read"},
              {{.samples = 3,
                .photometric = PHOTOMETRIC_YCBCR,
                .decorate = [](TIFF* tiff) { TIFFSetField(tiff, TIFFTAG_YCBCRSUBSAMPLING, 1, 1); }},
               "YCbCr samples are read only of JPEG-compressed pages"},
              {{.compression = COMPRESSION_LERC}, "compression 34887 is not read"}};
  for (const auto& row : rows) {
    reports.clear();
    save_tiff("in.tif", {{}, row.page});
    EXPECT_FALSE(open_read("tiff", "in.tif"));
    EXPECT_EQ(orb__err, ORB_E_HANDLE) << row.reason;
    EXPECT_THAT(reports.texts(), HasSubstr("in.tif: page 2: "));
    EXPECT_THAT(reports.texts(), HasSubstr(row.reason));
    EXPECT_EQ(open_read("tiff", "in.tif", {{8, 1}})->info.image_count, 1) << "the first page alone";
  }
}

TEST_F(TiffTest, what_is_not_kept_is_said) {
  const Stored page = {.decorate = [](TIFF* tiff) {
    TIFFSetField(tiff, TIFFTAG_ICCPROFILE, 4, "icc ");
    TIFFSetField(tiff, TIFFTAG_COPYRIGHT, "nobody");
    TIFFSetField(tiff, TIFFTAG_XRESOLUTION, 72.0);
    TIFFSetField(tiff, TIFFTAG_YRESOLUTION, 36.0);
    TIFFSetField(tiff, TIFFTAG_XPOSITION, 3.0);
  }};
  save_tiff("in.tif", {page});
  const Image image = open_read("tiff", "in.tif");
  ASSERT_TRUE(image);
  EXPECT_EQ(image->info.images[0].pixel_aspect, 0.5F);
  for (const char* said : {"the colour profile is not kept", "tag 33432 (Copyright) is not kept",
                           "the pixels' size is not kept", "position on its page is not kept"}) {
    EXPECT_THAT(reports.texts(), HasSubstr(said));
  }
  size_t warnings = 0;
  for (const auto& report : reports.reports) warnings += report.category == ERR_WARNING;
  EXPECT_EQ(warnings, 1U) << "the profile";
}

}  // namespace
}  // namespace orb::testing
