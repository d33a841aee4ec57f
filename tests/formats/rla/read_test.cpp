#include <cstring>
#include <filesystem>

#include "orbbase/core/internal.h"
#include "orbbase/formats/rla.h"
#include "orbbase/formats/rla/number_text.h"
#include "tests/formats/rla/rla_test.h"
#include "tests/support/environment.h"

namespace orb::testing {
namespace {

// "" when all rows of an image, from the top down, are those of a RlaFile with these planes a sample.
std::string compare_rows(ORB_IMAGE& image, size_t index, const std::vector<int>& planes, bool is_integer) {
  const ORB_IFD& ifd = image.info.images[index];
  const ORB_WINDOW& active = ifd.active_window;
  for (int32_t line = ifd.window.top; line >= ifd.window.bottom; --line) {
    void** rows = nullptr;
    if (read_row_of(image, index, line, &rows) != 0) return "cannot read line " + std::to_string(line);
    for (size_t channel = 0; channel < planes.size(); ++channel) {
      const int bytes = planes[channel];
      for (int column = 0; column <= ifd.window.right; ++column) {
        const bool is_active =
            line >= active.bottom && line <= active.top && column >= active.left && column <= active.right;
        for (int byte = 0; byte < bytes; ++byte) {
          uint8_t& found =
              static_cast<uint8_t*>(rows[channel])[column * bytes + (is_integer ? bytes - 1 - byte : byte)];
          const int wanted =
              is_active ? RlaFile::ramp(index, static_cast<int>(channel), line, column, byte) : 0;
          if (found != wanted) {
            return "line " + std::to_string(line) + " channel " + std::to_string(channel) + " column " +
                   std::to_string(column) + ": " + std::to_string(found) + " for " + std::to_string(wanted);
          }
          found = 0xEE;  // as an operator may; the next read must not show it
        }
      }
    }
  }
  return "";
}

TEST_F(Rla, reads_every_type_and_width_in_every_group_and_window) {
  const struct {
    int type, bits, planes;
  } kinds[] = {{0, 1, 1},  {0, 8, 1},  {0, 9, 2}, {0, 16, 2}, {0, 17, 4},
               {0, 32, 4}, {4, 32, 4}, {4, 0, 4}, {5, 64, 8}, {5, 8, 8}};
  const int windows[][4] = {{0, 6, 0, 4}, {2, 4, 1, 3}, {0, 0, 0, 0}, {6, 6, 4, 4}, {1, 6, 0, 1}};
  for (const auto& kind : kinds) {
    for (const auto& w : windows) {
      RlaFile file;
      file.window(7, 5).active(w[0], w[1], w[2], w[3]).color(2, kind.type, kind.bits);
      file.matte(1, kind.type, kind.bits).aux(1, kind.type, kind.bits);
      const Image image = open_bytes(file.bytes());
      ASSERT_TRUE(image) << kind.type << ' ' << kind.bits;
      EXPECT_EQ(compare_rows(*image, 0, std::vector<int>(4, kind.planes), kind.type == 0), "")
          << kind.type << ' ' << kind.bits << " active " << w[0] << ' ' << w[1] << ' ' << w[2] << ' ' << w[3];
    }
  }
  // Groups of different widths in one row; matte and auxiliary widths below 1 are of one byte.
  const Image image = open_bytes(RlaFile().color(1, 0, 12).matte(1, 0, 0).aux(2, 0, -1).bytes());
  ASSERT_TRUE(image);
  EXPECT_EQ(compare_rows(*image, 0, {2, 1, 1, 1}, true), "");
}

// Long lines of floats alone come from the file straight into their rows.
TEST_F(Rla, reads_long_lines_of_floats_in_every_window) {
  const int windows[][4] = {{0, 599, 0, 3}, {1, 599, 0, 2}, {0, 597, 1, 3}, {7, 590, 0, 3}};
  for (const auto& w : windows) {
    RlaFile file;
    file.window(600, 4).active(w[0], w[1], w[2], w[3]).color(3, 4, 32).matte(1, 5, 64).aux(19, 4, 32);
    const Image image = open_bytes(file.bytes());
    ASSERT_TRUE(image);
    std::vector<int> planes(23, 4);
    planes[3] = 8;
    EXPECT_EQ(compare_rows(*image, 0, planes, false), "") << w[0] << ' ' << w[1];
  }
}

// Rows of the same length that hardly compress are decoded together, as far as they lie in memory.
TEST_F(Rla, reads_wide_rows_of_bytes_in_every_window) {
  const int windows[][4] = {{0, 1999, 0, 99}, {5, 1999, 1, 99}, {0, 1990, 0, 98}};
  for (const auto& w : windows) {
    RlaFile file;
    file.window(2000, 100).active(w[0], w[1], w[2], w[3]).color(3, 0, 8).matte(1, 0, 8).aux(4, 0, 8);
    const Image image = open_bytes(file.bytes());
    ASSERT_TRUE(image);
    EXPECT_EQ(compare_rows(*image, 0, std::vector<int>(8, 1), true), "") << w[0] << ' ' << w[1];
  }
}

TEST_F(Rla, a_file_without_channels_has_empty_rows) {
  const Image image = open_bytes(RlaFile().color(0, 3, 99).bytes());
  ASSERT_TRUE(image);
  void** rows = nullptr;
  EXPECT_EQ(ORB_scan_read(image.get(), 2, &rows), 0);
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
  // Some megabytes, so that rows lie across the pieces that are read at a time.
  const Image image = open_bytes(RlaFile().window(1500, 300).color(3, 0, 16).bytes());
  ASSERT_TRUE(image);
  const std::vector<int> planes(3, 2);
  for (int32_t i = 0; i < 900; ++i) {
    const int32_t line = i < 300 ? i : i < 600 ? 599 - i : (i * 7919) % 300;
    void** rows = nullptr;
    ASSERT_EQ(ORB_scan_read(image.get(), line, &rows), 0) << i;
    const auto* row = static_cast<uint8_t*>(rows[2]);
    for (const int x : {0, 777, 1499}) {
      ASSERT_EQ(row[2 * x], RlaFile::ramp(0, 2, line, x, 1)) << i;
      ASSERT_EQ(row[2 * x + 1], RlaFile::ramp(0, 2, line, x, 0)) << i;
    }
  }
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
  const ORB_INFO& info = image->info;
  EXPECT_EQ(info.frame_number, -1);
  EXPECT_EQ(info.job_number, 77);
  EXPECT_EQ(info.field_value, 2);
  EXPECT_FLOAT_EQ(info.chromaticity[0], 0.64F);
  EXPECT_EQ(info.chromaticity[2], 1 - 0.64F - 0.33F);
  EXPECT_FLOAT_EQ(info.chromaticity[3], 0.3F);
  EXPECT_FLOAT_EQ(info.chromaticity[4], 0.71F) << "what does not read keeps its default";
  EXPECT_FLOAT_EQ(info.chromaticity[9], 0.31F);
  EXPECT_EQ(info.word_e, uint64_t{ORB_ASSUMED_FRAME_RATE});
  EXPECT_EQ(std::string(info.text1), std::string(128, 'n')) << "a field may be full";
  EXPECT_EQ(std::string(info.text5), std::string(32, 'h'));
  std::tm local = {};
  const std::time_t day = 86400;
  ASSERT_TRUE(platform::local_time(day, &local));
  char date[256];
  std::strftime(date, sizeof date, "%c", &local);
  const struct {
    const char* found;
    const char* wanted;
  } texts[] = {{info.text3, "words"},
               {info.text4, "program"},
               {info.text6, "user"},
               {info.text7, date},
               {info.text8, "01:02:03"},
               {info.text9, "box"},
               {info.text10, "run length encoded"}};
  for (const auto& row : texts) EXPECT_STREQ(row.found, row.wanted);
  const ORB_IFD& ifd = info.images[0];
  EXPECT_STREQ(ifd.name, "ntsc_640");
  EXPECT_STREQ(ifd.color.name, "rgb");
  EXPECT_STREQ(ifd.aux.name, "depth");
  EXPECT_EQ(ifd.matte.name, nullptr);
  EXPECT_EQ(ifd.pair_a[0], 640);
  EXPECT_EQ(ifd.pair_a[1], 486);
  EXPECT_FLOAT_EQ(ifd.pixel_aspect, 1.33F);
  EXPECT_EQ(ifd.curve.kind, ORB_CURVE_GAMMA);
  EXPECT_EQ(ifd.curve.depth, 8);
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
    EXPECT_EQ(compare_rows(*image, 0, {1, 1}, true), "");
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
              {"1.25", 1, 1.25F, 0},
              {"1. .5", 2, 1, 0.5F},
              {"1.5x 2", 1, 1.5F, 0},
              {"7", 1, 7, 0},
              {"12 45678.5 7", 2, 12, 45678.5F},
              {"0.5e1 2", 2, 5, 2},
              {"-1.5 -2", 2, -1.5F, -2},
              {"1/2", 1, 1, 0},
              {"+-1.5", 0, 0, 0},
              {"+", 0, 0, 0},
              {"1e39 1", 0, 0, 0},
              {"\x0e 1", 0, 0, 0},
              {"\x08 1", 0, 0, 0},
              {"", 0, 0, 0},
              {" ", 0, 0, 0},
              {"1.5 +", 1, 1.5F, 0}};
  for (const auto& row : rows) {
    float first = 0;
    float second = 0;
    EXPECT_EQ(orb::rla::read_pair(row.text, &first, &second), row.count) << row.text;
    EXPECT_EQ(first, row.first) << row.text;
    EXPECT_EQ(second, row.second) << row.text;
  }
}

TEST_F(Rla, gamma_aspect_and_date_texts_read_by_their_rules) {
  const struct {
    const char* gamma;
    float value;
    bool is_assumed;
    int32_t code;
  } gammas[] = {{"  2.2000", 2.2F, false, 0},
                {"", 0, true, 0},
                {"                ", 0, true, 0},
                {"               1", 1, false, 0},
                {"2.2 ", 0, false, -8},
                {"abc", 0, false, -8},
                {"1e2", 100, false, 0},
                {"0x10", 0, false, -8},
                {"1234567890123456", 1234567890123456.0F, false, 0}};
  for (const auto& row : gammas) {
    const Image image = open_bytes(RlaFile().text(28, std::string(16, '\0')).text(28, row.gamma).bytes());
    ASSERT_EQ(image ? 0 : orb__err, row.code) << row.gamma;
    if (!image) continue;
    EXPECT_FLOAT_EQ(image->info.images[0].curve.gamma, row.value) << row.gamma;
    EXPECT_EQ((image->info.word_e & ORB_ASSUMED_GAMMA) != 0, row.is_assumed) << row.gamma;
  }
  const struct {
    const char* ratio;
    float value;
  } ratios[] = {
      {"0.900", 0.9F}, {"0.000", 4.0F / 3}, {"-1", 4.0F / 3}, {"x", 4.0F / 3}, {"12345678", 12345678}};
  for (const auto& row : ratios) {
    const Image image = open_bytes(RlaFile().text(572, std::string(8, '\0')).text(572, row.ratio).bytes());
    ASSERT_TRUE(image) << row.ratio;
    EXPECT_FLOAT_EQ(image->info.images[0].pixel_aspect, row.value) << row.ratio;
  }
  for (const char* date : {"{", "{x}", "{-5}", "{999999999999999999", "today", "{9223372036854775808"}) {
    const Image image = open_bytes(RlaFile().text(528, date).bytes());
    ASSERT_TRUE(image) << date;
    EXPECT_STREQ(image->info.text7, date);
  }
}

TEST_F(Rla, finds_files_by_extension_and_image_folder) {
  put_file("plain.rla", RlaFile().bytes());
  Environment environment("QV_IMG_DIR", "no/such/folder");
  ReportRecorder recorder;
  ORB_INFO info;
  ORB_info_init(&info);
  char key[] = "rla";
  char name[] = "plain";
  info.key = key;
  info.handle = name;
  const Image found(ORB_open(&info, "r"));
  ASSERT_TRUE(found);
  EXPECT_STREQ(found->info.handle, "plain.rla");
  char other[] = "other";
  info.handle = other;
  EXPECT_EQ(ORB_open(&info, "r"), nullptr);
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
  const struct {
    ORB_OPEN_FN open;
    int32_t kind;
  } kinds[] = {{ORB_rla_texture_4_r_open, 4}, {ORB_rla_texture_8_r_open, 8}, {ORB_rla_texture_16_r_open, 16}};
  for (const auto& row : rows) {
    for (const auto& kind : kinds) {
      ReportRecorder recorder;
      Environment environment("QV_TEX_DIR", row.folder);
      environment.set("ORB_TEST_LINK", row.link);
      ImageOwner handle = new_handle(ORB_MODE_READ);
      ASSERT_TRUE(replace_text(&handle->info.handle, row.name));
      ASSERT_EQ(kind.open(handle.get()), row.path ? 1 : 0) << row.name << ' ' << row.folder;
      if (!row.path) {
        EXPECT_EQ(orb__err, -5);
        continue;
      }
      const Image image(handle.release());
      EXPECT_STREQ(image->info.handle, row.path);
      for (int32_t k = 0; k < image->info.image_count; ++k)
        EXPECT_EQ(image->info.images[k].image_kind, kind.kind);
    }
  }
  put_file("text.rla", {1, 2, 3});
  const struct {
    ORB_OPEN_FN open;
    const char* name;
    int32_t code;
  } failures[] = {{ORB_rla_texture_4_r_open, "text.rla", -8},
                  {ORB_rla_texture_4_w_open, "gone.rla", -5},
                  {ORB_rla_texture_8_w_open, "gone.rla", -5},
                  {ORB_rla_texture_16_w_open, "gone.rla", -5},
                  {ORB_rla_texture_16_w_open, "here.rla", -5}};  // without images
  for (const auto& failure : failures) {
    ReportRecorder recorder;
    ImageOwner handle = new_handle(ORB_MODE_READ);
    ASSERT_TRUE(replace_text(&handle->info.handle, failure.name));
    EXPECT_EQ(failure.open(handle.get()), 0) << failure.name;
    EXPECT_EQ(orb__err, failure.code) << failure.name;
  }
}

}  // namespace
}  // namespace orb::testing
