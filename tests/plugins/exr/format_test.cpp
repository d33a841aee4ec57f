// What an OpenEXR file can and cannot be, for the tests of all formats, and how its own damage is told.
#include <gmock/gmock.h>

#include <cstdlib>

#include "exr_test.h"
#include "tests/plugins/common/conformance.h"

namespace orb::testing {
namespace {

using ::testing::HasSubstr;

std::string small_file(int tile) {
  save_exr("made.exr", {{.display = {{0, 0}, {8, 6}},
                         .data = {{0, 0}, {8, 6}},
                         .channels = {{"R"}, {"G"}, {"B"}, {"id", Imf::UINT}},
                         .tile = tile}});
  return load("made.exr");
}

std::vector<Example> examples() { return {{small_file(0)}, {small_file(6)}}; }

// Replaces what stands behind an attribute's name, type and length in the first header.
std::string with_value(std::string file, const std::string& name, const std::string& type,
                       const std::string& value) {
  const size_t at = file.find(name + '\0' + type + '\0');
  if (at == std::string::npos) std::abort();
  return file.replace(at + name.size() + type.size() + 2 + 4, value.size(), value);
}

std::string box(std::initializer_list<int32_t> corners) {
  std::string bytes;
  for (const int32_t number : corners) bytes.append(reinterpret_cast<const char*>(&number), 4);
  return bytes;
}

std::vector<Damaged> damaged() {
  constexpr int32_t kHuge = 0x3FFFFFFF;
  const auto with_window = [](const char* window, std::initializer_list<int32_t> corners) {
    return Damaged{with_value(small_file(0), window, "box2i", box(corners)), 0, ""};
  };
  return {with_window("dataWindow", {0, 0, kHuge, 6}),
          with_window("dataWindow", {0, 0, 8, kHuge}),
          with_window("dataWindow", {-kHuge, -kHuge, kHuge, kHuge}),
          with_window("dataWindow", {8, 6, 0, 0}),
          with_window("displayWindow", {INT32_MIN, 0, INT32_MAX, 6}),
          with_window("displayWindow", {0, INT32_MAX - 1, 8, INT32_MAX}),
          {with_value(small_file(6), "tiles", "tiledesc", box({kHuge, kHuge})), 0, ""},
          {with_value(small_file(6), "tiles", "tiledesc", box({0, 0})), 0, ""},
          {with_value(small_file(0), "compression", "compression", "\x77"), 0, ""},
          {with_value(small_file(0), "channels", "chlist", std::string(1, '\0')), 0, ""},
          {small_file(0).substr(0, 4), 0, ""},
          {"", ORB_E_FORMAT, ""},
          {"P5 1 1 255 x", ORB_E_FORMAT, ""}};
}

std::vector<Limited> limited() {
  save_exr("made.exr", {{.name = "one"}, {.name = "two"}});
  return {{load("made.exr"), ORB_LIMIT_IMAGES, 2}, {small_file(0), ORB_LIMIT_CHANNELS, 4}};
}

const Format kExr = {
    .key = "exr",
    .modules = {EXR_MODULE},
    .traits = kKeepsDescription | kKeepsTexts | kKeepsPrimaries | kKeepsRate | kKeepsFrame | kKeepsField |
              kKeepsPlace | kSettlesDates,
    .signature_bytes = 4,
    .cut_codes = {ORB_E_FORMAT, ORB_E_READ, ORB_E_DECODE},
    .examples = examples,
    .damaged = damaged,
    .limited = limited,
    .layouts = {{3, 0, 0, 32, 32, ORB_C_FLOAT},
                {1, 0, 0, 32, 32},
                {3, 1, 0, 32, 32},
                {3, 1, 2, 32, 32, ORB_C_FLOAT}},
    .refusals = {
        {"exr cannot handle the requested action", [](Wanted& w) { w.color(2, 32, ORB_C_FLOAT); }},
        {"exr cannot handle the requested action", [](Wanted& w) { w.matte(2, 32, ORB_C_FLOAT); }},
        {"exr cannot handle the requested action", [](Wanted& w) { w.aux(40000, 32, ORB_C_FLOAT); }},
        {"exr cannot handle the requested action", [](Wanted& w) { w.ifd.active_window.right = 99; }},
        {"exr cannot handle the requested action", [](Wanted& w) { w.set(kCompression, 10); }},
        {"exr cannot handle image channel width", [](Wanted& w) { w.color(3, 8); }},
        {"exr cannot handle image channel type", [](Wanted& w) { w.color(3, 64, ORB_C_DOUBLE); }},
        {"exr cannot handle matte channel width", [](Wanted& w) { w.matte(1, 16); }},
        {"exr cannot handle auxiliary channel type", [](Wanted& w) { w.aux(1, 64, ORB_C_DOUBLE); }},
    }};
ORB_TEST_CONFORMANCE(kExr);

TEST_F(ExrTest, a_damaged_chunk_leaves_the_others_readable) {
  save_exr("in.exr", {{}});
  std::string file = load("in.exr");
  // 41 lines are chunks of 16, 16 and 9; the last one's bytes end the file.
  save("in.exr", file.replace(file.size() - 60, 40, 40, '\x55'));
  const Image image = open_read("exr", "in.exr");
  ASSERT_TRUE(image) << reports.texts();
  EXPECT_TRUE(read_row(*image, 40));
  for (const int32_t line : {3, 2}) {
    reports.clear();
    EXPECT_FALSE(read_row(*image, line));
    EXPECT_EQ(orb__err, ORB_E_DECODE);
    EXPECT_EQ(errors(), 1U) << reports.texts();
    EXPECT_THAT(reports.texts(), HasSubstr("scanline " + std::to_string(line)));
  }
  EXPECT_TRUE(read_row(*image, 10)) << reports.texts();
}

}  // namespace
}  // namespace orb::testing
