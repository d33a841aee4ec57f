// What stands beside the picture, in both directions.
#include <gmock/gmock.h>

#include <algorithm>
#include <clocale>
#include <cmath>

#include "library.h"

namespace orb::testing {
namespace {

using ::testing::FloatEq;
using ::testing::HasSubstr;

constexpr uint64_t kAssumedByAPlainFile = ORB_ASSUMED_GAMMA | ORB_ASSUMED_PRIMARIES |
                                          ORB_ASSUMED_PIXEL_ASPECT | ORB_ASSUMED_FRAME_RATE |
                                          ORB_ASSUMED_FRAME_NUMBER;

const Stored kGrey = noise(4, 3, PNG_COLOR_TYPE_GRAY, 8);

Planes grey_planes() { return planes_of(kGrey); }

// The bytes of a written file whose description was changed first.
Bytes written(Wanted& wanted) {
  EXPECT_EQ(write_all(wanted.open(), grey_planes()), 0);
  return load(wanted.path);
}

TEST_F(PngTest, a_plain_file_declares_nothing_and_the_defaults_stand_in) {
  const Image image = open_read(file(encode(kGrey)));
  ASSERT_TRUE(image);
  EXPECT_EQ(image->info.word_e, kAssumedByAPlainFile);
  EXPECT_EQ(image->info.images[0].curve.gamma, 2.2F);
  EXPECT_EQ(image->info.images[0].pixel_aspect, 1.0F);
  EXPECT_EQ(image->info.chromaticity[0], 0.67F);
  EXPECT_EQ(image->info.images[0].window.top, 2);
  EXPECT_EQ(image->info.images[0].window.right, 3);
  EXPECT_EQ(image->info.text1, nullptr);
  EXPECT_EQ(reports.texts(), "");
}

TEST_F(PngTest, gamma_comes_back_as_the_same_stored_number) {
  for (const int stored :
       {16, 1000, 22222, 41667, 45454, 45455, 45456, 50000, 55556, 100000, 217391, 1000000}) {
    SCOPED_TRACE(stored);
    const Image image = open_read(file(
        encode(kGrey, [stored](png_structp png, png_infop info) { png_set_gAMA_fixed(png, info, stored); })));
    ASSERT_TRUE(image);
    EXPECT_EQ(image->info.word_e & ORB_ASSUMED_GAMMA, 0U);
    EXPECT_NEAR(static_cast<double>(image->info.images[0].curve.gamma) * stored / 100000, 1.0, 0.51 / stored);
    Wanted wanted(path("out.png"), 4, 3);
    wanted.info.word_e &= ~static_cast<uint64_t>(ORB_ASSUMED_GAMMA);
    wanted.ifd.curve = image->info.images[0].curve;
    png_fixed_point again = 0;
    decode(written(wanted),
           [&again](png_structp png, png_infop info) { png_get_gAMA_fixed(png, info, &again); });
    EXPECT_EQ(again, stored);
  }
}

TEST_F(PngTest, gammas_of_few_decimals_come_back_exactly) {
  for (const float gamma : {0.45F, 1.0F, 1.8F, 2.0F, 2.2F, 2.35F, 2.4F, 2.6F}) {
    Wanted wanted(path("out.png"), 4, 3);
    wanted.info.word_e &= ~static_cast<uint64_t>(ORB_ASSUMED_GAMMA);
    wanted.ifd.curve.gamma = gamma;
    written(wanted);
    EXPECT_EQ(open_read(wanted.path)->info.images[0].curve.gamma, gamma);
  }
}

TEST_F(PngTest, an_srgb_chunk_gives_its_gamma_and_primaries) {
  const Image image =
      open_read(file(encode(kGrey, [](png_structp png, png_infop info) { png_set_sRGB(png, info, 0); })));
  ASSERT_TRUE(image);
  EXPECT_EQ(image->info.word_e & (ORB_ASSUMED_GAMMA | ORB_ASSUMED_PRIMARIES), 0U);
  EXPECT_EQ(image->info.images[0].curve.gamma, 2.2F);
  EXPECT_THAT(image->info.chromaticity,
              ::testing::ElementsAre(FloatEq(0.64F), FloatEq(0.33F), FloatEq(0.03F), FloatEq(0.3F),
                                     FloatEq(0.6F), FloatEq(0.1F), FloatEq(0.15F), FloatEq(0.06F),
                                     FloatEq(0.79F), FloatEq(0.3127F), FloatEq(0.329F), FloatEq(0.3583F)));
  EXPECT_THAT(reports.texts(), HasSubstr("rendering intent"));
}

TEST_F(PngTest, primaries_aspect_and_place_survive) {
  const float primaries[12] = {0.68F, 0.32F, 0.0F,  0.265F,  0.69F,  0.045F,
                               0.15F, 0.06F, 0.79F, 0.3127F, 0.329F, 0.3583F};
  for (const float aspect : {1.0F, 0.5F, 2.0F, 10.0F / 11.0F, 1.33333F, 0.0157F, 3.14159274F, 40000.5F}) {
    Wanted wanted(path("out.png"), 4, 3);
    wanted.info.word_e = ORB_ASSUMED_GAMMA;
    std::copy_n(primaries, 12, wanted.info.chromaticity);
    wanted.ifd.pixel_aspect = aspect;
    wanted.ifd.window = {-7, -4, 100, 102};
    written(wanted);
    const Image image = open_read(wanted.path);
    ASSERT_TRUE(image);
    EXPECT_EQ(image->info.images[0].pixel_aspect, aspect);
    for (int i = 0; i < 12; ++i) EXPECT_FLOAT_EQ(image->info.chromaticity[i], primaries[i]) << i;
    const ORB_IFD& ifd = image->info.images[0];
    for (const ORB_WINDOW& window : {ifd.window, ifd.active_window}) {
      EXPECT_EQ(window.left, -7);
      EXPECT_EQ(window.right, -4);
      EXPECT_EQ(window.bottom, 100);
      EXPECT_EQ(window.top, 102);
    }
    EXPECT_EQ(image->info.word_e & kAssumedByAPlainFile,
              ORB_ASSUMED_GAMMA | ORB_ASSUMED_FRAME_RATE | ORB_ASSUMED_FRAME_NUMBER);
    Planes planes;
    EXPECT_TRUE(read_all(*image, &planes));
    EXPECT_EQ(planes, grey_planes());
    EXPECT_EQ(reports.texts(), "");
  }
}

TEST_F(PngTest, the_aspect_is_a_pixels_width_by_its_height) {
  const Image image = open_read(file(encode(kGrey, [](png_structp png, png_infop info) {
    png_set_pHYs(png, info, 1000, 2000, PNG_RESOLUTION_METER);
  })));
  ASSERT_TRUE(image);
  EXPECT_EQ(image->info.images[0].pixel_aspect, 2.0F);
  EXPECT_THAT(reports.texts(), HasSubstr("pHYs"));
}

TEST_F(PngTest, a_simple_aspect_is_stored_in_small_numbers) {
  Wanted wanted(path("out.png"), 4, 3);
  wanted.info.word_e &= ~static_cast<uint64_t>(ORB_ASSUMED_PIXEL_ASPECT);
  wanted.ifd.pixel_aspect = 10.0F / 11.0F;
  png_uint_32 x = 0;
  png_uint_32 y = 0;
  decode(written(wanted), [&](png_structp png, png_infop info) {
    int unit = 0;
    png_get_pHYs(png, info, &x, &y, &unit);
  });
  EXPECT_EQ(x, 11U);
  EXPECT_EQ(y, 10U);
}

TEST_F(PngTest, what_is_assumed_is_not_declared) {
  Wanted wanted(path("out.png"), 4, 3);
  wanted.info.word_e = kAssumedByAPlainFile;
  wanted.ifd.curve.gamma = 1.0F;
  wanted.ifd.pixel_aspect = 2.0F;
  const Bytes bytes = written(wanted);
  for (const char* name : {"gAMA", "cHRM", "pHYs", "oFFs", "sBIT"})
    EXPECT_EQ(find_chunk(bytes, name), bytes.size()) << name;
}

TEST_F(PngTest, what_cannot_be_stored_is_reported_and_the_handle_says_what_is) {
  const struct {
    const char* what;
    void (*change)(Wanted&);
    const char* report;
    uint64_t assumed;
  } rows[] = {
      {"gamma 0", [](Wanted& w) { w.ifd.curve.gamma = 0; }, "the gamma cannot be stored", ORB_ASSUMED_GAMMA},
      {"gamma NaN", [](Wanted& w) { w.ifd.curve.gamma = NAN; }, "the gamma cannot be stored",
       ORB_ASSUMED_GAMMA},
      {"gamma huge", [](Wanted& w) { w.ifd.curve.gamma = 1e30F; }, "the gamma cannot be stored",
       ORB_ASSUMED_GAMMA},
      {"table",
       [](Wanted& w) {
         w.ifd.curve = {2, 1.5F, 0, 1, 256, ORB_C_INTEGER, 8, nullptr};
         ORB_response_curve_init(&w.ifd.curve);
       },
       "a tabulated response curve cannot be stored", ORB_ASSUMED_GAMMA},
      {"negative primaries", [](Wanted& w) { w.info.chromaticity[7] = -0.1F; },
       "the primaries cannot be stored", ORB_ASSUMED_PRIMARIES},
      {"degenerate primaries", [](Wanted& w) { std::fill_n(w.info.chromaticity, 12, 0.0F); },
       "chromaticities", ORB_ASSUMED_PRIMARIES},
      {"aspect below 0", [](Wanted& w) { w.ifd.pixel_aspect = -1; },
       "the pixel aspect ratio cannot be stored", ORB_ASSUMED_PIXEL_ASPECT},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    reports.clear();
    Wanted wanted(path("out.png"), 4, 3);
    wanted.info.word_e = 0;
    wanted.ifd.pixel_aspect = 1.0F;
    row.change(wanted);
    Image image = wanted.open();
    ORB_response_curve_done(&wanted.ifd.curve);
    ASSERT_TRUE(image) << reports.texts();
    ASSERT_EQ(reports.reports.size(), 1U) << reports.texts();
    EXPECT_EQ(reports.reports[0].category, ERR_WARNING);
    EXPECT_THAT(reports.texts(), HasSubstr(row.report));
    EXPECT_EQ(image->info.word_e & kAssumedByAPlainFile,
              row.assumed | ORB_ASSUMED_FRAME_RATE | ORB_ASSUMED_FRAME_NUMBER);
    const ORB_RESPONSE_CURVE curve = image->info.images[0].curve;
    EXPECT_EQ(curve.kind, ORB_CURVE_GAMMA);
    float primaries[12];
    std::copy_n(image->info.chromaticity, 12, primaries);
    ASSERT_EQ(write_all(std::move(image), grey_planes()), 0);
    const Image again = open_read(wanted.path);
    ASSERT_TRUE(again);
    EXPECT_EQ(again->info.images[0].curve.gamma, curve.gamma);
    EXPECT_THAT(again->info.chromaticity, ::testing::ElementsAreArray(primaries));
    EXPECT_EQ(again->info.images[0].pixel_aspect, 1.0F);
  }
}

struct TextRow {
  char* ORB_INFO::*field;
  const char* keyword;
  std::string text;
};
const TextRow kTexts[] = {{&ORB_INFO::text1, "Title", "a title"},
                          {&ORB_INFO::text3, "Description",
                           "Gr\xC3\xBC\xC3\x9F"
                           "e \xE6\x97\xA5\xE6\x9C\xAC"},
                          {&ORB_INFO::text4, "Software", "program 1.0"},
                          {&ORB_INFO::text5, "Source", "host"},
                          {&ORB_INFO::text6, "Author", "somebody"},
                          {&ORB_INFO::text7, "Creation Time", "{1700000000}"},
                          {&ORB_INFO::text8, "orbbase:elapsed-time", "12.5"},
                          {&ORB_INFO::text9, "orbbase:filter", "box"},
                          {&ORB_INFO::text10, "orbbase:storage", ""}};

TEST_F(PngTest, texts_survive_and_other_programs_find_them) {
  Wanted wanted(path("out.png"), 4, 3);
  std::vector<std::string> texts;
  for (const TextRow& row : kTexts) texts.push_back(row.text);
  for (size_t i = 0; i < texts.size(); ++i) wanted.info.*kTexts[i].field = texts[i].data();
  char picture[] = "ntsc";
  char colour[] = "rgb";
  wanted.ifd.name = picture;
  wanted.ifd.color.name = colour;
  wanted.info.frame_number = 1001;
  wanted.info.frame_rate = 23.976F;
  wanted.info.job_number = 42;
  std::setlocale(LC_ALL, "de_DE.UTF-8");  // where it is installed, a number must not get a comma
  const Bytes bytes = written(wanted);
  const Image image = open_read(wanted.path);
  std::setlocale(LC_ALL, "C");
  ASSERT_TRUE(image);
  for (const TextRow& row : kTexts) EXPECT_STREQ(image->info.*row.field, row.text.c_str()) << row.keyword;
  EXPECT_STREQ(image->info.images[0].name, "ntsc");
  EXPECT_STREQ(image->info.images[0].color.name, "rgb");
  EXPECT_EQ(image->info.images[0].matte.name, nullptr);
  EXPECT_EQ(image->info.frame_number, 1001);
  EXPECT_EQ(image->info.frame_rate, 23.976F);
  EXPECT_EQ(image->info.job_number, 42);
  EXPECT_EQ(image->info.word_e & (ORB_ASSUMED_FRAME_RATE | ORB_ASSUMED_FRAME_NUMBER), 0U);
  size_t found = 0;
  decode(bytes, [&found](png_structp png, png_infop info) {
    png_textp list = nullptr;
    int count = 0;
    png_get_text(png, info, &list, &count);
    for (int i = 0; i < count; ++i) {
      for (const TextRow& row : kTexts)
        found += row.keyword == std::string(list[i].key) && row.text == list[i].text;
    }
  });
  EXPECT_EQ(found, std::size(kTexts));
  EXPECT_EQ(reports.texts(), "");
}

TEST_F(PngTest, absent_texts_are_not_written) {
  Wanted wanted(path("out.png"), 4, 3);
  const Bytes bytes = written(wanted);
  // The core fills in host, user and date; all else is "unknown".
  EXPECT_EQ(std::search(bytes.begin(), bytes.end(), std::begin("unknown"), std::end("unknown") - 1),
            bytes.end());
  EXPECT_EQ(open_read(wanted.path)->info.text1, nullptr);
}

TEST_F(PngTest, a_text_that_is_not_utf8_is_taken_for_latin1_and_said_so) {
  const struct {
    const char* text;
    const char* stored;
  } rows[] = {{"caf\xE9", "caf\xC3\xA9"},
              {"\xC0\x80", "\xC3\x80\xC2\x80"},                          // overlong
              {"\xE0\x9F\xBF", "\xC3\xA0\xC2\x9F\xC2\xBF"},              // overlong
              {"\xF0\x8F\xBF\xBF", "\xC3\xB0\xC2\x8F\xC2\xBF\xC2\xBF"},  // overlong
              {"\xED\xA0\x80", "\xC3\xAD\xC2\xA0\xC2\x80"},              // a surrogate
              {"\xF4\x90\x80\x80", "\xC3\xB4\xC2\x90\xC2\x80\xC2\x80"},  // beyond the last character
              {"\xE6\x97", "\xC3\xA6\xC2\x97"},                          // cut
              {"\xC2\x80", nullptr},
              {"\xE0\xA0\x80", nullptr},
              {"\xED\x9F\xBF", nullptr},
              {"\xF0\x90\x80\x80", nullptr},
              {"\xF4\x8F\xBF\xBF", nullptr}};
  for (const auto& row : rows) {
    reports.clear();
    Wanted wanted(path("out.png"), 4, 3);
    std::string text = row.text;
    wanted.info.text1 = text.data();
    Image image = wanted.open();
    ASSERT_TRUE(image);
    const char* stored = row.stored ? row.stored : row.text;
    EXPECT_STREQ(image->info.text1, stored);
    EXPECT_EQ(reports.reports.size(), row.stored ? 1U : 0U);
    ASSERT_EQ(write_all(std::move(image), grey_planes()), 0);
    EXPECT_STREQ(open_read(wanted.path)->info.text1, stored);
  }
}

TEST_F(PngTest, every_kind_of_text_is_read_and_what_is_left_out_is_named) {
  Bytes bytes = encode(kGrey, [](png_structp png, png_infop info) {
    const struct {
      int compression;
      const char* key;
      const char* text;
      const char* language;
    } rows[] = {{PNG_TEXT_COMPRESSION_NONE, "Title", "caf\xE9", nullptr},  // Latin-1 by its kind
                {PNG_TEXT_COMPRESSION_zTXt, "Description", "packed \xE9", nullptr},
                {PNG_ITXT_COMPRESSION_NONE, "Software", "\xE6\x97\xA5", nullptr},
                {PNG_ITXT_COMPRESSION_zTXt, "Author", "\xE6\x9C\xAC", "ja"},
                {PNG_TEXT_COMPRESSION_NONE, "Title", "a second one", nullptr},
                {PNG_TEXT_COMPRESSION_NONE, "Copyright", "nobody", nullptr},
                {PNG_TEXT_COMPRESSION_NONE, "orbbase:frame", "many", nullptr}};
    for (const auto& row : rows) {
      png_text text = {};
      std::string key = row.key, value = row.text, language = row.language ? row.language : "";
      char empty[] = "";
      text.compression = row.compression;
      text.key = key.data();
      text.text = value.data();
      text.lang = language.data();
      text.lang_key = empty;
      png_set_text(png, info, &text, 1);
    }
  });
  bytes = insert_at(bytes, find_chunk(bytes, "IEND"), chunk("tEXt", std::string_view("Comment\0late", 12)));
  const std::string name = file(bytes);
  const Image image = open_read(name);
  ASSERT_TRUE(image);
  EXPECT_STREQ(image->info.text1, "caf\xC3\xA9");
  EXPECT_STREQ(image->info.text3, "packed \xC3\xA9");
  EXPECT_STREQ(image->info.text4, "\xE6\x97\xA5");
  EXPECT_STREQ(image->info.text6, "\xE6\x9C\xAC");
  Planes planes;
  ASSERT_TRUE(read_all(*image, &planes));
  EXPECT_EQ(reports.texts(), name + ": the text \"Author\" loses its language\n" + name +
                                 ": the text \"Title\" is not kept\n" + name +
                                 ": the text \"Copyright\" is not kept\n" + name +
                                 ": the text \"orbbase:frame\" is not kept\n" + name +
                                 ": the text \"Comment\" stands behind the picture and is not kept");
  for (const auto& report : reports.reports) EXPECT_EQ(report.category, ERR_INFORMATION);
}

TEST_F(PngTest, chunks_that_are_not_kept_are_named_a_profile_as_a_warning) {
  Bytes bytes = encode(kGrey);
  const size_t at = find_chunk(bytes, "IDAT");
  for (const char* name : {"iCCP", "tIME", "abCd", "acTL", "fcTL"})
    bytes = insert_at(bytes, at, chunk(name, "1234567"));
  const Image image = open_read(file(bytes));
  ASSERT_TRUE(image);
  const struct {
    int category;
    const char* text;
  } rows[] = {{ERR_WARNING, "acTL: of the animation only the still"},
              {ERR_INFORMATION, "abCd: this chunk is not kept"},
              {ERR_INFORMATION, "tIME: the time of the last change"},
              {ERR_WARNING, "iCCP: the colour profile is not kept"}};
  ASSERT_EQ(reports.reports.size(), std::size(rows)) << reports.texts();
  for (size_t i = 0; i < std::size(rows); ++i) {
    EXPECT_EQ(reports.reports[i].category, rows[i].category);
    EXPECT_THAT(reports.reports[i].text, HasSubstr(rows[i].text));
  }
}

}  // namespace
}  // namespace orb::testing
