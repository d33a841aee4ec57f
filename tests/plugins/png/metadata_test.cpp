// What stands beside the picture, against the chunks that the codec library sees.
#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "oracle.h"

namespace orb::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::FloatEq;
using ::testing::HasSubstr;
using namespace std::string_literals;

const Stored kGrey = noise_picture(4, 3, PNG_COLOR_TYPE_GRAY, 8);

class Metadata : public PngTest {
 protected:
  static Image decorated(const Decorate& decorate) {
    save("in", encode(kGrey, decorate));
    Image image = open_read("png", "in");
    EXPECT_TRUE(image);
    return image;
  }
  // A written file as the codec library sees it; assumed: not declared.
  static void inspect(const std::function<void(Wanted&)>& change, const Decorate& look,
                      uint64_t assumed = 0) {
    Wanted wanted("png", "out", 4, 3);
    wanted.color(1, 8).info.word_e = assumed;
    wanted.ifd.pixel_aspect = 1;
    change(wanted);
    EXPECT_EQ(write_all(wanted.open(), kGrey.planes), 0);
    decode(load("out"), look);
  }
};

TEST_F(Metadata, of_a_plain_file_is_the_librarys_default) {
  const Image image = decorated(nullptr);
  EXPECT_EQ(image->info.word_e, 31U);
  EXPECT_EQ(image->info.images[0].curve.gamma, 2.2F);
  EXPECT_EQ(image->info.images[0].pixel_aspect, 1.0F);
  EXPECT_EQ(image->info.chromaticity[0], 0.67F);
  EXPECT_EQ(image->info.text1, nullptr);
  EXPECT_EQ(reports.texts(), "");
}

TEST_F(Metadata, keeps_a_gamma_as_the_same_stored_number) {
  for (const int stored :
       {16, 1000, 22222, 41667, 45454, 45455, 45456, 50000, 55556, 100000, 217391, 1000000}) {
    SCOPED_TRACE(stored);
    const Image image =
        decorated([stored](png_structp png, png_infop info) { png_set_gAMA_fixed(png, info, stored); });
    EXPECT_EQ(image->info.word_e & ORB_ASSUMED_GAMMA, 0U);
    const ORB_RESPONSE_CURVE curve = image->info.images[0].curve;
    EXPECT_NEAR(static_cast<double>(curve.gamma) * stored / 100000, 1.0, 0.51 / stored);
    png_fixed_point again = 0;
    inspect([curve](Wanted& w) { w.ifd.curve = curve; },
            [&again](png_structp png, png_infop info) { png_get_gAMA_fixed(png, info, &again); });
    EXPECT_EQ(again, stored);
  }
}

TEST_F(Metadata, of_srgb_is_its_gamma_and_primaries) {
  const Image image = decorated([](png_structp png, png_infop info) { png_set_sRGB(png, info, 0); });
  EXPECT_EQ(image->info.word_e & (ORB_ASSUMED_GAMMA | ORB_ASSUMED_PRIMARIES), 0U);
  EXPECT_EQ(image->info.images[0].curve.gamma, 2.2F);
  EXPECT_THAT(image->info.chromaticity,
              ElementsAre(FloatEq(0.64F), FloatEq(0.33F), FloatEq(0.03F), FloatEq(0.3F), FloatEq(0.6F),
                          FloatEq(0.1F), FloatEq(0.15F), FloatEq(0.06F), FloatEq(0.79F), FloatEq(0.3127F),
                          FloatEq(0.329F), FloatEq(0.3583F)));
  EXPECT_THAT(reports.texts(), HasSubstr("rendering intent"));
}

TEST_F(Metadata, has_the_aspect_of_a_pixels_width_by_its_height_in_small_numbers) {
  const Image image = decorated(
      [](png_structp png, png_infop info) { png_set_pHYs(png, info, 1000, 2000, PNG_RESOLUTION_METER); });
  EXPECT_EQ(image->info.images[0].pixel_aspect, 2.0F);
  EXPECT_THAT(reports.texts(), HasSubstr("pHYs"));
  inspect([](Wanted& w) { w.ifd.pixel_aspect = 10.0F / 11.0F; },
          [](png_structp png, png_infop info) {
            EXPECT_EQ(png_get_x_pixels_per_inch(png, info), 0U);
            EXPECT_EQ(png_get_pixel_aspect_ratio(png, info), 10.0F / 11.0F);
            png_uint_32 x = 0, y = 0;
            int unit = 0;
            png_get_pHYs(png, info, &x, &y, &unit);
            EXPECT_THAT(std::pair(x, y), ::testing::Pair(11U, 10U));
          });
}

TEST_F(Metadata, does_not_follow_a_place_out_of_range) {
  for (const auto& [x, y] : {std::pair{INT32_MAX, 0}, {0, -INT32_MAX}}) {
    reports.clear();
    const Image image = decorated(
        [x = x, y = y](png_structp png, png_infop info) { png_set_oFFs(png, info, x, y, PNG_OFFSET_PIXEL); });
    EXPECT_EQ(image->info.images[0].window.left, 0);
    EXPECT_EQ(image->info.images[0].window.top, 2);
    EXPECT_EQ(reports.reports.size(), 1U);
  }
}

TEST_F(Metadata, leaves_out_what_has_no_chunk_with_a_warning) {
  const struct {
    void (*change)(Wanted&);
    const char* report;
    uint64_t assumed;
  } rows[] = {{[](Wanted& w) { w.ifd.curve.gamma = 1e30F; }, "the gamma cannot be stored", ORB_ASSUMED_GAMMA},
              {[](Wanted& w) {
                 w.ifd.curve = {ORB_CURVE_TABLE, 1.5F, 0, 1, 256, ORB_C_INTEGER, 8, nullptr};
                 ORB_response_curve_init(&w.ifd.curve);
               },
               "a tabulated response curve cannot be stored", ORB_ASSUMED_GAMMA},
              {[](Wanted& w) { w.info.chromaticity[7] = -0.1F; }, "the primaries cannot be stored",
               ORB_ASSUMED_PRIMARIES},
              {[](Wanted& w) { std::fill_n(w.info.chromaticity, 12, 0.0F); }, "chromaticities",
               ORB_ASSUMED_PRIMARIES}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.report);
    reports.clear();
    Wanted wanted("png", "out", 4, 3);
    wanted.color(1, 8).info.word_e = ORB_ASSUMED_PIXEL_ASPECT;
    row.change(wanted);
    const Image image = wanted.open();
    ORB_response_curve_done(&wanted.ifd.curve);
    ASSERT_TRUE(image);
    EXPECT_THAT(reports.texts(), HasSubstr(row.report));
    EXPECT_EQ(reports.reports.size(), 1U) << reports.texts();
    EXPECT_EQ(image->info.word_e & (ORB_ASSUMED_GAMMA | ORB_ASSUMED_PRIMARIES), row.assumed);
    EXPECT_EQ(image->info.images[0].curve.kind, ORB_CURVE_GAMMA);
  }
}

TEST_F(Metadata, has_texts_under_the_keywords_that_other_programs_know) {
  const std::pair<char * ORB_INFO::*, const char*> rows[] = {{&ORB_INFO::text1, "Title"},
                                                             {&ORB_INFO::text3, "Description"},
                                                             {&ORB_INFO::text4, "Software"},
                                                             {&ORB_INFO::text5, "Source"},
                                                             {&ORB_INFO::text6, "Author"},
                                                             {&ORB_INFO::text7, "Creation Time"},
                                                             {&ORB_INFO::text8, "orbbase:elapsed-time"},
                                                             {&ORB_INFO::text9, "orbbase:filter"},
                                                             {&ORB_INFO::text10, "orbbase:storage"}};
  std::vector<std::string> found;
  inspect(
      [&rows](Wanted& w) {
        for (const auto& [field, keyword] : rows) w.info.*field = const_cast<char*>(keyword);
      },
      [&found](png_structp png, png_infop info) {
        png_textp list = nullptr;
        const int count = png_get_text(png, info, &list, nullptr);
        for (int i = 0; i < count; ++i) found.push_back(list[i].key + "="s + list[i].text);
      },
      31);
  std::vector<std::string> expected;
  for (const auto& [field, keyword] : rows) expected.push_back(keyword + "="s + keyword);
  EXPECT_THAT(found, ::testing::UnorderedElementsAreArray(expected));
}

TEST_F(Metadata, takes_a_text_that_is_not_utf8_for_latin1_and_says_so) {
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
    Wanted wanted("png", "out", 4, 3);
    wanted.color(1, 8).info.text1 = const_cast<char*>(row.text);
    ASSERT_EQ(write_all(wanted.open(), kGrey.planes), 0);
    EXPECT_STREQ(open_read("png", "out")->info.text1, row.stored ? row.stored : row.text);
    EXPECT_EQ(reports.reports.size(), row.stored ? 1U : 0U);
  }
}

TEST_F(Metadata, has_every_kind_of_text_and_names_what_is_left_out) {
  const std::string bytes = encode(kGrey, [](png_structp png, png_infop info) {
    add_text(png, info, PNG_TEXT_COMPRESSION_NONE, "Title", "caf\xE9");  // Latin-1 by its kind
    add_text(png, info, PNG_TEXT_COMPRESSION_zTXt, "Description", "packed \xE9");
    add_text(png, info, PNG_ITXT_COMPRESSION_NONE, "Software", "\xE6\x97\xA5");
    add_text(png, info, PNG_ITXT_COMPRESSION_zTXt, "Author", "\xE6\x9C\xAC", "ja");
    add_text(png, info, PNG_TEXT_COMPRESSION_NONE, "Title", "a second one");
    add_text(png, info, PNG_TEXT_COMPRESSION_NONE, "Copyright", "nobody");
    add_text(png, info, PNG_TEXT_COMPRESSION_NONE, "orbbase:frame", "many");
  });
  save("in", insert_before(bytes, "IEND", chunk("tEXt", "Comment\0late"s)));
  const Image image = open_read("png", "in");
  ASSERT_TRUE(image);
  EXPECT_STREQ(image->info.text1, "caf\xC3\xA9");
  EXPECT_STREQ(image->info.text3, "packed \xC3\xA9");
  EXPECT_STREQ(image->info.text4, "\xE6\x97\xA5");
  EXPECT_STREQ(image->info.text6, "\xE6\x9C\xAC");
  EXPECT_EQ(read_all(*image), kGrey.planes);
  EXPECT_EQ(reports.texts(),
            "in: the text \"Author\" loses its language\n"
            "in: the text \"Title\" is not kept\n"
            "in: the text \"Copyright\" is not kept\n"
            "in: the text \"orbbase:frame\" is not kept\n"
            "in: the text \"Comment\" stands behind the picture and is not kept");
  for (const auto& report : reports.reports) EXPECT_EQ(report.category, ERR_INFORMATION);
}

TEST_F(Metadata, names_chunks_that_are_not_kept_a_profile_as_a_warning) {
  std::string bytes = encode(kGrey);
  for (const char* name : {"fcTL", "acTL", "abCd", "tIME", "iCCP"})
    bytes = insert_before(bytes, "IDAT", chunk(name, "1234567"));
  save("in", bytes);
  ASSERT_TRUE(open_read("png", "in"));
  const std::pair<int, const char*> rows[] = {{ERR_INFORMATION, "abCd: this chunk is not kept"},
                                              {ERR_WARNING, "acTL: of the animation only the still"},
                                              {ERR_INFORMATION, "tIME: the time of the last change"},
                                              {ERR_WARNING, "iCCP: the colour profile is not kept"}};
  ASSERT_EQ(reports.reports.size(), std::size(rows)) << reports.texts();
  for (const auto& [category, text] : rows) {
    const auto is_it = [text = text](const auto& report) {
      return report.text.find(text) != std::string::npos;
    };
    const auto found = std::find_if(reports.reports.begin(), reports.reports.end(), is_it);
    ASSERT_NE(found, reports.reports.end()) << text;
    EXPECT_EQ(found->category, category);
  }
}

}  // namespace
}  // namespace orb::testing
