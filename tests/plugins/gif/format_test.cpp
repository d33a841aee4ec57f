// What a GIF can and cannot be, for the tests of all formats, and how its own damage is told.
#include <gmock/gmock.h>

#include <bit>

#include "gif_file.h"
#include "tests/plugins/common/conformance.h"

namespace orb::testing {
namespace {

const GifFile kFile = {
    4,
    2,
    {{.picture = "abcd/dcba"}, {.left = 1, .picture = "bc", .disposal = 3}, {.picture = "dd", .disposal = 2}},
    GifFile{}.palette,
    comment("kept")};

std::vector<Example> examples() { return {{kFile.bytes()}}; }

std::string with(std::string bytes, size_t at, int value) {
  bytes[at] = static_cast<char>(value);
  return bytes;
}

std::vector<Damaged> damaged() {
  const std::string file = kFile.bytes();
  const size_t first = file.find(',');  // descriptor: 10 bytes, code width, part length
  const GifFile unpainted = {1, 1, {{.picture = "a"}}, ""};
  const GifFile uncoloured = {1, 1, {{.picture = "d", .palette = std::string(6, '\1')}}};
  return {{"", ORB_E_FORMAT, "it is empty"},
          {"RIFF" + file, ORB_E_FORMAT, "does not begin as one"},
          {with(file, 4, '8'), ORB_E_FORMAT, "does not begin as one"},
          {with(file, 6, 0), ORB_E_FORMAT, "no pixels"},
          {with(file, 8, 0), ORB_E_FORMAT, "no pixels"},
          {GifFile{1, 1, {}}.bytes(), ORB_E_FORMAT, "no picture"},
          {unpainted.bytes(), ORB_E_FORMAT, "no palette"},
          {with(file, first + 10, 200), ORB_E_DECODE, "frame 1: its data are damaged"},
          {with(file, first + 12, 0xFF), ORB_E_DECODE, "frame 1: its data are damaged"},
          {with(with(file, first + 7, 9), 8, 9), ORB_E_DECODE, "frame 1: its data are damaged"},
          {uncoloured.bytes(), ORB_E_DECODE, "no colour"},
          {with(file, file.size() - 1, 1), ORB_E_READ, "no end mark"},
          {GifFile{65535, 65535, {{.picture = "b"}}}.bytes(), ORB_E_MEMORY, ""}};
}

std::vector<Limited> limited() {
  return {{GifFile{20, 13, {{.picture = "b"}}}.bytes(), ORB_LIMIT_BUFFER, 1040}};
}

const Format kGif = {
    .key = "gif",
    .modules = {GIF_MODULE},
    .traits = kKeepsDescription | kReadsPipes | kHasFrames | kHasBareEntries,
    .signature_bytes = 1,
    .cut_codes = {ORB_E_READ},
    .examples = examples,
    .damaged = damaged,
    .limited = limited,
    .layouts = {{1, 0, 0, 1, 8}},
    .index_bits = {1, 2, 3, 4, 5, 6, 7, 8},
    .refusals = {
        {"gif cannot handle image channel width", [](Wanted& w) { w.color(1, 9); }},
        {"gif cannot handle image channel type", [](Wanted& w) { w.color(1, 32, ORB_C_FLOAT); }},
        {"gif cannot handle", [](Wanted& w) { w.color(3, 8); }},
        {"gif cannot handle", [](Wanted& w) { w.matte(1, 8); }},
        {"",
         [](Wanted& w) {
           w.window({0, 65535, 0, 2});
         }},
        {"lookup table", [](Wanted& w) { w.index(2, nullptr); }},
        {"gif cannot handle", [](Wanted& w) { w.index(9, nullptr); }},
        {"gif cannot handle the requested action", [](Wanted& w) { w.set(1, std::bit_cast<int32_t>(1.5F)); }},
    }};
ORB_TEST_CONFORMANCE(kGif);

class Damage : public GifTest {};

TEST_F(Damage, of_one_frame_leaves_the_others_to_be_read) {
  GifFile file = kFile;
  file.frames[1].palette = std::string(6, '\1');  // of a frame that draws index 2
  const Image image = open_gif(file);
  ASSERT_TRUE(image);
  EXPECT_EQ(shown(image.get()), "abcd/dcba");
  EXPECT_EQ(ORB_set_frame(image.get(), 2, 0, 0), ORB_E_DECODE);
  EXPECT_EQ(shown(image.get()), "abcd/dcba");  // what was current is again
}

TEST_F(Damage, by_frames_and_remarks_without_end_is_held_to_limits) {
  GifFile file = kFile;
  for (int i = 0; i < 500; ++i) file.extensions += std::string("\x21\xFF\x0BICCRGBG1012\x01x\0", 17);
  for (int i = 0; i < 500; ++i) file.extensions += comment(std::string(255, 'x'));
  EXPECT_LT(std::string(open_gif(file)->info.text3).size(), 65536U);
  EXPECT_LT(reports.reports.size(), 70U);
  const uint64_t before = ORB_limit(ORB_LIMIT_BUFFER, 4096);
  EXPECT_FALSE(open_gif({1, 1, std::vector<DrawnFrame>(200, {.picture = "b"})}));
  EXPECT_EQ(orb__err, ORB_E_MEMORY);
  ORB_limit(ORB_LIMIT_BUFFER, before);
}

}  // namespace
}  // namespace orb::testing
