// What a format keeps of a description, and what it says of the rest.
#include <gmock/gmock.h>

#include <algorithm>
#include <charconv>
#include <clocale>
#include <cmath>
#include <sstream>
#include <utility>

#include "conformance.h"
#include "orbbase/driver.h"

namespace orb::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::IsSupersetOf;
using ::testing::StartsWith;

constexpr std::pair<uint64_t, const char*> kAssumptions[] = {{ORB_ASSUMED_GAMMA, "gamma"},
                                                             {ORB_ASSUMED_PRIMARIES, "primaries"},
                                                             {ORB_ASSUMED_PIXEL_ASPECT, "aspect"},
                                                             {ORB_ASSUMED_FRAME_RATE, "rate"},
                                                             {ORB_ASSUMED_FRAME_NUMBER, "frame"}};
constexpr uint64_t kAllAssumed = ORB_ASSUMED_GAMMA | ORB_ASSUMED_PRIMARIES | ORB_ASSUMED_PIXEL_ASPECT |
                                 ORB_ASSUMED_FRAME_RATE | ORB_ASSUMED_FRAME_NUMBER;

constexpr std::pair<char * ORB_INFO::*, const char*> kTexts[] = {
    {&ORB_INFO::text1, "title"}, {&ORB_INFO::text3, "description"}, {&ORB_INFO::text4, "program"},
    {&ORB_INFO::text5, "host"},  {&ORB_INFO::text6, "user"},        {&ORB_INFO::text7, "date"},
    {&ORB_INFO::text8, "took"},  {&ORB_INFO::text9, "filter"},      {&ORB_INFO::text10, "storage"}};

// The shortest text that a float comes back from.
std::string text_of(float value) {
  char text[32];
  return {text, std::to_chars(std::begin(text), std::end(text), value).ptr};
}
template <class Value>
const Value& text_of(const Value& value) {
  return value;
}

template <class... Parts>
std::string line_of(const Parts&... parts) {
  std::ostringstream line;
  bool is_first = true;
  ((line << (std::exchange(is_first, false) ? "" : " ") << text_of(parts)), ...);
  return line.str();
}

std::string line_of(const char* what, const ORB_WINDOW& w) {
  return line_of(what, w.left, w.right, w.bottom, w.top);
}

std::string line_of(const char* what, const ORB_CHANNELS& group) {
  std::string line = line_of(what, group.count);
  if (group.count == 0) return line;
  line += "x" + std::to_string(group.width);
  if (group.type != ORB_C_INTEGER) line += group.type == ORB_C_FLOAT ? " float" : " double";
  return group.name && std::string(group.name) != "unknown" ? line_of(line, group.name) : line;
}

std::vector<std::string> facts_of_image(const ORB_IFD& ifd) {
  return {line_of("name", ifd.name ? ifd.name : "unknown"),
          line_of(ifd.curve.kind == ORB_CURVE_GAMMA ? "gamma" : "tabulated", ifd.curve.gamma),
          line_of("aspect", ifd.pixel_aspect),
          line_of("window", ifd.window),
          line_of("active", ifd.active_window),
          line_of("picture", ifd.pair_a[0], ifd.pair_a[1]),
          line_of("rows", (ifd.orientation & ORB_BOTTOM_UP) != 0 ? "upward" : "downward"),
          line_of("color", ifd.color),
          line_of("matte", ifd.matte),
          line_of("aux", ifd.aux),
          line_of("index", ifd.index)};
}

}  // namespace

std::vector<std::string> facts_of(const ORB_INFO& info) {
  std::vector<std::string> facts = {
      line_of("job", info.job_number),     line_of("frame", info.frame_number),
      line_of("field", info.field_value),  line_of("rate", info.frame_rate),
      line_of("frames", info.frame_count), line_of("origin", info.words[0], info.words[1])};
  for (const auto& [text, name] : kTexts) facts.push_back(line_of(name, info.*text ? info.*text : "unknown"));
  std::string assumed = "assumed";
  for (const auto& [bit, name] : kAssumptions) assumed += (info.word_e & bit) != 0 ? line_of("", name) : "";
  std::string primaries = "primaries";  // in hundred thousandths: formats round them
  for (const float coordinate : info.chromaticity) primaries += line_of("", std::lround(coordinate * 1e5F));
  facts.insert(facts.end(), {assumed, primaries});
  for (int32_t i = 0; i < info.image_count; ++i) {
    const std::string place = i == 0 ? "" : line_of("image", i + 1, "");
    for (const std::string& fact : facts_of_image(info.images[i])) facts.push_back(place + fact);
  }
  return facts;
}

std::string fact_of(const ORB_LUT& table) {
  std::string line = "table";
  for (int32_t i = 0; i < table.entry_count; ++i) {
    for (const uint16_t value : table.entries[i].rgba) line += line_of("", value);
  }
  return line;
}

// Each frame of a film is another one.
static Planes shifted(Planes planes, int32_t by) {
  for (auto& plane : planes) std::rotate(plane.begin(), plane.begin() + by, plane.end());
  return planes;
}

void Conformance::expect_reports(const std::vector<std::string>& beginnings) const {
  ASSERT_EQ(reports.reports.size(), beginnings.size()) << reports.texts();
  for (size_t i = 0; i < beginnings.size(); ++i) {
    const auto& [category, text] = reports.reports[i];
    EXPECT_THAT((category == ERR_WARNING ? "warning: " : "") + text, StartsWith(beginnings[i]));
  }
}

Image Conformance::there_and_back(Wanted& wanted, const Planes& planes) {
  Image writer = wanted.open();
  EXPECT_TRUE(writer) << reports.texts();
  if (!writer) return nullptr;
  const std::vector<std::string> told = facts_of(writer->info);
  std::vector<Planes> given;
  for (int32_t i = 0; i < writer->info.image_count; ++i) {
    given.push_back(planes.empty() ? noise_for(writer->info.images[i]) : planes);
    clear_inactive(writer->info.images[i], given.back());
  }
  const int32_t frames = writer->info.frame_count;
  for (int32_t frame = 1; frame <= frames; ++frame) {
    EXPECT_EQ(ORB_set_frame(writer.get(), frame, 0, 0), 0) << reports.texts();
    EXPECT_TRUE(frame == frames || write_image(*writer, shifted(given[0], frame)) == 0) << reports.texts();
  }
  EXPECT_EQ(write_images(std::move(writer), given), 0) << reports.texts();
  Image image = open_read(wanted.key.c_str(), wanted.path);
  EXPECT_TRUE(image) << reports.texts();
  if (!image) return nullptr;
  EXPECT_EQ(facts_of(image->info), told);
  for (int32_t frame = 1; frame <= frames; ++frame) {
    EXPECT_EQ(ORB_set_frame(image.get(), frame, 0, 0), 0);
    EXPECT_TRUE(frame == frames || read_all(*image) == shifted(given[0], frame)) << "frame " << frame;
  }
  for (size_t i = 0; i < given.size() && !has(kIsLossy); ++i)
    EXPECT_TRUE(read_all(*image, static_cast<int32_t>(i)) == given[i]) << "the samples of image " << i + 1;
  return image;
}

namespace {

TEST_P(Conformance, a_file_of_another_hand_reads_as_what_it_holds_and_the_rest_is_said) {
  if (!format_.known) return;
  for (const Known& row : format_.known()) {
    SCOPED_TRACE(::testing::PrintToString(row.says) + " of " +
                 ::testing::PrintToString(row.bytes.substr(0, 99)));
    save("in", row.bytes);
    reports.clear();
    const Image image = open_read(format_.key, "in", row.settings);
    ASSERT_TRUE(image) << reports.texts();
    std::vector<std::string> facts = facts_of(image->info);
    if (image->lut_read) facts.push_back(fact_of(*read_table(*image)));
    EXPECT_THAT(facts, IsSupersetOf(row.says));
    Planes planes;
    for (int32_t i = 0; i < image->info.image_count; ++i) {
      for (auto& plane : read_all(*image, i)) planes.push_back(std::move(plane));
    }
    EXPECT_TRUE(row.planes.empty() ? !planes.empty() : planes == row.planes) << "other samples";
    expect_reports(row.reports);
  }
}

TEST_P(Conformance, what_is_written_is_what_others_see_and_what_is_read_again) {
  if (!format_.written) return;
  for (const Written& row : format_.written()) {
    SCOPED_TRACE(row.seen + ::testing::PrintToString(row.says));
    reports.clear();
    Wanted made = wanted("out");
    row.change(made);
    const Image image = there_and_back(made, row.planes);
    ASSERT_TRUE(image);
    EXPECT_THAT(format_.look ? format_.look("out") : "", HasSubstr(row.seen));
    EXPECT_THAT(facts_of(image->info), IsSupersetOf(row.says));
    expect_reports(row.reports);
  }
}

TEST_P(Conformance, what_is_kept_of_a_description_comes_back_exactly) {
  constexpr float kGammas[] = {0.45F, 1.0F, 1.7F, 1.8F, 2.2F, 2.35F, 2.4F, 2.6F};
  constexpr float kAspects[] = {1.0F, 0.5F, 2.0F, 10.0F / 11.0F, 1.33333F, 0.0157F, 3.14159274F, 4000.5F};
  constexpr float kRates[] = {24.0F, 23.976F, 24000.0F / 1001, 29.97F, 12.3456789F};
  constexpr float kPrimaries[] = {0.68F, 0.32F, 0.0F,  0.265F,  0.69F,  0.045F,
                                  0.15F, 0.06F, 0.79F, 0.3127F, 0.329F, 0.3583F};
  const std::pair<const char*, uint32_t> kept[] = {{"description ", kKeepsDescription},
                                                   {"title ", kKeepsTexts},
                                                   {"program ", kKeepsTexts},
                                                   {"host ", kKeepsTexts},
                                                   {"user ", kKeepsTexts},
                                                   {"date ", kKeepsTexts},
                                                   {"took ", kKeepsTexts},
                                                   {"filter ", kKeepsTexts},
                                                   {"name ", kKeepsTexts},
                                                   {"color ", kKeepsTexts},
                                                   {"gamma ", kKeepsGamma},
                                                   {"aspect ", kKeepsAspect},
                                                   {"primaries ", kKeepsPrimaries},
                                                   {"rate ", kKeepsRate},
                                                   {"frame ", kKeepsFrame},
                                                   {"job ", kKeepsFrame},
                                                   {"field ", kKeepsField},
                                                   {"active ", kKeepsPlace}};
  std::string texts[] = {"title",
                         "two\nlines \\ and\ttab Gr\xC3\xBC\xC3\x9F"
                         "e \xE6\x97\xA5",
                         "program 1.0",
                         "host",
                         "somebody",
                         "last Tuesday",
                         "1:23",
                         "box"};
  for (size_t i = 0; i < std::size(kGammas); ++i) {
    SCOPED_TRACE(i);
    Wanted made = wanted("out");
    ORB_INFO& info = made.info;
    info.word_e = 0;
    for (size_t t = 0; t < std::size(texts); ++t) info.*kTexts[t].first = texts[t].data();
    made.ifd.name = const_cast<char*>("ntsc");
    made.ifd.color.name = const_cast<char*>("rgb");
    made.ifd.curve.gamma = kGammas[i];
    made.ifd.pixel_aspect = kAspects[i];
    const int32_t left = i % 2 == 0 ? -7 : 0;
    made.window(left, left + 3, 100, 102);
    std::copy(std::begin(kPrimaries), std::end(kPrimaries), info.chromaticity);
    info.frame_rate = kRates[i % std::size(kRates)];
    info.frame_number = 1001;
    info.job_number = 42;
    info.field_value = 2;
    std::setlocale(LC_ALL, "de_DE.UTF-8");  // where it is installed, a number must not get a comma
    const Image image = there_and_back(made);
    std::setlocale(LC_ALL, "C");
    ASSERT_TRUE(image);
    const std::vector<std::string> said = facts_of(image->info);
    const std::vector<std::string> wished = facts_of(made.info);
    for (const auto& [what, trait] : kept) {
      const auto is_it = [what = what](const std::string& fact) { return fact.rfind(what, 0) == 0; };
      const auto wish = std::find_if(wished.begin(), wished.end(), is_it);
      EXPECT_TRUE(!has(trait) || std::find(said.begin(), said.end(), *wish) != said.end()) << *wish;
    }
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
    EXPECT_THAT(image->info.text7 ? image->info.text7 : "", HasSubstr(made.info.text7 ? "1970:01:0" : ""));
  }
}

}  // namespace
}  // namespace orb::testing
