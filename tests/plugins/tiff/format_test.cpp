// What a TIFF can and cannot be, for the tests of all formats, and how its own damage is told.
#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <random>

#include "oracle.h"
#include "plugins/common/half.h"
#include "tests/plugins/common/conformance.h"

namespace orb::testing {
namespace {

using ::testing::HasSubstr;
using namespace std::string_literals;

enum : uint16_t {
  kIndices = 0,
  kCompression = 2,
  kLevel,
  kPredictor,
  kAlpha,
  kRows,
  kContainer,
  kFirstPage,
  kSense
};

std::string file_of(const std::vector<Stored>& pages, const char* mode = "wl") {
  save_tiff("made.tif", pages, mode);
  return load("made.tif");
}

std::vector<Example> examples() {
  std::vector<Example> all;
  for (const uint16_t compression : {uint16_t{COMPRESSION_NONE}, uint16_t{COMPRESSION_LZW}}) {
    const Stored page = {.width = 9, .height = 7, .compression = compression, .decorate = [](TIFF* tiff) {
                           TIFFSetField(tiff, TIFFTAG_IMAGEDESCRIPTION, "some words");
                         }};
    all.push_back({file_of({page, page})});
  }
  const auto palette = [](TIFF* tiff) {
    std::vector<uint16_t> map(256);
    TIFFSetField(tiff, TIFFTAG_COLORMAP, map.data(), map.data(), map.data());
  };
  all.push_back(
      {file_of({{.width = 9, .height = 7, .photometric = PHOTOMETRIC_PALETTE, .decorate = palette}})});
  return all;
}

// The number of this tag's entry in the first page's directory is another one; tag 0: the place of the next page.
std::string with(std::string file, uint16_t tag, uint32_t value) {
  uint32_t at = 0;
  std::memcpy(&at, &file[4], 4);
  uint16_t entries = 0;
  std::memcpy(&entries, &file[at], 2);
  for (at += 2; tag != 0 && std::memcmp(&file[at], &tag, 2) != 0; at += 12) --entries;
  if (tag == 0) return file.replace(at + 12U * entries, 4, reinterpret_cast<const char*>(&value), 4);
  const uint16_t as_long[] = {4, 1, 0};
  file.replace(at + 2, 6, reinterpret_cast<const char*>(as_long), 6);
  return file.replace(at + 8, 4, reinterpret_cast<const char*>(&value), 4);
}

std::string sized(uint32_t width, uint32_t height, uint16_t compression) {
  const std::string file = file_of({{.compression = compression}});
  return with(with(with(file, TIFFTAG_IMAGEWIDTH, width), TIFFTAG_IMAGELENGTH, height), TIFFTAG_ROWSPERSTRIP,
              height);
}

std::string tiled(uint32_t side) {
  const std::string file = file_of({{.compression = COMPRESSION_LZW, .tile = 16}});
  return with(with(file, TIFFTAG_TILEWIDTH, side), TIFFTAG_TILELENGTH, side);
}

// A second page of a kind that is refused.
Damaged unread(const Stored& page, const std::string& reason) {
  return {file_of({{}, page}), ORB_E_HANDLE, "in: page 2: " + reason};
}

std::vector<Damaged> damaged() {
  constexpr uint32_t kHuge = 0x7FFFFFFF;
  const std::string small = file_of({{}});
  return {{"", ORB_E_FORMAT, "the file is empty"},
          {"II*", ORB_E_FORMAT, "the file is shorter than a TIFF header"},
          {"GIF89a", ORB_E_FORMAT, "it begins with other bytes"},
          {sized(kHuge, kHuge, COMPRESSION_NONE), 0, ""},
          {sized(kHuge, kHuge, COMPRESSION_LZW), 0, ""},
          {sized(1, kHuge, COMPRESSION_NONE), 0, ""},
          {sized(1, 0xFFFFFFFF, COMPRESSION_NONE), 0, ""},  // more rows than a window has
          {sized(0, 0, COMPRESSION_NONE), 0, ""},
          {tiled(0x80000000), 0, ""},
          {tiled(60000), 0, ""},
          {with(small, 0, *reinterpret_cast<const uint32_t*>(&small[4])), 0, ""},  // behind itself
          {with(small, 0, 60000), 0, ""},                                          // behind the end
          {"II*\0\0\0\0\0"s, 0, ""},
          {"MM\0*\0\0\0\x8\xFF\xFF"s, 0, ""},  // many entries
          unread({.format = SAMPLEFORMAT_INT}, "signed integer samples are not read"),
          unread({.bits = 64}, "integers above 32 bits are not read"),
          unread({.bits = 64, .format = SAMPLEFORMAT_COMPLEXIEEEFP}, "complex samples are not read"),
          unread({.bits = 24, .format = SAMPLEFORMAT_IEEEFP}, "floating-point samples of other than 16"),
          unread({.samples = 3, .photometric = PHOTOMETRIC_CIELAB}, "L*a*b* colours are not read"),
          unread({.photometric = PHOTOMETRIC_CFA}, "raw camera mosaics are not read"),
          unread({.photometric = 4711}, "photometric interpretation 4711 is not read"),
          unread({.samples = 3,
                  .photometric = PHOTOMETRIC_YCBCR,
                  .decorate = [](TIFF* tiff) { TIFFSetField(tiff, TIFFTAG_YCBCRSUBSAMPLING, 1, 1); }},
                 "YCbCr samples are read only of JPEG-compressed pages"),
          unread({.compression = COMPRESSION_LERC}, "compression 34887 is not read")};
}

std::vector<Limited> limited() {
  const std::string file =
      file_of({{.width = 1000, .height = 1000, .compression = COMPRESSION_LZW, .tile = 512}, {}, {}});
  return {{file, ORB_LIMIT_BUFFER, 2 * 512 * 512 + 8},
          {file, ORB_LIMIT_HANDLE, 2 * 512 * 512 + 8 + 8000},
          {file, ORB_LIMIT_IMAGES, 3}};
}

std::vector<Layout> layouts() {
  std::vector<Layout> all;
  for (int32_t compression = 0; compression <= 4; ++compression) {
    const Settings settings = {{kCompression, compression}, {kAlpha, 1}};
    for (const auto& [c, m, a] : {std::array{1, 0, 0}, {3, 0, 0}, {3, 1, 0}, {4, 1, 2}, {1, 1, 5}}) {
      all.push_back({c, m, a, 1, 32, ORB_C_INTEGER, settings});
      all.push_back({c, m, a, 32, 32, ORB_C_FLOAT, settings});
      all.push_back({c, m, a, 64, 64, ORB_C_DOUBLE, settings});
    }
  }
  return all;
}

// Each of a page's samples as value_at gives it of column, row and sample.
template <class Value>
Planes planes_by(const Stored& page, Value value_at) {
  Planes planes(static_cast<size_t>(page.samples));
  for (int s = 0; s < page.samples; ++s) {
    for (uint32_t i = 0; i < page.width * page.height; ++i)
      planes[static_cast<size_t>(s)].push_back(value_at(i % page.width, i / page.width, s));
  }
  return planes;
}

Planes planes_of(const Stored& page) {
  return planes_by(page, [&page](uint32_t x, uint32_t y, int s) {
    const uint64_t stored = page.at(x, y, s);
    return page.format == SAMPLEFORMAT_IEEEFP && page.bits == 16
               ? plugin::float_from_half(static_cast<uint16_t>(stored))
               : stored;
  });
}

void add_every_width_and_layout(std::vector<Known>& rows) {
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
    Known row;
    for (Stored& page : pages) {
      page.samples = layout.samples;
      page.photometric = layout.samples == 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK;
      page.is_planar = layout.is_planar;
      page.tile = layout.tile;
      page.compression = layout.compression;
      const char* const kind = page.format == SAMPLEFORMAT_UINT ? "" : page.bits == 64 ? " double" : " float";
      const int width = *kind ? std::max(32, page.bits) : page.bits;
      const std::string image = row.says.empty() ? "" : "image " + std::to_string(row.says.size() + 1) + " ";
      row.says.push_back(image + "color " + std::to_string(page.samples) + "x" + std::to_string(width) +
                         kind);
      for (auto& plane : planes_of(page)) row.planes.push_back(std::move(plane));
    }
    row.bytes = file_of(pages, layout.mode);
    rows.push_back(std::move(row));
  }
}

// order: the file's sample of each channel.
Known with_extra(uint16_t photometric, const std::vector<uint16_t>& extras, std::vector<std::string> says,
                 const std::vector<size_t>& order) {
  const Stored page = {
      .bits = 12, .samples = static_cast<int>(order.size()), .photometric = photometric, .extras = extras};
  const Planes stored = planes_of(page);
  Known row = {file_of({page}), std::move(says)};
  for (const size_t sample : order) row.planes.push_back(stored[sample]);
  return row;
}

void add_extra_samples(std::vector<Known>& rows) {
  constexpr uint16_t kBlended = EXTRASAMPLE_ASSOCALPHA;
  constexpr uint16_t kSeparate = EXTRASAMPLE_UNASSALPHA;
  rows.push_back(
      with_extra(PHOTOMETRIC_RGB, {kBlended}, {"color 3x12", "matte 1x12 associated"}, {0, 1, 2, 3}));
  rows.push_back(with_extra(PHOTOMETRIC_RGB, {0, kSeparate, 0}, {"matte 1x12 separate", "aux 2x12"},
                            {0, 1, 2, 4, 3, 5}));
  rows.push_back(with_extra(PHOTOMETRIC_MINISBLACK, {0}, {"color 1x12", "matte 0", "aux 1x12"}, {0, 1}));
  rows.push_back(with_extra(PHOTOMETRIC_SEPARATED, {kBlended}, {"color 4x12", "matte 1x12 associated"},
                            {0, 1, 2, 3, 4}));
  rows.push_back(with_extra(PHOTOMETRIC_MASK, {}, {"color 0", "matte 1x12"}, {0}));
}

void add_palettes(std::vector<Known>& rows) {
  for (const bool is_wide : {false, true}) {
    const Table table = make_table(16);
    std::vector<uint16_t> map[3];
    for (int i = 0; i < 48; ++i) {
      map[i / 16].push_back(static_cast<uint16_t>(i * (is_wide ? 1001 : 257 * 5)));
      table->entries[i % 16].rgba[i / 16] = map[i / 16].back();
    }
    Stored page = {.bits = 4, .photometric = PHOTOMETRIC_PALETTE, .decorate = [&map](TIFF* tiff) {
                     TIFFSetField(tiff, TIFFTAG_COLORMAP, map[0].data(), map[1].data(), map[2].data());
                   }};
    const std::string bytes = file_of({page});
    rows.push_back({bytes, {"color 0", "index 1x4", fact_of(*table)}, {}, planes_of(page), {{kIndices, 1}}});
    page.samples = 3;
    const Planes colours = planes_by(page, [&](uint32_t x, uint32_t y, int s) {
      return static_cast<uint64_t>(map[s][page.at(x, y, 0)] / (is_wide ? 1 : 257));
    });
    rows.push_back({bytes, {is_wide ? "color 3x16" : "color 3x8"}, {}, colours});
  }
}

void add_orientations(std::vector<Known>& rows) {
  const struct {
    uint16_t orientation;
    bool is_upward, is_mirrored;
  } ways[] = {{ORIENTATION_TOPRIGHT, false, true},
              {ORIENTATION_BOTRIGHT, true, true},
              {ORIENTATION_BOTLEFT, true, false},
              {ORIENTATION_LEFTTOP, false, false},
              {ORIENTATION_LEFTBOT, false, false}};
  for (const auto& way : ways) {
    const Stored page = {.bits = 5, .photometric = PHOTOMETRIC_MINISWHITE, .decorate = [&way](TIFF* tiff) {
                           TIFFSetField(tiff, TIFFTAG_ORIENTATION, way.orientation);
                         }};
    for (const bool is_stored : {false, true}) {
      Known row = {file_of({page}), {way.is_upward ? "rows upward" : "rows downward"}};
      row.settings = {{kSense, is_stored ? 1 : 0}};
      row.planes = planes_by(page, [&](uint32_t x, uint32_t y, int) {
        const uint64_t stored = page.at(way.is_mirrored ? 36 - x : x, y, 0);
        return is_stored ? stored : 31 - stored;
      });
      if (way.orientation >= 5) row.reports = {"warning: in: the picture is to be turned by 90 degrees"};
      if (!is_stored) row.reports.emplace_back("in: 0 is white in the file");
      rows.push_back(std::move(row));
    }
  }
}

// The JPEG is read as the codec library gives it.
void add_other_codings(std::vector<Known>& rows) {
  const auto reversed = [](TIFF* tiff) { TIFFSetField(tiff, TIFFTAG_FILLORDER, FILLORDER_LSB2MSB); };
  const auto rgb = [](TIFF* tiff) { TIFFSetField(tiff, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB); };
  for (const Stored& page : {Stored{.bits = 1, .compression = COMPRESSION_CCITTFAX4},
                             Stored{.bits = 1, .compression = COMPRESSION_CCITTFAX3, .decorate = reversed},
                             Stored{.bits = 10, .decorate = reversed},
                             Stored{.bits = 10, .compression = COMPRESSION_LZW, .decorate = reversed}}) {
    rows.push_back({file_of({page}), {"color 1x" + std::to_string(page.bits)}, {}, planes_of(page)});
  }
  rows.push_back({file_of({{.samples = 3,
                            .photometric = PHOTOMETRIC_YCBCR,
                            .compression = COMPRESSION_JPEG,
                            .strip_rows = 16,
                            .decorate = rgb}})});
  inspect("made.tif", [&](TIFF* tiff) {
    rgb(tiff);
    rows.back().planes.resize(3);
    std::vector<uint8_t> row(size_t{37} * 3);
    for (uint32_t y = 0; y < 21; ++y) {
      ASSERT_EQ(TIFFReadScanline(tiff, row.data(), y, 0), 1);
      for (size_t i = 0; i < row.size(); ++i) rows.back().planes[i % 3].push_back(row[i]);
    }
  });
}

std::vector<Known> known() {
  const auto more = [](TIFF* tiff) {
    TIFFSetField(tiff, TIFFTAG_ICCPROFILE, 4, "icc ");
    TIFFSetField(tiff, TIFFTAG_COPYRIGHT, "nobody");
    TIFFSetField(tiff, TIFFTAG_XRESOLUTION, 72.0);
    TIFFSetField(tiff, TIFFTAG_YRESOLUTION, 36.0);
    TIFFSetField(tiff, TIFFTAG_XPOSITION, 3.0);
  };
  const auto stretched = [](TIFF* tiff) {
    TIFFSetField(tiff, TIFFTAG_RESOLUTIONUNIT, RESUNIT_NONE);
    TIFFSetField(tiff, TIFFTAG_XRESOLUTION, 2.0);
    TIFFSetField(tiff, TIFFTAG_YRESOLUTION, 1.0);
  };
  const auto scanned = [](TIFF* tiff) {
    TIFFSetField(tiff, TIFFTAG_MINSAMPLEVALUE, 5);
    TIFFSetField(tiff, TIFFTAG_SMAXSAMPLEVALUE, 250.0);
    TIFFSetField(tiff, TIFFTAG_HALFTONEHINTS, 1, 2);
    TIFFSetField(tiff, TIFFTAG_IMAGEDEPTH, 2);
  };
  const auto inked = [](TIFF* tiff) {
    TIFFSetField(tiff, TIFFTAG_INKSET, INKSET_MULTIINK);
    TIFFSetField(tiff, TIFFTAG_INKNAMES, 26, "orange\0green\0violet\0white");
  };
  std::vector<Known> rows = {
      {file_of({{.decorate = scanned}}),
       {},
       {"in: tag 280 (MinSampleValue) is not kept", "in: tag 321 (HalftoneHints)",
        "in: tag 341 (SMaxSampleValue)",
        "warning: in: it has several slices, of which only the first is read"}},
      {file_of({{.samples = 4, .photometric = PHOTOMETRIC_SEPARATED, .decorate = inked}}),
       {},
       {"in: tag 333 (InkNames)", "in: tag 334 (NumberOfInks)", "warning: in: its inks are not cyan"}},
      {file_of({{.decorate = stretched}, {}}),
       {"assumed gamma primaries rate frame", "aspect 0.5", "image 2 aspect 1"}},
      {file_of({{.decorate = more}}),
       {"aspect 0.5"},
       {"in: the pixels' size is not kept", "in: tag 33432 (Copyright) is not kept",
        "warning: in: the colour profile is not kept", "in: the picture's position on its page is not kept"}},
      {file_of({{}, {.photometric = 4711}}),
       {"color 1x8"},
       {"in: only the first page"},
       {},
       {{kFirstPage, 1}}}};
  for (const auto add :
       {add_every_width_and_layout, add_extra_samples, add_palettes, add_orientations, add_other_codings})
    add(rows);
  return rows;
}

// ---- What is written

std::string look(const std::string& path) {
  std::string all;
  inspect(path, [&all](TIFF* tiff) {
    constexpr std::pair<uint32_t, const char*> kTags[] = {{TIFFTAG_COMPRESSION, "compression "},
                                                          {TIFFTAG_PREDICTOR, "predictor "},
                                                          {TIFFTAG_ORIENTATION, "orientation "}};
    for (const auto& [tag, name] : kTags) {
      uint16_t value = 0;
      if (TIFFFindField(tiff, tag, TIFF_ANY) && TIFFGetFieldDefaulted(tiff, tag, &value) == 1)
        all += name + std::to_string(value) + ", ";
    }
    uint16_t count = 0;
    uint16_t* kinds = nullptr;
    TIFFGetField(tiff, TIFFTAG_EXTRASAMPLES, &count, &kinds);
    if (count > 0) all += "extra " + std::to_string(kinds[0]) + ", ";
    all += TIFFIsBigTIFF(tiff) != 0 ? "big" : "classic";
  });
  return all;
}

std::function<void(Wanted&)> with(uint16_t code, int32_t value) {
  return [code, value](Wanted& w) { w.settings = {{code, value}}; };
}

// A matte's kind is chosen by setting or name, and kept; one that nobody chose is said.
Written matte_of(int32_t setting, const char* name, const char* kept, int expected) {
  return {[setting, name](Wanted& w) {
            w.matte(1, w.ifd.color.width).set(kAlpha, setting);
            w.ifd.matte.name = const_cast<char*>(name);
          },
          "extra " + std::to_string(expected) + ",",
          {std::string("matte 1x32 ") + kept},
          std::vector<std::string>(setting == 0 && !name ? 1 : 0, "warning: out: nobody says whether the")};
}

// Each page has what is its own.
void make_two_pages(Wanted& w) {
  w.info.word_e = 0;
  w.info.text10 = const_cast<char*>("strips");
  w.ifd.curve.gamma = 1.7F;
  w.ifd.pixel_aspect = 1;
  ORB_IFD second = Wanted("", "", 37, 21).color(1, 8).aux(1, 8).ifd;
  second.aux.name = const_cast<char*>("depth");
  second.pixel_aspect = 2;
  w.more.push_back(second);
}

std::vector<Written> written() {
  return {{with(kPredictor, 0), "compression 8, predictor 2, orientation 1, classic"},
          {[](Wanted& w) {
             w.settings = {{kCompression, 4}, {kLevel, 19}};
           },
           "compression 50000"},
          {with(kPredictor, 1), "predictor 1"},
          {with(kRows, 1), "orientation 4", {"rows upward"}},
          {with(kContainer, 1), "classic"},
          {with(kContainer, 2), "big"},
          matte_of(0, nullptr, "associated", EXTRASAMPLE_ASSOCALPHA),
          matte_of(0, "separate", "separate", EXTRASAMPLE_UNASSALPHA),
          matte_of(1, "separate", "associated", EXTRASAMPLE_ASSOCALPHA),
          matte_of(0, "hold-out", "hold-out", EXTRASAMPLE_ASSOCALPHA),
          matte_of(2, "hold-out", "separate", EXTRASAMPLE_UNASSALPHA),
          {make_two_pages,
           "",
           {"storage strips", "gamma 1.7", "aspect 1", "image 2 aspect 2", "image 2 aux 1x8 depth"}},
          // Nothing of any page is declared.
          {[](Wanted& w) { w.more.push_back(w.ifd); }, "", {"assumed gamma primaries aspect rate frame"}}};
}

constexpr const char* kAction = "tiff cannot handle the requested action";

const Format kTiff = {
    .key = "tiff",
    .modules = {TIFF_MODULE},
    .traits = kKeepsDescription | kKeepsTexts | kKeepsGamma | kKeepsPrimaries | kKeepsAspect | kKeepsRate |
              kKeepsFrame | kKeepsField | kKeepsPlace | kSettlesDates | kHasImages,
    .signature_bytes = 4,
    .cut_codes = {ORB_E_FORMAT, ORB_E_READ, ORB_E_DECODE},
    .examples = examples,
    .damaged = damaged,
    .limited = limited,
    .layouts = layouts(),
    .index_bits = {1, 4, 8, 11},
    .refusals =
        {
            {kAction, [](Wanted& w) { w.color(2, 8); }},
            {kAction, [](Wanted& w) { w.matte(2, 32); }},
            {kAction, [](Wanted& w) { w.set(kCompression, 5); }},
            {kAction, [](Wanted& w) { w.set(kCompression, 2).set(kLevel, 3); }},
            {kAction, [](Wanted& w) { w.set(kCompression, 3).set(kLevel, 10); }},
            {"tiff cannot handle image channel width", [](Wanted& w) { w.color(1, 33); }},
            {"tiff cannot handle matte channel width", [](Wanted& w) { w.matte(1, 1); }},
            {"tiff cannot handle auxiliary channel type", [](Wanted& w) { w.aux(1, 32, ORB_C_FLOAT); }},
            {"lookup table", [](Wanted& w) { w.index(8, nullptr); }},
            {"lookup table",
             [](Wanted& w) {
               static const Table table = make_table(256);
               table->entries[5].rgba[3] = 0;  // no coverage
               w.index(8, table);
             }},
            {"tiff cannot handle image channel type",
             [](Wanted& w) { w.more.push_back(Wanted("", "", 1, 1).color(1, 8, 9).ifd); }},
        },
    .known = known,
    .written = written,
    .look = look};
ORB_TEST_CONFORMANCE(kTiff);

TEST_F(TiffTest, a_damaged_strip_leaves_the_others_readable) {
  save_tiff("in.tif", {{.compression = COMPRESSION_LZW}});
  uint64_t end = 0;
  inspect("in.tif",
          [&end](TIFF* tiff) { end = TIFFGetStrileOffset(tiff, 2) + TIFFGetStrileByteCount(tiff, 2); });
  save("in.tif", load("in.tif").replace(end - 30, 20, 20, '\xFF'));
  const Image image = open_read("tiff", "in.tif");
  ASSERT_TRUE(image);
  for (int32_t line = 20; line >= 0; --line) {
    const bool is_bad = !read_row(*image, line);
    // Of the third strip the first row is before the damage, the last behind it.
    const bool is_in_strip = line <= 12 && line >= 9;
    EXPECT_TRUE(is_bad == (line == 9) || (is_in_strip && line != 12)) << line;
  }
  EXPECT_THAT(reports.texts(), HasSubstr("in.tif: scanline "));
}

TEST_F(TiffTest, any_line_of_any_page_is_read_in_any_order) {
  // A single strip of each, or one a plane; of the first two the bands do not hold it at once.
  ORB_limit(ORB_LIMIT_HANDLE, 16U << 20);
  std::vector<Stored> pages(16, {.width = 300, .height = 200, .strip_rows = 2000});
  pages[0] = {
      .width = 1500, .height = 2000, .samples = 2, .is_planar = true, .strip_rows = 2000, .extras = {0}};
  pages[1].width = 3000;
  pages[1].height = 2000;
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
    const auto row = static_cast<uint32_t>(ifd.window.top - line);
    const int last = pages[static_cast<size_t>(page)].samples - 1;
    for (const int32_t x : {0, 149, ifd.window.right}) {
      EXPECT_EQ(sample_at(ifd, rows, last, x), pages[0].at(static_cast<uint32_t>(x), row, last));
    }
    static_cast<uint8_t*>(rows[0])[149] ^= 0xFF;  // whoever has the rows may change them
  }
}

TEST_F(TiffTest, turns_a_curve_around_with_its_samples_and_keeps_none_of_palette_indices) {
  for (const int photometric : {PHOTOMETRIC_MINISBLACK, PHOTOMETRIC_MINISWHITE, PHOTOMETRIC_PALETTE}) {
    std::vector<uint16_t> table(256);
    for (size_t i = 0; i < table.size(); ++i) table[i] = static_cast<uint16_t>(i * i);
    save_tiff("in.tif",
              {{.photometric = static_cast<uint16_t>(photometric), .decorate = [&table](TIFF* tiff) {
                  TIFFSetField(tiff, TIFFTAG_TRANSFERFUNCTION, table.data());
                  TIFFSetField(tiff, TIFFTAG_COLORMAP, table.data(), table.data(), table.data());
                }}});
    const Image image = open_read("tiff", "in.tif");
    ASSERT_TRUE(image) << reports.texts();
    const ORB_RESPONSE_CURVE& curve = image->info.images[0].curve;
    ASSERT_EQ(curve.kind == ORB_CURVE_TABLE, photometric != PHOTOMETRIC_PALETTE);
    if (curve.kind != ORB_CURVE_TABLE) continue;
    if (photometric == PHOTOMETRIC_MINISWHITE) std::reverse(table.begin(), table.end());
    EXPECT_EQ(std::memcmp(curve.tables[0], table.data(), 512), 0) << photometric;
  }
  EXPECT_THAT(reports.texts(), HasSubstr("the transfer function of palette indices is not kept"));
}

TEST_F(TiffTest, keeps_the_curve_of_every_page_and_no_file_without_all_of_them) {
  Wanted made = Wanted("tiff", "out.tif", 4, 3).color(1, 8);
  made.more.push_back(made.ifd);
  ORB_RESPONSE_CURVE& curve = made.more[0].curve;
  curve = {ORB_CURVE_TABLE, 1.5F, 0, 1, 256, ORB_C_INTEGER, 16, nullptr};
  ASSERT_EQ(ORB_response_curve_init(&curve), 0);
  made.info.word_e = 0;
  const Planes planes = noise_for(made.ifd);
  ASSERT_EQ(write_images(made.open(), {planes, planes}), 0) << reports.texts();
  const Image image = open_read("tiff", "out.tif");
  ASSERT_TRUE(image);
  const ORB_RESPONSE_CURVE& read = image->info.images[1].curve;
  ASSERT_EQ(read.kind, ORB_CURVE_TABLE) << reports.texts();
  EXPECT_EQ(std::memcmp(read.tables[0], curve.tables[0], 512), 0);
  reports.clear();
  EXPECT_EQ(write_images(made.open(), {planes}), ORB_E_WRITE);
  EXPECT_THAT(reports.texts(), HasSubstr("closed when 3 of 3 scanlines of page 1 of 2 were written"));
  EXPECT_NE(read_whole("tiff", "out.tif"), 0);
  ORB_response_curve_done(&curve);
}

}  // namespace
}  // namespace orb::testing
