#include <algorithm>
#include <array>
#include <ctime>
#include <filesystem>
#include <utility>

#include "orbbase/core/internal.h"
#include "orbbase/formats/rla.h"
#include "orbbase/formats/rla/number_text.h"
#include "tests/core/picture.h"
#include "tests/formats/rla/rla_test.h"
#include "tests/support/environment.h"

namespace orb::testing {
namespace {

// Whether all rows of an image, from the top down, are those of a RlaFile with these planes a sample.
void expect_rows(ORB_IMAGE& image, const std::vector<int>& planes, bool is_integer) {
  const ORB_IFD& ifd = image.info.images[0];
  const ORB_WINDOW& active = ifd.active_window;
  for (int32_t line = ifd.window.top; line >= ifd.window.bottom; --line) {
    void** rows = nullptr;
    ASSERT_EQ(ORB_scan_read(&image, line, &rows), 0) << line;
    for (size_t channel = 0; channel < planes.size(); ++channel) {
      const int bytes = planes[channel];
      auto* at = static_cast<uint8_t*>(rows[channel]);
      for (int column = 0; column <= ifd.window.right; ++column, at += bytes) {
        const bool is_active =
            line >= active.bottom && line <= active.top && column >= active.left && column <= active.right;
        for (int byte = 0; byte < bytes; ++byte) {
          const int wanted = is_active ? RlaFile::ramp(0, static_cast<int>(channel), line, column, byte) : 0;
          ASSERT_EQ(at[is_integer ? bytes - 1 - byte : byte], wanted)
              << line << ' ' << channel << ' ' << column;
        }
        std::fill_n(at, bytes, uint8_t{0xEE});  // as an operator may; the next read must not show it
      }
    }
  }
}

TEST_F(Rla, reads_every_type_and_width_in_every_group_and_window) {
  struct Group {
    int count, type, bits, planes;
  };
  std::vector<std::array<Group, 3>> small = {
      {{{1, 0, 12, 2}, {1, 0, 0, 1}, {2, 0, -1, 1}}},  // below 1: of one byte
      {{{0, 0, 99, 1}, {0, 0, 8, 1}, {0, 0, 8, 1}}}};
  constexpr Group kKinds[] = {{2, 0, 1, 1},  {2, 0, 8, 1},  {2, 0, 9, 2}, {2, 0, 16, 2}, {2, 0, 17, 4},
                              {2, 0, 32, 4}, {2, 4, 32, 4}, {2, 4, 0, 4}, {2, 5, 64, 8}, {2, 5, 8, 8}};
  for (const Group& kind : kKinds) {
    const Group single = {1, kind.type, kind.bits, kind.planes};
    small.push_back({kind, single, single});
  }
  const struct {
    int width, height;
    std::vector<std::array<int, 4>> active;
    std::vector<std::array<Group, 3>> groups;
  } sizes[] = {
      {7, 5, {{0, 6, 0, 4}, {2, 4, 1, 3}, {0, 0, 0, 0}, {6, 6, 4, 4}, {1, 6, 0, 1}}, small},
      // Long lines of floats alone come from the file straight into their rows.
      {600,
       4,
       {{0, 599, 0, 3}, {1, 599, 0, 2}, {0, 597, 1, 3}, {7, 590, 0, 3}},
       {{{{3, 4, 32, 4}, {1, 5, 64, 8}, {19, 4, 32, 4}}}}},
      // Rows of the same length that hardly compress are decoded together, as far as they lie in memory.
      {2000,
       100,
       {{0, 1999, 0, 99}, {5, 1999, 1, 99}, {0, 1990, 0, 98}},
       {{{{3, 0, 8, 1}, {1, 0, 8, 1}, {4, 0, 8, 1}}}}},
  };
  for (const auto& size : sizes) {
    for (const auto& [left, right, bottom, top] : size.active) {
      for (const auto& [color, matte, aux] : size.groups) {
        RlaFile file;
        file.window(size.width, size.height).active(left, right, bottom, top);
        file.color(color.count, color.type, color.bits).matte(matte.count, matte.type, matte.bits);
        const Image image = open_bytes(file.aux(aux.count, aux.type, aux.bits).bytes());
        SCOPED_TRACE(std::to_string(color.type) + ' ' + std::to_string(color.bits) + " from " +
                     std::to_string(left));
        ASSERT_TRUE(image);
        std::vector<int> planes;
        for (const Group& group : {color, matte, aux}) planes.insert(planes.end(), group.count, group.planes);
        expect_rows(*image, planes, color.type == 0);
      }
    }
  }
}

TEST_F(Rla, reads_the_images_of_a_file_in_turns) {
  const Image image = open_bytes(RlaFile().window(5, 4).next().window(9, 2).next().window(2, 7).bytes());
  ASSERT_TRUE(image);
  ASSERT_EQ(image->info.image_count, 3);
  EXPECT_EQ(image->info.images[0].image_kind, 1);
  EXPECT_EQ(image->info.images[2].image_kind, 2);
  for (int32_t line = 0; line < 7; ++line) {
    for (size_t k = 0; k < 3; ++k) {
      void** rows = nullptr;
      const bool has_line = line <= image->info.images[k].window.top;
      ASSERT_EQ(read_row_of(*image, k, line, &rows), has_line ? 0 : -2);
      if (has_line) {
        EXPECT_EQ(static_cast<uint8_t*>(rows[2])[1], RlaFile::ramp(k, 2, line, 1, 0));
      }
    }
  }
}

TEST_F(Rla, reads_large_files_in_any_order_of_rows) {
  const auto expect_line = [](ORB_IMAGE* image, int32_t line) {
    void** rows = nullptr;
    ASSERT_EQ(ORB_scan_read(image, line, &rows), 0) << line;
    const int32_t right = image->info.images[0].window.right;
    for (const int x : {0, right / 2, right}) {
      const int wanted = RlaFile::ramp(0, 2, line, x, 1) | RlaFile::ramp(0, 2, line, x, 0) << 8;
      ASSERT_EQ(static_cast<uint16_t*>(rows[2])[x], wanted) << line;
    }
  };
  // Some megabytes, so that rows lie across the pieces that are read at a time.
  const Image large = open_bytes(RlaFile().window(1500, 300).color(3, 0, 16).bytes());
  for (int32_t i = 0; i < 900; ++i) {
    expect_line(large.get(), i < 300 ? i : i < 600 ? 599 - i : (i * 7919) % 300);
  }
  // A first step far into the file, and one back from there.
  const Image high = open_bytes(RlaFile().window(100, 2000).color(3, 0, 16).bytes());
  for (const int32_t line : {1800, 1799, 1800, 7}) expect_line(high.get(), line);
}

RlaFile with_texts() {
  return RlaFile()
      .int16(16, -1)
      .int16(142, 77)
      .int16(612, 2)
      .text(44, " 0.6400  0.3300")
      .text(68, ".3 nonsense")
      .text(116, "nan 0.4")
      .text(144, std::string(128, 'n'))
      .text(272, "words")
      .text(400, "program")
      .text(464, std::string(32, 'h'))
      .text(496, "user")
      .text(528, "{86400 and so on")
      .text(548, "ntsc_640")
      .text(580, "rgb")
      .text(614, "01:02:03")
      .text(626, "box")
      .text(668, "depth");
}

TEST_F(Rla, fills_the_description_from_the_header) {
  const Image image = open_bytes(with_texts().bytes());
  ASSERT_TRUE(image);
  std::tm local = {};
  ASSERT_TRUE(platform::local_time(86400, &local));
  char date[256];
  std::strftime(date, sizeof date, "%c", &local);
  // A text field may be full; a number that does not read keeps its default; 8 is ORB_ASSUMED_FRAME_RATE.
  EXPECT_EQ(described(image->info),
            '"' + std::string(128, 'n') + "\" \"words\" \"program\" \"" + std::string(32, 'h') +
                "\" \"user\" \"" + date +
                "\" \"01:02:03\" \"box\" \"run length encoded\" 77 -1 2 1 0 0 0 8 0 29.97 " +
                "0.64 0.33 0.03 0.3 0.71 -0.00999999 0.14 0.08 0.78 0.31 0.316 0.374\n" +
                "\"ntsc_640\" 1 640 486 1.33 1 1 curve 1 2.2 8 0 3 0 2 0 3 0 2 " +
                "3 \"rgb\" 1 8 0 -  0 \"depth\"  0 - ");
}

TEST_F(Rla, an_older_file_is_8_bits_and_has_a_field_only_by_its_name) {
  const Bytes file = with_texts().color(2, 4, 32).older().bytes();
  put_file("old.rlb", file);
  put_file("old.bin", file);
  const struct {
    const char* name;
    const char* key;
    int32_t field;
  } rows[] = {{"old.rlb", nullptr, 2}, {"old.bin", "rlb", 2}, {"old.bin", "rla", 0}};
  for (const auto& row : rows) {
    const Image image = open_file(row.name, row.key);
    ASSERT_TRUE(image) << row.name;
    EXPECT_EQ(image->info.field_value, row.field) << row.name << ' ' << row.key;
    EXPECT_STREQ(image->info.text8, "unknown");
    EXPECT_STREQ(image->info.text9, "unknown");
    EXPECT_EQ(image->info.images[0].aux.name, nullptr);
    EXPECT_EQ(image->info.images[0].color.type, uint32_t{ORB_C_INTEGER});
    expect_rows(*image, {1, 1}, true);
  }
}

TEST_F(Rla, pairs_of_numbers_are_read_as_far_as_they_go) {
  const struct {
    const char* text;
    int count;
    float first, second;
  } rows[] = {{"0.67 0.33", 2, 0.67F, 0.33F},
              {"\t+1.5\r\v2", 2, 1.5F, 2},
              {"12345678.5 1", 2, 12345678.5F, 1},
              {"1.123456789 2", 2, 1.123456789F, 2},
              {"12 45678.5 7", 2, 12, 45678.5F},
              {"0.5e1 2", 2, 5, 2},
              {"-1.5 -2", 2, -1.5F, -2},
              {"1. .5", 2, 1, 0.5F},
              {"1.25", 1, 1.25F, 0},
              {"1.5x 2", 1, 1.5F, 0},
              {"7", 1, 7, 0},
              {"1/2", 1, 1, 0},
              {"1.5 +", 1, 1.5F, 0},
              {"+-1.5", 0, 0, 0},
              {"+", 0, 0, 0},
              {"1e39 1", 0, 0, 0},
              {"\x0e 1", 0, 0, 0},
              {"\x08 1", 0, 0, 0},
              {"", 0, 0, 0},
              {" ", 0, 0, 0}};
  for (const auto& row : rows) {
    float first = 0;
    float second = 0;
    EXPECT_EQ(orb::rla::read_pair(row.text, &first, &second), row.count) << row.text;
    EXPECT_EQ(first, row.first) << row.text;
    EXPECT_EQ(second, row.second) << row.text;
  }
}

TEST_F(Rla, gamma_aspect_and_date_texts_read_by_their_rules) {
  constexpr float kRefused = -1;
  const struct {
    size_t offset, bytes;
    const char* text;
    float value;
  } rows[] = {{28, 16, "  2.2000", 2.2F},
              {28, 16, "", 0},
              {28, 16, "                ", 0},
              {28, 16, "               1", 1},
              {28, 16, "2.2 ", kRefused},
              {28, 16, "abc", kRefused},
              {28, 16, "1e2", 100},
              {28, 16, "0x10", kRefused},
              {28, 16, "1234567890123456", 1234567890123456.0F},
              {572, 8, "0.900", 0.9F},
              {572, 8, "0.000", 4.0F / 3},
              {572, 8, "-1", 4.0F / 3},
              {572, 8, "x", 4.0F / 3},
              {572, 8, "12345678", 12345678}};
  for (const auto& row : rows) {
    RlaFile file;
    const Image image =
        open_bytes(file.text(row.offset, std::string(row.bytes, '\0')).text(row.offset, row.text).bytes());
    ASSERT_EQ(image ? 0 : orb__err, row.value == kRefused ? -8 : 0) << row.text;
    if (!image) continue;
    const ORB_IFD& ifd = image->info.images[0];
    EXPECT_FLOAT_EQ(row.offset == 28 ? ifd.curve.gamma : ifd.pixel_aspect, row.value) << row.text;
    EXPECT_EQ((image->info.word_e & ORB_ASSUMED_GAMMA) != 0, row.value == 0) << row.text;
  }
  for (const char* date : {"{", "{x}", "{-5}", "{999999999999999999", "today", "{9223372036854775808"}) {
    const Image image = open_bytes(RlaFile().text(528, date).bytes());
    ASSERT_TRUE(image) << date;
    EXPECT_STREQ(image->info.text7, date);
  }
}

TEST_F(Rla, finds_files_by_extension_and_image_folder) {
  put_file("plain.rla", RlaFile().bytes());
  const Environment environment("QV_IMG_DIR", "no/such/folder");
  const ReportRecorder recorder;
  const Image found(Picture("plain", "rla").open("r"));
  ASSERT_TRUE(found);
  EXPECT_STREQ(found->info.handle, "plain.rla");
  EXPECT_EQ(Picture("other", "rla").open("r"), nullptr);
  EXPECT_EQ(orb__err, -5);
  EXPECT_EQ(recorder.texts(), "Cannot open file no/such/folder/other.rla; No such file or directory");
}

TEST_F(Rla, finds_textures_through_a_chain_of_variables) {
  std::filesystem::create_directory("textures");
  put_file("textures/in.rla", RlaFile().next().bytes());
  put_file("here.rla", RlaFile().bytes());
  const std::string here = std::filesystem::absolute("here.rla").string();
  const struct {
    const char* folder;
    const char* link;
    const char* name;
    const char* path;  // null: not found
  } rows[] = {{"textures", "", "in.rla", "textures/in.rla"},
              {"ORB_TEST_LINK", "textures", "in.rla", "textures/in.rla"},
              {"ORB_TEST_LINK", "ORB_TEST_LINK", "here.rla", "here.rla"},
              {"textures", "", "here.rla", "here.rla"},
              {"textures", "", here.c_str(), here.c_str()},
              {"textures", "", "in", nullptr},
              {"nowhere", "", "in.rla", nullptr}};
  constexpr std::pair<ORB_OPEN_FN, int32_t> kKinds[] = {
      {ORB_rla_texture_4_r_open, 4}, {ORB_rla_texture_8_r_open, 8}, {ORB_rla_texture_16_r_open, 16}};
  const auto open_texture = [](ORB_OPEN_FN open, const char* name) -> Image {
    ImageOwner handle = new_handle(ORB_MODE_READ);
    EXPECT_TRUE(replace_text(&handle->info.handle, name));
    return Image(open(handle.get()) ? handle.release() : nullptr);
  };
  const ReportRecorder recorder;
  for (const auto& row : rows) {
    for (const auto& [open, kind] : kKinds) {
      Environment environment("QV_TEX_DIR", row.folder);
      environment.set("ORB_TEST_LINK", row.link);
      const Image image = open_texture(open, row.name);
      ASSERT_EQ(image ? 0 : orb__err, row.path ? 0 : -5) << row.name << ' ' << row.folder;
      if (!image) continue;
      EXPECT_STREQ(image->info.handle, row.path);
      for (int32_t k = 0; k < image->info.image_count; ++k) EXPECT_EQ(image->info.images[k].image_kind, kind);
    }
  }
  put_file("text.rla", {1, 2, 3});
  EXPECT_FALSE(open_texture(ORB_rla_texture_4_r_open, "text.rla"));
  EXPECT_EQ(orb__err, -8);
  for (const ORB_OPEN_FN open :
       {ORB_rla_texture_4_w_open, ORB_rla_texture_8_w_open, ORB_rla_texture_16_w_open}) {
    for (const char* name : {"gone.rla", "here.rla"}) {  // the latter without images
      EXPECT_FALSE(open_texture(open, name));
      EXPECT_EQ(orb__err, -5) << name;
    }
  }
}

}  // namespace
}  // namespace orb::testing
