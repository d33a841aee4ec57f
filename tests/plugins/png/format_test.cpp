// What a PNG can and cannot be, against the codec library, for the tests of all formats; and what is a PNG's own.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>

#include "oracle.h"
#include "tests/plugins/common/conformance.h"

namespace orb::testing {
namespace {

using namespace std::string_literals;

const Stored kGrey = noise_picture(4, 3, PNG_COLOR_TYPE_GRAY, 8);

std::vector<Example> examples() {
  const auto with_text = [](png_structp png, png_infop info) {
    add_text(png, info, PNG_TEXT_COMPRESSION_zTXt, "Title", std::string(3000, 'x'));
  };
  return {{encode(noise_picture(9, 7, PNG_COLOR_TYPE_RGB, 16), with_text), true},
          {encode(noise_picture(9, 7, PNG_COLOR_TYPE_GRAY_ALPHA, 8)), true},
          {encode(noise_picture(9, 7, PNG_COLOR_TYPE_PALETTE, 4, true), with_text)}};
}

// The signature and a header chunk, nothing else.
std::string header(uint32_t width, uint32_t height, int depth, int color_type, int interlace) {
  std::string data;
  for (const uint32_t side : {width, height}) {
    for (int shift = 24; shift >= 0; shift -= 8) data += static_cast<char>(side >> shift);
  }
  for (const int value : {depth, color_type, 0, 0, interlace}) data += static_cast<char>(value);
  return "\x89PNG\r\n\x1A\n" + chunk("IHDR", data) + chunk("IDAT", "");
}

// A byte before the end of the file, or before a chunk, is another one.
std::string with_wrong(std::string file, size_t before) {
  file[file.size() - before] ^= 1;
  return file;
}

std::vector<Damaged> damaged() {
  const auto bomb = [](png_structp png, png_infop info) {
    for (int i = 0; i < 20; ++i)
      add_text(png, info, PNG_TEXT_COMPRESSION_zTXt, "Comment", std::string(7900000, 'x'));
  };
  return {{"", ORB_E_FORMAT, "This does not appear to be a PNG file; the file is empty"},
          {"\x89PN", ORB_E_FORMAT, "the file is shorter than a PNG signature"},
          {"GIF89a\0\0\0"s, ORB_E_FORMAT, "it begins with other bytes"},
          {"\x89PNG\n\x1A\n\0\0"s, ORB_E_FORMAT, "it begins with other bytes"},
          {header(0x80000000, 0x80000000, 8, 6, 0), ORB_E_DECODE, ""},
          {header(0x7FFFFFFF, 0x7FFFFFFF, 16, 6, 0), ORB_E_MEMORY, ""},
          {header(0x7FFFFFFF, 0x7FFFFFFF, 1, 0, 0), ORB_E_MEMORY, ""},
          {header(0x7FFFFFFF, 1, 8, 3, 1), ORB_E_DECODE, ""},  // no palette
          {header(60000, 60000, 8, 0, 1), ORB_E_MEMORY, ""},
          {header(0, 5, 8, 0, 0), ORB_E_DECODE, ""},
          {with_wrong(encode(kGrey), 13), ORB_E_DECODE, "IDAT: CRC error"},
          {insert_before(encode(kGrey), "IDAT", chunk("ABCD", "x")), ORB_E_DECODE, ""},
          {encode(noise_picture(2, 2, PNG_COLOR_TYPE_GRAY, 8), bomb), ORB_E_MEMORY,
           "the data beside the picture: over the limit of 64 MiB of memory"}};
}

std::vector<Limited> limited() {
  const std::string plain = encode(noise_picture(1000, 4, PNG_COLOR_TYPE_RGB, 16));
  return {{plain, ORB_LIMIT_BUFFER, 6000},
          {plain, ORB_LIMIT_HANDLE, 24000},
          {encode(noise_picture(100, 100, PNG_COLOR_TYPE_RGB, 8, true)), ORB_LIMIT_HANDLE, 100 * 308 + 1200}};
}

// ---- What is read

std::string bits_of(const char* group, int count, int depth) {
  return group + std::to_string(count) + (count > 0 ? "x" + std::to_string(depth) : "");
}

// The fourth pixel's colour is a transparent one, which becomes a matte of the colours' width; the fifth differs from
// it in the last channel only.
Known keyed(Stored stored) {
  for (auto& plane : stored.planes) plane[4] = plane[3];
  stored.planes.back()[4] ^= 1;
  png_color_16 key = {};
  png_uint_16* const parts[] = {&key.red, &key.green, &key.blue};
  std::vector<uint64_t> matte(stored.planes[0].size(), 0);
  for (size_t c = 0; c < stored.planes.size(); ++c) {
    *parts[c] = key.gray = static_cast<png_uint_16>(stored.planes[c][3]);
    for (size_t i = 0; i < matte.size(); ++i)
      matte[i] = stored.planes[c][i] != stored.planes[c][3] ? (1U << stored.depth) - 1 : matte[i];
  }
  const auto decorate = [&key](png_structp png, png_infop info) {
    png_set_tRNS(png, info, nullptr, 0, &key);
  };
  Known row = {encode(stored, decorate), {bits_of("matte ", 1, stored.depth)}};
  stored.planes.push_back(matte);
  row.planes = stored.planes;
  return row;
}

void add_every_kind(std::vector<Known>& rows) {
  for (const int color_type :
       {PNG_COLOR_TYPE_GRAY, PNG_COLOR_TYPE_GRAY_ALPHA, PNG_COLOR_TYPE_RGB, PNG_COLOR_TYPE_RGB_ALPHA}) {
    for (const int depth : {1, 2, 4, 8, 16}) {
      if (depth < 8 && color_type != PNG_COLOR_TYPE_GRAY) continue;
      const int colours = (color_type & PNG_COLOR_MASK_COLOR) != 0 ? 3 : 1;
      const int mattes = (color_type & PNG_COLOR_MASK_ALPHA) != 0 ? 1 : 0;
      for (const uint32_t width : {1U, 7U, 33U, 101U, 107U, 133U}) {
        const Stored stored = noise_picture(width % 100, 9, color_type, depth, width > 100);
        rows.push_back(
            {encode(stored),
             {bits_of("color ", colours, depth), bits_of("matte ", mattes, depth), "rows downward"},
             std::vector<std::string>(width > 100 ? 1 : 0, "in: interlaced"),
             stored.planes});
      }
      if (mattes == 0) rows.push_back(keyed(noise_picture(11, 5, color_type, depth)));
    }
  }
}

void add_palettes(std::vector<Known>& rows) {
  for (const int depth : {1, 2, 4, 8}) {
    for (const bool is_interlaced : {false, true}) {
      const Stored stored = noise_picture(19, 5, PNG_COLOR_TYPE_PALETTE, depth, is_interlaced);
      const Table table = make_table(1 << depth);
      for (int i = 0; i < 1 << depth; ++i) {
        const int values[] = {i * 7 % 256, 255 - i, i / 2, i < 2 ? i * 128 : 255};
        for (int c = 0; c < 4; ++c) table->entries[i].rgba[c] = static_cast<uint16_t>(values[c] * 257);
      }
      Planes colours(4);
      for (size_t c = 0; c < 4; ++c) {
        for (const uint64_t index : stored.planes[0])
          colours[c].push_back(table->entries[index].rgba[c] / 257U);
      }
      const std::string bytes = encode(stored, [](png_structp png, png_infop info) {
        const png_byte alphas[2] = {0, 128};
        png_set_tRNS(png, info, alphas, 2, nullptr);
      });
      const std::vector<std::string> remarks(is_interlaced ? 1 : 0, "in: interlaced");
      rows.push_back({bytes, {"color 3x8", "matte 1x8"}, remarks, colours});
      const std::string index = "index 1x" + std::to_string(depth);
      rows.push_back({bytes, {"color 0", index, fact_of(*table)}, remarks, stored.planes, {{0, 1}}});
    }
  }
}

// Significant bits alone are read as stored. With "5" both agree, but somebody changed the samples since: said
// once, not a row at a time.
void add_significant_bits(std::vector<Known>& rows) {
  const Stored stored = noise_picture(8, 8, PNG_COLOR_TYPE_GRAY, 8);
  const std::pair<std::string, std::vector<std::string>> widths[] = {
      {"", {"in: sBIT"}},
      {"6", {"in: sBIT", "in: the text \"orbbase:width\""}},
      {"9", {"in: sBIT", "in: the text \"orbbase:width\""}},
      {"0", {"in: the text \"orbbase:width\"", "in: sBIT"}},
      {"-5", {"in: the text \"orbbase:width\"", "in: sBIT"}},
      {"5x", {"in: the text \"orbbase:width\"", "in: sBIT"}},
      {"5", {"warning: in: samples have more bits than the file"}}};
  for (const auto& [width, remarks] : widths) {
    const auto decorate = [&text = width](png_structp png, png_infop info) {
      const png_color_8 bits = {5, 5, 5, 5, 5};
      png_set_sBIT(png, info, &bits);
      if (!text.empty()) add_text(png, info, PNG_TEXT_COMPRESSION_NONE, "orbbase:width", text);
    };
    const bool is_followed = width == "5";
    rows.push_back({encode(stored, decorate),
                    {is_followed ? "color 1x5" : "color 1x8"},
                    remarks,
                    is_followed ? Planes() : stored.planes});
  }
}

void add_descriptions(std::vector<Known>& rows) {
  const auto add = [&rows](const Decorate& decorate, std::vector<std::string> says,
                           std::vector<std::string> remarks) {
    rows.push_back({encode(kGrey, decorate), std::move(says), std::move(remarks)});
  };
  add(nullptr,
      {"assumed gamma primaries aspect rate frame", "gamma 2.2", "aspect 1", "title unknown",
       "primaries 67000 33000 0 21000 71000 8000 14000 8000 78000 31000 31600 37400"},
      {});
  add([](png_structp png, png_infop info) { png_set_gAMA_fixed(png, info, 45455); },
      {"assumed primaries aspect rate frame", "gamma 2.2"}, {});
  add([](png_structp png, png_infop info) { png_set_gAMA_fixed(png, info, 50000); }, {"gamma 2"}, {});
  add([](png_structp png, png_infop info) { png_set_sRGB(png, info, 0); },
      {"assumed aspect rate frame", "gamma 2.2",
       "primaries 64000 33000 3000 30000 60000 10000 15000 6000 79000 31270 32900 35830"},
      {"in: sRGB: the rendering intent"});
  add([](png_structp png, png_infop info) { png_set_pHYs(png, info, 1000, 2000, PNG_RESOLUTION_METER); },
      {"aspect 2"}, {"in: pHYs"});
  for (const auto& [x, y] : {std::pair{INT32_MAX, 0}, {0, -INT32_MAX}}) {
    add([x = x, y = y](png_structp png, png_infop info) { png_set_oFFs(png, info, x, y, PNG_OFFSET_PIXEL); },
        {"window 0 3 0 2"}, {"warning: in: oFFs: the offset puts the picture out of range"});
  }
  add(
      [](png_structp png, png_infop info) {
        add_text(png, info, PNG_TEXT_COMPRESSION_NONE, "Title", "caf\xE9");  // Latin-1 by its kind
        add_text(png, info, PNG_TEXT_COMPRESSION_zTXt, "Description", "packed \xE9");
        add_text(png, info, PNG_ITXT_COMPRESSION_NONE, "Software", "\xE6\x97\xA5");
        add_text(png, info, PNG_ITXT_COMPRESSION_zTXt, "Author", "\xE6\x9C\xAC", "ja");
        for (const char* key : {"Title", "Copyright", "orbbase:frame"})
          add_text(png, info, PNG_TEXT_COMPRESSION_NONE, key, "more");
      },
      {"title caf\xC3\xA9", "description packed \xC3\xA9", "program \xE6\x97\xA5", "user \xE6\x9C\xAC"},
      {"in: the text \"Author\" loses its language", "in: the text \"Title\" is not kept",
       "in: the text \"Copyright\" is not kept", "in: the text \"orbbase:frame\" is not kept",
       "in: the text \"Comment\" stands behind the picture and is not kept"});
  rows.back().bytes = insert_before(rows.back().bytes, "IEND", chunk("tEXt", "Comment\0late"s));
}

void add_chunks(std::vector<Known>& rows) {
  const auto add = [&rows](const std::string& chunks, std::vector<std::string> remarks) {
    rows.push_back({insert_before(encode(kGrey), "IDAT", chunks), {}, std::move(remarks), kGrey.planes});
  };
  add(chunk("abCd", "1"), {"in: abCd: this chunk is not kept"});
  add(chunk("tIME", "1234567"), {"in: tIME: the time of the last change"});
  add(chunk("iCCP", "1234567"), {"warning: in: iCCP: the colour profile is not kept"});
  add(chunk("acTL", "12345678") + chunk("fcTL", ""), {"warning: in: acTL: of the animation only the still"});
  add(chunk("cICP", "1234"), {"warning: in: cICP: the coding of the colours is not kept"});
  add(with_wrong(chunk("tEXt", "Title\0x"s), 1), {"warning: in: tEXt: CRC error"});
  std::string film;  // more than there may be of what is kept
  for (int i = 0; i < 9; ++i) film += chunk("fdAT", std::string(7900000, 'x'));
  add(film, {});
  const Settings unknown = {{77, 0}, {65535, 0}};  // and one that nobody filled in
  rows.push_back({encode(kGrey), {}, {"warning: Unknown type-specific capability code (77)"}, {}, unknown});
  std::string flood;
  for (int i = 0; i < 500; ++i) flood += chunk("abCd", "");
  std::vector<std::string> remarks(64, "in: abCd");
  remarks.emplace_back("in: there is more of this; it is not listed");
  remarks.emplace_back("warning: in: iCCP: the colour profile is not kept");  // heard all the same
  add(flood + chunk("iCCP", "1234567"), remarks);
}

std::vector<Known> known() {
  std::vector<Known> rows;
  for (const auto add : {add_every_kind, add_palettes, add_significant_bits, add_descriptions, add_chunks})
    add(rows);
  return rows;
}

// ---- What is written

std::string look(const std::string& path) {
  std::string all;
  decode(load(path), [&all](png_structp png, png_infop info) {
    png_fixed_point gamma = 0;
    png_get_gAMA_fixed(png, info, &gamma);
    png_uint_32 x = 0, y = 0;
    int unit = 0;
    png_get_pHYs(png, info, &x, &y, &unit);
    for (const int64_t number : {int64_t{gamma}, int64_t{x}, int64_t{y}, int64_t{unit}})
      all += std::to_string(number) + " ";
    png_textp list = nullptr;
    const int count = png_get_text(png, info, &list, nullptr);
    for (int i = 0; i < count; ++i) all += list[i].key + "="s + list[i].text + ";";
  });
  return all;
}

// A text that is not UTF-8 is taken for Latin-1, and that is said.
Written titled(const char* text, const std::string& latin1_stored = "") {
  Written row = {[text](Wanted& w) { w.info.text1 = const_cast<char*>(text); }};
  row.says = {"title " + (latin1_stored.empty() ? text : latin1_stored)};
  if (!latin1_stored.empty()) row.reports = {"warning: out: the text for \"Title\" is not UTF-8"};
  return row;
}

// A gamma, aspect or primaries that have no chunk.
Written left_out(void (*change)(Wanted&), const char* report, const char* assumed) {
  return {[change](Wanted& w) {
            w.info.word_e = ORB_ASSUMED_PIXEL_ASPECT | ORB_ASSUMED_FRAME_RATE | ORB_ASSUMED_FRAME_NUMBER;
            change(w);
          },
          "",
          {assumed},
          {std::string("warning: out: ") + report}};
}

// Each text is its own keyword.
void be_described(Wanted& w) {
  constexpr std::pair<char * ORB_INFO::*, const char*> kKeywords[] = {
      {&ORB_INFO::text1, "Title"},
      {&ORB_INFO::text3, "Description"},
      {&ORB_INFO::text4, "Software"},
      {&ORB_INFO::text5, "Source"},
      {&ORB_INFO::text6, "Author"},
      {&ORB_INFO::text7, "Creation Time"},
      {&ORB_INFO::text8, "orbbase:elapsed-time"},
      {&ORB_INFO::text9, "orbbase:filter"},
      {&ORB_INFO::text10, "orbbase:storage"}};
  for (const auto& [field, keyword] : kKeywords) w.info.*field = const_cast<char*>(keyword);
}

std::vector<Written> written() {
  constexpr const char* kGamma = "assumed gamma aspect rate frame";
  constexpr const char* kPrimaries = "assumed primaries aspect rate frame";
  std::vector<Written> rows = {
      {be_described,
       "Title=Title;Description=Description;Software=Software;Source=Source;Author=Author;Creation "
       "Time=Creation Time;"
       "orbbase:elapsed-time=orbbase:elapsed-time;orbbase:filter=orbbase:filter;orbbase:storage=orbbase:"
       "storage;"},
      {[](Wanted& w) {
         w.info.word_e &= ~uint64_t{ORB_ASSUMED_PIXEL_ASPECT};
         w.ifd.pixel_aspect = 10.0F / 11.0F;
       },
       " 11 10 0 "},
      left_out([](Wanted& w) { w.ifd.curve.gamma = 1e30F; }, "the gamma cannot be stored", kGamma),
      left_out(
          [](Wanted& w) {
            static ORB_RESPONSE_CURVE curve = {ORB_CURVE_TABLE, 1.5F, 0, 1, 256, ORB_C_INTEGER, 8, nullptr};
            if (!curve.tables) ORB_response_curve_init(&curve);
            w.ifd.curve = curve;
          },
          "a tabulated response curve cannot be stored", kGamma),
      left_out([](Wanted& w) { w.info.chromaticity[7] = -0.1F; }, "the primaries cannot be stored",
               kPrimaries),
      left_out([](Wanted& w) { std::fill_n(w.info.chromaticity, 12, 0.0F); }, "invalid chromaticities",
               kPrimaries),
      {[](Wanted& w) {
         w.matte(1, w.ifd.color.width);
         w.ifd.matte.name = const_cast<char*>("associated");
       },
       "",
       {},
       {"warning: out: the matte is named associated"}},
      titled("caf\xE9", "caf\xC3\xA9"),
      titled("\xC0\x80", "\xC3\x80\xC2\x80"),                          // overlong
      titled("\xE0\x9F\xBF", "\xC3\xA0\xC2\x9F\xC2\xBF"),              // overlong
      titled("\xF0\x8F\xBF\xBF", "\xC3\xB0\xC2\x8F\xC2\xBF\xC2\xBF"),  // overlong
      titled("\xED\xA0\x80", "\xC3\xAD\xC2\xA0\xC2\x80"),              // a surrogate
      titled("\xF4\x90\x80\x80", "\xC3\xB4\xC2\x90\xC2\x80\xC2\x80"),  // beyond the last character
      titled("\xE6\x97", "\xC3\xA6\xC2\x97"),                          // cut
      titled("\xC2\x80"),
      titled("\xE0\xA0\x80"),
      titled("\xED\x9F\xBF"),
      titled("\xF0\x90\x80\x80"),
      titled("\xF4\x8F\xBF\xBF")};
  // The number that a file stores is kept through any number of copies.
  for (const int stored : {16, 1000, 22222, 41667, 45454, 45456, 50000, 55556, 100000, 217391, 1000000}) {
    rows.push_back({[stored](Wanted& w) {
                      w.info.word_e &= ~uint64_t{ORB_ASSUMED_GAMMA};
                      w.ifd.curve.gamma = static_cast<float>(100000.0 / stored);
                    },
                    std::to_string(stored) + " "});
  }
  return rows;
}

constexpr const char* kAction = "png cannot handle the requested action";

const Format kPng = {
    .key = "png",
    .modules = {PNG_MODULE},
    .traits = kKeepsDescription | kKeepsTexts | kKeepsGamma | kKeepsPrimaries | kKeepsAspect | kKeepsRate |
              kKeepsFrame | kKeepsField | kKeepsPlace | kSettlesDates | kReadsPipes | kHasCheckSums |
              kHasBareEntries,
    .signature_bytes = 8,
    .cut_codes = {ORB_E_READ},
    .examples = examples,
    .damaged = damaged,
    .limited = limited,
    .layouts = {{1, 0, 0, 1, 16}, {3, 0, 0, 1, 16}, {1, 1, 0, 1, 16}, {3, 1, 0, 1, 16}},
    .index_bits = {1, 2, 4, 8},
    .refusals =
        {
            {kAction, [](Wanted& w) { w.color(2, 8); }},
            {kAction, [](Wanted& w) { w.matte(2, 16); }},
            {kAction, [](Wanted& w) { w.window(0, 0, INT32_MIN, INT32_MIN); }},
            {kAction, [](Wanted& w) { w.window(INT32_MIN, INT32_MIN, 0, 0); }},
            {kAction, [](Wanted& w) { w.more.push_back(w.ifd); }},
            {kAction, [](Wanted& w) { w.set(0, 2); }},
            {kAction, [](Wanted& w) { w.set(2, 10); }},
            {kAction, [](Wanted& w) { w.set(3, -1); }},
            {"png cannot handle auxiliary channel type", [](Wanted& w) { w.aux(1, 16); }},
            {"png cannot handle image channel type", [](Wanted& w) { w.color(1, 32, ORB_C_FLOAT); }},
            {"png cannot handle image channel width", [](Wanted& w) { w.color(1, 17); }},
            {"png cannot handle matte channel type", [](Wanted& w) { w.matte(1, 8, ORB_C_FLOAT); }},
            {"png cannot handle matte channel width", [](Wanted& w) { w.matte(1, 7); }},
            {"color index channel width", [](Wanted& w) { w.index(3, nullptr); }},
            {"color index channel type", [](Wanted& w) { w.index(8, nullptr, ORB_C_FLOAT); }},
            {"colour indices need a lookup table", [](Wanted& w) { w.index(2, nullptr); }},
            {"the lookup table's values need more than 8 bits",
             [](Wanted& w) {
               static const Table table = make_table(4);
               table->entries[2].rgba[0] = 258;
               w.index(2, table);
             }},
        },
    .known = known,
    .written = written,
    .look = look};
ORB_TEST_CONFORMANCE(kPng);

TEST_F(PngTest, a_failed_reader_stays_failed_and_says_it_once) {
  const std::string bytes = encode(noise_picture(50, 50, PNG_COLOR_TYPE_GRAY, 8));
  save("in", bytes.substr(0, bytes.size() / 2));
  EXPECT_FALSE(open_read("png", "in", {{0, 2}})) << "no such choice";
  reports.clear();
  const Image image = open_read("png", "in");
  ASSERT_TRUE(image);
  EXPECT_TRUE(read_all(*image).empty());
  for (int32_t line = 49; line >= 0; --line) EXPECT_FALSE(read_row(*image, line));
  EXPECT_EQ(orb__err, ORB_E_READ);
  EXPECT_EQ(reports.reports.size(), 1U);
}

TEST_F(PngTest, an_index_beyond_the_palette_is_damage) {
  Stored stored = noise_picture(13, 5, PNG_COLOR_TYPE_PALETTE, 1);
  stored.depth = 2;
  stored.planes[0][13 * 2] = 3;
  save("in", encode(stored, [](png_structp png, png_infop info) {
         const png_color palette[3] = {};
         png_set_PLTE(png, info, palette, 3);
         png_set_check_for_invalid_index(png, 0);
       }));
  for (const int32_t palette : {0, 1}) {
    reports.clear();
    const Image image = open_read("png", "in", {{0, palette}});
    ASSERT_TRUE(image);
    EXPECT_TRUE(read_all(*image).empty());
    EXPECT_EQ(orb__err, ORB_E_DECODE);
    EXPECT_EQ(reports.texts(), "Cannot decode scanline 2") << palette;
  }
}

TEST_F(PngTest, other_programs_see_native_depths_as_they_are_and_other_widths_scaled) {
  const struct {
    int colours, mattes, width, depth;
  } rows[] = {{1, 0, 1, 1}, {1, 0, 4, 4}, {3, 0, 16, 16}, {1, 0, 3, 8},
              {1, 1, 1, 8}, {3, 1, 7, 8}, {1, 0, 9, 16},  {1, 1, 15, 16}};
  for (const auto& row : rows) {
    SCOPED_TRACE(::testing::Message() << row.colours << "+" << row.mattes << " width " << row.width);
    Wanted wanted("png", "out", 9, 3);
    const Planes planes = noise(row.colours + row.mattes, row.width, 27);
    ASSERT_EQ(write_all(wanted.color(row.colours, row.width).matte(row.mattes, row.width).open(), planes), 0);
    bool has_bits = false;
    const Stored stored = decode(load("out"), [&has_bits](png_structp png, png_infop info) {
      has_bits = png_get_valid(png, info, PNG_INFO_sBIT) != 0;
    });
    EXPECT_EQ(stored.depth, row.depth);
    EXPECT_EQ(has_bits, row.depth != row.width);
    ASSERT_EQ(stored.planes.size(), planes.size());
    for (size_t c = 0; c < planes.size(); ++c) {
      for (size_t i = 0; i < planes[c].size(); ++i) {
        // Repeating bits is the nearest scaling of the whole range, to one step.
        const double exact =
            static_cast<double>(planes[c][i]) * ((1 << row.depth) - 1.0) / ((1 << row.width) - 1.0);
        EXPECT_NEAR(static_cast<double>(stored.planes[c][i]), exact, 1.0);
      }
    }
  }
}

TEST_F(PngTest, settings_choose_compression_and_filter) {
  Planes ramp(1);
  for (uint64_t i = 0; i < 4096; ++i) ramp[0].push_back((i % 64 + i / 64) & 255);
  const auto size_with = [&ramp](uint16_t code, int32_t value) {
    EXPECT_EQ(write_all(Wanted("png", "out", 64, 64).color(1, 8).set(code, value).open(), ramp), 0);
    EXPECT_EQ(decode(load("out")).planes, ramp);
    return load("out").size();
  };
  EXPECT_GT(size_with(2, 0), 4096U);
  EXPECT_LT(size_with(2, 9), 1000U);
  // On a ramp the difference from the left neighbour is constant.
  EXPECT_LT(size_with(3, 1), size_with(3, 0));
  for (const int filter : {2, 3, 4, 5}) size_with(3, filter);
}

TEST_F(PngTest, writes_the_standard_output_and_leaves_it_open) {
  std::fflush(stdout);
  const int kept = dup(STDOUT_FILENO);
  const int target = open("out", O_CREAT | O_WRONLY | O_TRUNC, 0600);
  dup2(target, STDOUT_FILENO);
  const int32_t code = write_all(Wanted("png", "/dev/stdout", 8, 4).color(1, 8).open(), noise(1, 8, 32));
  const bool is_open = fcntl(STDOUT_FILENO, F_GETFD) != -1;
  dup2(kept, STDOUT_FILENO);
  close(kept);
  close(target);
  EXPECT_EQ(code, 0) << reports.texts();
  EXPECT_TRUE(is_open);
  EXPECT_EQ(decode(load("out")).planes, noise(1, 8, 32));
}

}  // namespace
}  // namespace orb::testing
