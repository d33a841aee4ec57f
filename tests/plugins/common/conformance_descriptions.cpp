// What a format keeps of a description, and what it says of the rest.
#include <gmock/gmock.h>

#include <algorithm>
#include <clocale>
#include <cmath>
#include <sstream>
#include <utility>

#include "conformance.h"
#include "orbbase/driver.h"

namespace orb::testing {
namespace {

using ::testing::HasSubstr;

constexpr uint64_t kAllAssumed = ORB_ASSUMED_GAMMA | ORB_ASSUMED_PRIMARIES | ORB_ASSUMED_PIXEL_ASPECT |
                                 ORB_ASSUMED_FRAME_RATE | ORB_ASSUMED_FRAME_NUMBER;

constexpr char* ORB_INFO::*kTexts[] = {&ORB_INFO::text3, &ORB_INFO::text1, &ORB_INFO::text4,
                                       &ORB_INFO::text5, &ORB_INFO::text6, &ORB_INFO::text7,
                                       &ORB_INFO::text8, &ORB_INFO::text9};

std::string text_of(const char* text) { return text ? text : "unknown"; }
std::string text_of(const ORB_WINDOW& w) {
  return ::testing::PrintToString(std::vector<int32_t>{w.left, w.right, w.bottom, w.top});
}

// All that a handle says of its file, but for the file's name.
std::string said_by(const ORB_IMAGE& image) {
  const ORB_INFO& info = image.info;
  std::ostringstream all;
  all << std::hexfloat;
  for (const auto field : kTexts) all << text_of(info.*field) << ' ';
  all << "\njob " << info.job_number << " frame " << info.frame_number << " field " << info.field_value
      << " rate " << info.frame_rate << " assumed " << (info.word_e & kAllAssumed) << "\nprimaries";
  for (const float coordinate : info.chromaticity) all << ' ' << coordinate;
  for (int32_t i = 0; i < info.image_count; ++i) {
    const ORB_IFD& ifd = info.images[i];
    all << "\nimage " << text_of(ifd.name) << " curve " << ifd.curve.kind << ' ' << ifd.curve.gamma
        << " aspect " << ifd.pixel_aspect << " window " << text_of(ifd.window) << text_of(ifd.active_window)
        << " order " << ifd.orientation << " groups";
    for (const ORB_CHANNELS* group : {&ifd.color, &ifd.matte, &ifd.aux, &ifd.index})
      all << ' ' << group->count << 'x' << (group->count > 0 ? group->width : 0) << text_of(group->name);
  }
  return all.str();
}

// Opens to write, and reads again: what the handle said at once must be what a reader finds.
Image there_and_back(Wanted& wanted) {
  Image writer = wanted.open();
  EXPECT_TRUE(writer);
  if (!writer) return nullptr;
  const std::string told = said_by(*writer);
  const Planes planes = noise_for(writer->info.images[0]);
  EXPECT_EQ(write_all(std::move(writer), planes), 0);
  Image image = open_read(wanted.key.c_str(), wanted.path);
  EXPECT_EQ(said_by(*image), told);
  return image;
}

TEST_P(Conformance, what_is_kept_of_a_description_comes_back_exactly) {
  constexpr float kGammas[] = {0.45F, 1.0F, 1.7F, 1.8F, 2.2F, 2.35F, 2.4F, 2.6F};
  constexpr float kAspects[] = {1.0F, 0.5F, 2.0F, 10.0F / 11.0F, 1.33333F, 0.0157F, 3.14159274F, 4000.5F};
  constexpr float kRates[] = {24.0F, 23.976F, 24000.0F / 1001, 29.97F, 12.3456789F};
  constexpr float kPrimaries[] = {0.68F, 0.32F, 0.0F,  0.265F,  0.69F,  0.045F,
                                  0.15F, 0.06F, 0.79F, 0.3127F, 0.329F, 0.3583F};
  std::string texts[] = {
      "two\nlines \\ and\ttab Gr\xC3\xBC\xC3\x9F"
      "e \xE6\x97\xA5",
      "title",
      "program 1.0",
      "host",
      "somebody",
      "last Tuesday",
      "1:23",
      "box",
      "ntsc",
      "rgb"};
  for (size_t i = 0; i < std::size(kGammas); ++i) {
    SCOPED_TRACE(i);
    reports.clear();
    Wanted made = wanted("out");
    ORB_INFO& info = made.info;
    info.word_e = 0;
    for (size_t t = 0; t < std::size(kTexts); ++t) info.*kTexts[t] = texts[t].data();
    made.ifd.name = texts[8].data();
    made.ifd.color.name = texts[9].data();
    made.ifd.curve.gamma = kGammas[i];
    made.ifd.pixel_aspect = kAspects[i];
    made.window({-7, -4, 100, 102});
    std::copy(std::begin(kPrimaries), std::end(kPrimaries), info.chromaticity);
    info.frame_rate = kRates[i % std::size(kRates)];
    info.frame_number = 1001;
    info.job_number = 42;
    info.field_value = 2;
    std::setlocale(LC_ALL, "de_DE.UTF-8");  // where it is installed, a number must not get a comma
    const Image image = there_and_back(made);
    std::setlocale(LC_ALL, "C");
    ASSERT_TRUE(image);
    const ORB_IFD& ifd = image->info.images[0];
    const size_t kept_texts = has(kKeepsTexts) ? std::size(kTexts) : has(kKeepsDescription) ? 1 : 0;
    for (size_t t = 0; t < std::size(kTexts); ++t)
      EXPECT_STREQ(image->info.*kTexts[t], t < kept_texts ? texts[t].c_str() : nullptr);
    EXPECT_STREQ(ifd.name, has(kKeepsTexts) ? "ntsc" : nullptr);
    EXPECT_STREQ(ifd.color.name, has(kKeepsTexts) ? "rgb" : nullptr);
    EXPECT_EQ(ifd.curve.gamma, has(kKeepsGamma) ? kGammas[i] : ifd.curve.gamma);
    EXPECT_EQ(ifd.pixel_aspect, has(kKeepsAspect) ? kAspects[i] : ifd.pixel_aspect);
    for (int c = 0; c < 12 && has(kKeepsPrimaries); ++c)
      EXPECT_NEAR(image->info.chromaticity[c], kPrimaries[c], 1e-6);
    EXPECT_EQ(image->info.frame_rate, has(kKeepsRate) ? info.frame_rate : image->info.frame_rate);
    EXPECT_EQ(image->info.frame_number, has(kKeepsFrame) ? 1001 : 1);
    EXPECT_EQ(image->info.job_number, has(kKeepsFrame) ? 42 : -1);
    EXPECT_EQ(image->info.field_value, has(kKeepsField) ? 2 : 0);
    const ORB_WINDOW& place = ifd.active_window;
    EXPECT_EQ(text_of(place), text_of(has(kKeepsPlace) ? made.ifd.window : ORB_WINDOW{0, 3, 0, 2}));
  }
}

TEST_P(Conformance, what_is_not_declared_is_assumed_and_what_cannot_be_stored_is_said) {
  const struct {
    uint32_t trait;
    uint64_t bit;
    bool is_declared;
    void (*change)(Wanted&);
  } rows[] = {
      {kKeepsGamma, ORB_ASSUMED_GAMMA, false, [](Wanted& w) { w.ifd.curve.gamma = 1; }},
      {kKeepsGamma, ORB_ASSUMED_GAMMA, true, [](Wanted& w) { w.ifd.curve.gamma = 0; }},
      {kKeepsGamma, ORB_ASSUMED_GAMMA, true, [](Wanted& w) { w.ifd.curve.gamma = NAN; }},
      {kKeepsAspect, ORB_ASSUMED_PIXEL_ASPECT, false, [](Wanted& w) { w.ifd.pixel_aspect = 1; }},
      {kKeepsAspect, ORB_ASSUMED_PIXEL_ASPECT, true, [](Wanted& w) { w.ifd.pixel_aspect = -1; }},
      {kKeepsPrimaries, ORB_ASSUMED_PRIMARIES, false, [](Wanted& w) { w.info.chromaticity[0] = 0.5F; }},
      {kKeepsPrimaries, ORB_ASSUMED_PRIMARIES, true, [](Wanted& w) { w.info.chromaticity[7] = NAN; }},
      {kKeepsRate, ORB_ASSUMED_FRAME_RATE, false, [](Wanted& w) { w.info.frame_rate = 25; }},
      {kKeepsRate, ORB_ASSUMED_FRAME_RATE, true, [](Wanted& w) { w.info.frame_rate = NAN; }},
      {kKeepsFrame, ORB_ASSUMED_FRAME_NUMBER, false, [](Wanted& w) { w.info.frame_number = 5; }},
      {kKeepsDescription, 0, false, [](Wanted& w) { w.ifd.pixel_aspect = 2; }},
      // Declared, but nobody filled it in.
      {kKeepsDescription, 0, false, [](Wanted& w) { w.info.word_e &= ~uint64_t{ORB_ASSUMED_PIXEL_ASPECT}; }},
      {kSettlesDates, 0, false, [](Wanted& w) { w.info.text7 = const_cast<char*>("{86400}"); }},
      {kKeepsTexts, 0, false, [](Wanted& w) { w.info.text1 = const_cast<char*>("unknown"); }}};
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    if (!has(row.trait)) continue;
    Wanted made = wanted("out");
    made.info.word_e = row.is_declared ? kAllAssumed & ~row.bit : kAllAssumed;
    row.change(made);
    reports.clear();
    const Image image = there_and_back(made);
    ASSERT_TRUE(image);
    EXPECT_EQ(reports.reports.size(), row.is_declared ? 1U : 0U) << reports.texts();
    EXPECT_THAT(reports.texts(), HasSubstr(row.is_declared ? "cannot be stored" : ""));
    EXPECT_EQ(image->info.word_e & row.bit, row.bit);
    EXPECT_EQ(image->info.text1, nullptr);
    EXPECT_THAT(text_of(image->info.text7), HasSubstr(made.info.text7 ? "1970:01:0" : ""));
  }
}

}  // namespace
}  // namespace orb::testing
