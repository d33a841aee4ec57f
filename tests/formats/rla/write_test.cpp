#include <cmath>
#include <cstring>
#include <filesystem>
#include <functional>

#include "tests/core/picture.h"
#include "tests/formats/rla/rla_test.h"
#include "tests/support/environment.h"

namespace orb::testing {
namespace {

// Everything in a header set by somebody, the texts longer than their fields.
struct Wanted {
  explicit Wanted(const Picture& picture) : info(picture.info()) {
    const struct {
      char* ORB_INFO::*text;
      size_t bytes;
    } fields[] = {{&ORB_INFO::text1, 127}, {&ORB_INFO::text3, 127}, {&ORB_INFO::text4, 63},
                  {&ORB_INFO::text5, 31},  {&ORB_INFO::text6, 31},  {&ORB_INFO::text7, 19},
                  {&ORB_INFO::text8, 11},  {&ORB_INFO::text9, 31}};
    for (const auto& field : fields) info.*field.text = too_long.data() + too_long.size() - field.bytes - 2;
    info.job_number = -70000;
    info.frame_number = 40000;
    info.field_value = 3;
    info.frame_rate = 25;
    info.words[1] = 5;
    info.chromaticity[0] = 0.123449F;
    info.chromaticity[10] = -100.5F;
  }
  static inline std::string too_long = std::string(200, 'x');
  ORB_INFO info;
};

// The same header by hand.
RlaFile wanted_header() {
  return RlaFile()
      .int16(16, 32767)
      .int16(140, -2)
      .int16(142, -70000 & 0xFFFF)
      .int16(612, 3)
      .text(28, " 2.2000")
      .text(44, " 0.1234  0.3300")
      .text(68, " 0.2100  0.7100")
      .text(92, " 0.1400  0.0800")
      .text(116, " 0.3100 -100.5000")
      .text(144, std::string(127, 'x'))
      .text(272, std::string(127, 'x'))
      .text(400, std::string(63, 'x'))
      .text(464, std::string(31, 'x'))
      .text(496, std::string(31, 'x'))
      .text(528, std::string(19, 'x'))
      .text(548, "unknown")
      .text(572, "0.667")
      .text(580, "unknown")
      .text(614, "00:00:00")
      .text(626, std::string(31, 'x'))
      .text(668, "unknown");
}

TEST_F(Rla, writes_header_table_and_blocks_to_the_byte) {
  Picture picture("exact.rla");
  picture.window({0, 8, 0, 2}).active({1, 7, 1, 1}).group(&ORB_IFD::color, 1, ORB_C_INTEGER, 8);
  picture.group(&ORB_IFD::matte, 1, ORB_C_INTEGER, 12).group(&ORB_IFD::aux, 1, ORB_C_FLOAT, 8);
  picture.ifds[0].pixel_aspect = 2.0F / 3;
  Wanted wanted(picture);
  Image image(ORB_open(&wanted.info, "w"));
  ASSERT_TRUE(image);
  Bytes expected =
      wanted_header().window(9, 3).active(1, 7, 1, 1).color(1, 0, 8).matte(1, 0, 12).aux(1, 4, 32).bytes();
  expected.resize(744);
  Bytes at_open = with_bytes(expected, 614, Bytes(11, 'x'));
  std::fill(at_open.begin() + 740, at_open.end(), uint8_t{0});
  EXPECT_EQ(get_file("exact.rla"), at_open) << "header and empty table are there at once";
  uint8_t color[] = {9, 5, 5, 5, 4, 4, 7, 8, 9};
  uint16_t matte[] = {0, 0x102, 0x102, 0x102, 0x102, 0x103, 0x203, 0x203, 0};
  float aux[] = {9, 1, 2, 3, 4, 5, 6, 7, 9};
  char room[2 * sizeof matte];
  void* rows[] = {color, std::memcpy(room + 1, matte, sizeof matte), aux};  // which may lie at any address
  for (int32_t line = 0; line < 3; ++line) ASSERT_EQ(ORB_scan_write(image.get(), line, rows), 0);
  ASSERT_EQ(ORB_close(image.release()), 0);
  for (const uint8_t byte : Bytes{0, 7, 2, 5, 0xFC, 4, 4, 7, 8,           // colour
                                  0, 9, 4, 1, 0xFE, 2, 2, 3, 2, 2, 3}) {  // matte, two planes
    expected.push_back(byte);
  }
  const auto* floats = reinterpret_cast<const uint8_t*>(aux + 1);
  expected.insert(expected.end(), {0, 28});
  expected.insert(expected.end(), floats, floats + 28);
  EXPECT_EQ(get_file("exact.rla"), expected);
}

TEST_F(Rla, what_it_wrote_reads_the_same_whatever_the_samples_and_windows) {
  std::vector<Picture> pictures = every_kind_of_picture("kinds.rla");
  // Rows of more bytes than are taken on trust; the last image's header ends the file.
  pictures.push_back(Picture("kinds.rla").window({0, 14999, 0, 2}).images(3));
  for (const Picture& picture : pictures) {
    const ORB_IFD& ifd = picture.ifds[0];
    const bool has_odd_width = ifd.color.width == 0 && ifd.color.count > 0;
    const bool is_storable = ifd.window.left >= 0;
    const bool has_indices = ifd.color.count == 0 && ifd.index.count > 0;
    const int32_t wanted = has_indices ? -16 : !is_storable ? -20 : has_odd_width ? -16 : 0;
    ReportRecorder recorder;
    ASSERT_EQ(write_whole(picture), wanted) << recorder.texts();
    EXPECT_EQ(recorder.reports.size(), wanted == 0 ? 0U : 1U);
    EXPECT_EQ(exists("kinds.rla"), wanted == 0) << "refused before a file is made";
    if (wanted != 0) continue;
    Picture stored = picture;
    for (ORB_IFD& image : stored.ifds) {
      image.orientation = ORB_BOTTOM_UP;
      image.index = {nullptr, 0, ORB_C_INTEGER, 8};
      for (auto group : {&ORB_IFD::color, &ORB_IFD::matte, &ORB_IFD::aux}) {
        if ((image.*group).type == ORB_C_FLOAT) (image.*group).width = 32;
      }
    }
    EXPECT_EQ(compare_whole(stored), "");
    std::remove("kinds.rla");
  }
}

TEST_F(Rla, the_description_after_the_open_is_the_one_that_a_reader_finds) {
  Picture picture("told.rla");
  picture.images(2).ifds[0].curve = {ORB_CURVE_GAMMA, 1.23456F, 0, 1, 256, ORB_C_FLOAT, 12, nullptr};
  picture.ifds[0].pixel_aspect = 1.23456F;
  picture.ifds[0].orientation = 0;
  picture.ifds[0].image_kind = 9;
  const struct {
    uint64_t assumed;
    int32_t frame, stored;
  } rows[] = {{0, 40000, 32767},
              {ORB_ASSUMED_GAMMA | ORB_ASSUMED_PRIMARIES, 32767, 32767},
              {0, -1, -1},
              {0, -5, 0},
              {0, -2147483647, 0}};
  for (const auto& [assumed, frame, stored] : rows) {
    Wanted wanted(picture);
    wanted.info.word_e = assumed;
    wanted.info.frame_number = frame;
    char date[] = "{1700000000}";
    wanted.info.text7 = date;
    Image writer(ORB_open(&wanted.info, "w"));
    ASSERT_TRUE(writer);
    EXPECT_EQ(writer->info.word_e & assumed, assumed);
    EXPECT_EQ(writer->info.frame_number, stored);
    const std::string told = described(writer->info);
    for (size_t k = 0; k < 2; ++k) {
      for (int32_t line = 0; line <= picture.ifds[k].window.top; ++line)
        ASSERT_EQ(write_line(writer.get(), picture, line, static_cast<int32_t>(k)), 0);
    }
    writer.reset();
    const Image reader = open_file("told.rla");
    ASSERT_TRUE(reader);
    EXPECT_EQ(told, described(reader->info));
  }
}

TEST_F(Rla, refuses_what_no_reader_would_take_before_it_makes_a_file) {
  const auto set_right = [](ORB_IFD& i, int32_t right) { i.window.right = i.active_window.right = right; };
  const struct {
    const char* what;
    std::function<void(ORB_IFD&)> change;
    int32_t code;
  } rows[] = {{"a window of 16 bits", [](ORB_IFD& i) { i.window.right = 32768; }, -20},
              {"columns whose low 16 bits are 0",
               [](ORB_IFD& i) { i.window.left = i.active_window.left = -65536; }, -20},
              {"rows whose low 16 bits are 0",
               [](ORB_IFD& i) { i.window.bottom = i.active_window.bottom = INT32_MIN; }, -20},
              {"a reversed window", [](ORB_IFD& i) { i.window.left = 7; }, -20},
              {"an active window outside", [](ORB_IFD& i) { i.active_window.top = 5; }, -20},
              {"4 colours", [](ORB_IFD& i) { i.color.count = 4; }, -20},
              {"65536 mattes", [](ORB_IFD& i) { i.matte.count = 65536; }, -20},
              {"no gamma", [](ORB_IFD& i) { i.curve.gamma = NAN; }, -20},
              {"16384 floats", [&](ORB_IFD& i) { i.color.type = ORB_C_FLOAT, set_right(i, 16383); }, -20},
              {"8192 doubles", [&](ORB_IFD& i) { i.color.type = ORB_C_DOUBLE, set_right(i, 8191); }, -20},
              {"33 bits", [](ORB_IFD& i) { i.color.width = 33; }, -16},
              {"an unknown type", [](ORB_IFD& i) { i.matte.count = 1, i.matte.type = 9; }, -16},
              {"16383 floats", [&](ORB_IFD& i) { i.color.type = ORB_C_FLOAT, set_right(i, 16382); }, 0},
              {"nothing of an unknown type", [](ORB_IFD& i) { i.matte.type = 0, i.matte.width = 99; }, 0}};
  for (const auto& row : rows) {
    ReportRecorder recorder;
    Picture picture("refused.rla");
    row.change(picture.ifds[0]);
    ORB_INFO info = picture.info();
    const Image image(ORB_open(&info, "w"));
    EXPECT_EQ(orb__err, row.code) << row.what << recorder.texts();
    EXPECT_EQ(recorder.reports.size(), row.code == 0 ? 0U : 1U) << row.what;
    EXPECT_EQ(exists("refused.rla"), row.code == 0) << row.what;
    std::remove("refused.rla");
  }
}

TEST_F(Rla, rows_come_in_sequence_from_the_bottom) {
  ReportRecorder recorder;
  const Picture picture = Picture("order.rla").window({0, 3, 2, 4}).active({0, 3, 3, 4});
  ORB_INFO info = picture.info();
  Image image(ORB_open(&info, "w"));
  ASSERT_TRUE(image);
  const struct {
    int32_t line, code;
  } rows[] = {{3, -2}, {1, -2}, {2, 0}, {2, -2}, {4, -2}, {3, 0}, {4, 0}, {4, -2}, {5, -2}};
  for (const auto& row : rows) EXPECT_EQ(write_line(image.get(), picture, row.line), row.code) << row.line;
  EXPECT_EQ(ORB_close(image.release()), 0);
  EXPECT_EQ(compare_whole(Picture(picture).group(&ORB_IFD::index, 0, ORB_C_INTEGER, 8)), "");
}

TEST_F(Rla, images_whose_rows_come_in_turns_are_chained_behind_the_rows) {
  Picture picture("turns.rla");
  picture.window({0, 9, 0, 9}).images(3).group(&ORB_IFD::index, 0, ORB_C_INTEGER, 8);
  ORB_INFO info = picture.info();
  Image image(ORB_open(&info, "w"));
  ASSERT_TRUE(image);
  for (int32_t line = 0; line < 10; ++line) {
    for (int32_t k = 2; k >= 0; --k) {
      if (line > picture.ifds[static_cast<size_t>(k)].window.top) continue;
      ASSERT_EQ(write_line(image.get(), picture, line, k), 0);
    }
  }
  ASSERT_EQ(ORB_close(image.release()), 0);
  EXPECT_EQ(compare_whole(picture), "");
  const Bytes file = get_file("turns.rla");
  const size_t second = file.size() - 740 - 4 * 8 - 740 - 4 * 9;
  EXPECT_EQ(Bytes(file.begin() + 736, file.begin() + 740), word(static_cast<uint32_t>(second)));
  EXPECT_EQ(Bytes(file.end() - 4 * 8 - 4, file.end() - 4 * 8), word(0)) << "the last has no next";
}

TEST_F(Rla, a_row_whose_block_is_too_long_fails_and_the_rest_is_closed_whole) {
  const Picture picture =
      Picture("long.rla").window({0, 32767, 0, 1}).group(&ORB_IFD::color, 1, ORB_C_INTEGER, 16);
  ORB_INFO info = picture.info();
  Image image(ORB_open(&info, "w"));
  ASSERT_TRUE(image);
  std::vector<uint16_t> row(32768, 7);
  void* rows[] = {row.data()};
  ASSERT_EQ(ORB_scan_write(image.get(), 0, rows), 0);
  for (size_t i = 0; i < row.size(); ++i) row[i] = static_cast<uint16_t>(i * 40503);
  ReportRecorder recorder;
  EXPECT_EQ(ORB_scan_write(image.get(), 1, rows), -20);
  EXPECT_EQ(recorder.reports.size(), 1U);
  EXPECT_EQ(ORB_close(image.release()), -20);
  EXPECT_EQ(orb__err, -20);
  EXPECT_EQ(recorder.reports.size(), 1U) << recorder.texts();
  const Image reader = open_file("long.rla");
  ASSERT_TRUE(reader);
  void** found = nullptr;
  ASSERT_EQ(ORB_scan_read(reader.get(), 0, &found), 0);
  EXPECT_EQ(static_cast<uint16_t*>(found[0])[32767], 7);
  EXPECT_EQ(ORB_scan_read(reader.get(), 1, &found), -7);
}

TEST_F(Rla, writes_into_the_image_folder) {
  std::filesystem::create_directory("pictures");
  const Environment environment("QV_IMG_DIR", "pictures");
  const Picture picture = Picture("folder", "rla").group(&ORB_IFD::index, 0, ORB_C_INTEGER, 8);
  ASSERT_EQ(write_whole(picture), 0);
  EXPECT_TRUE(exists("pictures/folder.rla"));
  EXPECT_EQ(compare_whole(picture), "") << "and finds it there";
}

}  // namespace
}  // namespace orb::testing
