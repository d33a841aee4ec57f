// What a GIF can and cannot be, for the tests of all formats, and how its own damage is held to limits.
#include <gmock/gmock.h>

#include <bit>

#include "gif_file.h"
#include "tests/plugins/common/conformance.h"

namespace orb::testing {
namespace {

const GifFile kFile = {
    4, 2, {{"abcd/dcba"}, {"bc", kTakenAway, 1}, {"dd", kCleared}}, GifFile{}.palette, comment("kept")};

std::vector<Example> examples() { return {{kFile.bytes()}}; }

std::string with(std::string bytes, size_t at, int value) {
  bytes[at] = static_cast<char>(value);
  return bytes;
}

std::vector<Damaged> damaged() {
  const std::string file = kFile.bytes();
  const size_t first = file.find(',');  // descriptor: 10 bytes, code width, part length
  const GifFile unpainted = {1, 1, {{"a"}}, ""};
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
          {GifFile{65535, 65535, {{"b"}}}.bytes(), ORB_E_MEMORY, ""}};
}

std::vector<Limited> limited() { return {{GifFile{20, 13, {{"b"}}}.bytes(), ORB_LIMIT_BUFFER, 1040}}; }

// The table of the usual palette; one entry may be bare.
std::string usual_table(int bare = -1) {
  const Table table = make_table(4);
  for (int i = 0; i < 4; ++i) {
    for (int c = 0; c < 3; ++c) table->entries[i].rgba[c] = i == c + 1 ? 65535 : 0;
    table->entries[i].rgba[3] = i == bare ? 0 : 65535;
  }
  return fact_of(*table);
}

Known drawn(const GifFile& file, std::vector<std::string> says, std::vector<std::string> remarks = {}) {
  return {file.bytes(), std::move(says), std::move(remarks)};
}

// As indices, when one palette tells all.
Known indexed(const std::vector<DrawnFrame>& frames, std::vector<std::string> says) {
  Known row = {GifFile{4, 1, frames}.bytes(), std::move(says)};
  if (row.says[0] == "index 0") row.reports = {"warning: in: no indices of one palette"};
  row.settings = kAsIndices;
  return row;
}

std::vector<Known> known() {
  const DrawnFrame whole = {"bc"};
  const DrawnFrame half_second = {.picture = "b", .delay = 50};
  const std::string other = std::string("\x01\x02\x03", 3) + GifFile{}.palette.substr(3);
  const std::string grey("\0\0\0\xFF\xFF\xFF", 6);
  const std::string reversed("\xFF\xFF\xFF\0\0\0", 6);
  return {
      // A matte only where a pixel can be bare.
      drawn({2, 1, {whole, {.picture = "ab", .transparent = 'a'}}}, {"matte 0"}),
      drawn({2, 1, {whole, {"b", kCleared}}}, {"matte 0"}),  // when nobody looks
      drawn({2, 1, {whole, {"b", kCleared}, whole}}, {"matte 0"}),
      drawn({2, 1, {whole, {"b", kCleared}, {"b"}}}, {"matte 1x8"}),
      drawn({2, 1, {{"b"}}}, {"matte 1x8"}),
      indexed({{"abcd"}, {"d"}}, {"index 1x2", "color 0", "matte 0", usual_table()}),
      indexed({{"abcd"}, {.picture = "d", .palette = GifFile{}.palette}}, {"index 1x2", usual_table()}),
      indexed({{"abcd"}, {.picture = "d", .palette = other}}, {"index 0"}),
      indexed({{.picture = "acbc", .transparent = 'c'}, {.picture = "d", .transparent = 'c'}},
              {"index 1x2", usual_table(2)}),
      indexed({{.picture = "acbc", .transparent = 'c'}, {.picture = "d", .transparent = 'b'}}, {"index 0"}),
      indexed({{"abc"}}, {"index 0"}),  // bare, without an index for it
      indexed({{"abcd"}, {.picture = "bd", .transparent = 'b'}}, {"index 1x2", usual_table()}),
      {GifFile{3, 1, {{"aba"}}, grey}.bytes(), {"color 1x1", "frames 0"}, {}, {{0, 1, 0}}},
      drawn({3, 1, {{"aba"}}, reversed}, {"color 3x8"}),
      drawn({1,
             1,
             {half_second, half_second},
             GifFile{}.palette,
             comment("one") + repeats(0) + comment("two"),
             113},
            {"description one\ntwo", "aspect 2", "rate 2", "assumed gamma primaries frame"},
            {"in: it is to be played for ever, which the description does not carry"}),
      drawn({1, 1, {half_second, {.picture = "b", .delay = 150}}}, {"rate 1"},
            {"in: its frames take different times; the frame rate is their mean"}),
      {GifFile{1, 1, {{"b"}}}.bytes() + " and more",
       {},
       {"warning: in: what stands behind the end mark is not kept"}},
      drawn({1, 1, {{"b"}, {"b"}}}, {"description unknown", "assumed gamma primaries aspect rate frame"})};
}

// Indices by a table with one other value, and with an entry of this coverage.
template <int kChannel, uint16_t kValue, uint16_t kCoverage>
void index_by(Wanted& wanted) {
  static const Table table = make_table(4);
  table->entries[2].rgba[kChannel] = kValue;
  table->entries[0].rgba[3] = kCoverage;
  wanted.index(2, table);
}

// A film of some frames.
Written film(int32_t frames, std::vector<std::string> says, float plays, std::vector<std::string> remarks) {
  static std::string words = "a note of " + std::string(600, 'x');  // more than a block holds
  Written row = {[frames, plays](Wanted& w) {
    w.set(1, std::bit_cast<int32_t>(plays)).info.frame_count = frames;
    w.info.frame_rate = 24;
    w.info.text3 = words.data();
    w.ifd.pixel_aspect = 1.1F;
    w.info.word_e &= ~uint64_t{ORB_ASSUMED_FRAME_RATE | ORB_ASSUMED_PIXEL_ASPECT};
  }};
  row.says = std::move(says);
  row.says.push_back("description " + words);
  row.reports = std::move(remarks);
  return row;
}

std::vector<Written> written() {
  // Times are in hundredths of a second, aspects in sixty-fourths.
  return {film(3, {"frames 3", "rate 25", "aspect 1.09375", "assumed gamma primaries frame"}, 1, {}),
          film(2, {"frames 2"}, 0, {"out: it is to be played for ever"}),
          film(2, {}, 3, {"out: it is to be played 3 times"}),
          film(2, {}, 65536, {"out: it is to be played 65536 times"})};
}

const Format kGif = {
    .key = "gif",
    .modules = {GIF_MODULE},
    .traits = kKeepsDescription | kReadsPipes | kHasBareEntries,
    .signature_bytes = 1,
    .cut_codes = {ORB_E_READ},
    .examples = examples,
    .damaged = damaged,
    .limited = limited,
    .layouts = {{1, 0, 0, 1, 8}},
    .index_bits = {1, 2, 3, 4, 5, 6, 7, 8},
    .refusals =
        {
            {"gif cannot handle image channel width", [](Wanted& w) { w.color(1, 9); }},
            {"gif cannot handle image channel type", [](Wanted& w) { w.color(1, 32, ORB_C_FLOAT); }},
            {"gif cannot handle", [](Wanted& w) { w.color(3, 8); }},
            {"gif cannot handle", [](Wanted& w) { w.matte(1, 8); }},
            {"", [](Wanted& w) { w.window(0, 65535, 0, 2); }},
            {"lookup table", [](Wanted& w) { w.index(2, nullptr); }},
            {"gif cannot handle", [](Wanted& w) { w.index(9, nullptr); }},
            {"gif cannot handle the requested action",
             [](Wanted& w) { w.set(1, std::bit_cast<int32_t>(1.5F)); }},
            // Tables that would not come back: over 8 bits, half transparent, two bare.
            {"", [](Wanted& w) { index_by<0, 256, 65535>(w); }},
            {"", [](Wanted& w) { index_by<3, 32896, 65535>(w); }},
            {"", [](Wanted& w) { index_by<3, 0, 0>(w); }},
        },
    .known = known,
    .written = written};
ORB_TEST_CONFORMANCE(kGif);

TEST_F(GifTest, damage_of_one_frame_leaves_the_others_to_be_read) {
  GifFile file = kFile;
  file.frames[1].palette = std::string(6, '\1');  // of a frame that draws index 2
  const Image image = open_gif(file);
  ASSERT_TRUE(image);
  EXPECT_EQ(shown(image.get()), "abcd/dcba");
  EXPECT_EQ(ORB_set_frame(image.get(), 2, 0, 0), ORB_E_DECODE);
  EXPECT_EQ(shown(image.get()), "abcd/dcba");  // what was current is again
}

TEST_F(GifTest, frames_and_remarks_without_end_are_held_to_limits) {
  GifFile file = kFile;
  for (int i = 0; i < 500; ++i) file.extensions += std::string("\x21\xFF\x0BICCRGBG1012\x01x\0", 17);
  for (int i = 0; i < 500; ++i) file.extensions += comment(std::string(255, 'x'));
  EXPECT_LT(std::string(open_gif(file)->info.text3).size(), 65536U);
  EXPECT_LT(reports.reports.size(), 70U);
  const uint64_t before = ORB_limit(ORB_LIMIT_BUFFER, 4096);
  EXPECT_FALSE(open_gif({1, 1, std::vector<DrawnFrame>(200, {"b"})}));
  EXPECT_EQ(orb__err, ORB_E_MEMORY);
  ORB_limit(ORB_LIMIT_BUFFER, before);
}

}  // namespace
}  // namespace orb::testing
