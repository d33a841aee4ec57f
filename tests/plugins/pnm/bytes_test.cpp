// Files written by hand against what is read, and what is written against files written by hand.
#include <gmock/gmock.h>

#include <thread>

#include <sys/stat.h>

#include "pnm_test.h"

namespace orb::testing {
namespace {

using ::testing::EndsWith;
using namespace std::string_literals;

class PnmTest : public FormatTest {
 protected:
  PnmTest() : FormatTest(kModules) {}
};

struct Case {
  std::string file;
  int colours, mattes, auxes, bits;
  Planes planes;
};

const Case kCases[] = {
    // Set bits are black: 0. The last row's fill bits are anything.
    {"P4 9 2\n\xA5\x80\x5A\x7F"s, 1, 0, 0, 1, {{0, 1, 0, 1, 1, 0, 1, 0, 0, 1, 0, 1, 0, 0, 1, 0, 1, 1}}},
    {"P1\n3 2 10 1\n0 #1\n1\t0", 1, 0, 0, 1, {{0, 1, 0, 1, 0, 1}}},
    {"P5\n2\n2\n255\n\n #~"s, 1, 0, 0, 8, {{'\n', ' ', '#', '~'}}},
    {"P5#a\n1 2#b\n7#c\n\1\7"s, 1, 0, 0, 3, {{1, 7}}},
    {"P5 2 1 65535\n\1\2\xFE\xFF"s, 1, 0, 0, 16, {{0x102, 0xFEFF}}},
    {"P5 2 1 511\n\0\2\1\xFF"s, 1, 0, 0, 9, {{2, 511}}},
    {"P2 2 2 1023 0 1 0001023\r\n7", 1, 0, 0, 10, {{0, 1, 1023, 7}}},
    {"P6 2 1 255\nabcdef", 3, 0, 0, 8, {{'a', 'd'}, {'b', 'e'}, {'c', 'f'}}},
    {"P3 1 2 15\n0 1 2\n13 14 15\n", 3, 0, 0, 4, {{0, 13}, {1, 14}, {2, 15}}},
    {"P7\nWIDTH 1\nHEIGHT 2\nDEPTH 1\nMAXVAL 1\nTUPLTYPE BLACKANDWHITE\nENDHDR\n\0\1"s, 1, 0, 0, 1, {{0, 1}}},
    {"P7\n#x\nMAXVAL 255\n\n DEPTH\t2 \nHEIGHT 1\nWIDTH 2\nTUPLTYPE GRAYSCALE_ALPHA\nENDHDR\nabcd",
     1,
     1,
     0,
     8,
     {{'a', 'c'}, {'b', 'd'}}},
    {"P7\nWIDTH 1\nHEIGHT 1\nDEPTH 4\nMAXVAL 65535\nTUPLTYPE RGB_ALPHA\nENDHDR\n\0\1\0\2\0\3\0\4"s,
     3,
     1,
     0,
     16,
     {{1}, {2}, {3}, {4}}},
    {"P7\nWIDTH 1\nHEIGHT 1\nDEPTH 4\nMAXVAL 255\nTUPLTYPE RGB\nENDHDR\nabcd",
     3,
     0,
     1,
     8,
     {{'a'}, {'b'}, {'c'}, {'d'}}},
    {"P7\nWIDTH 1\nHEIGHT 1\nDEPTH 2\nMAXVAL 255\nENDHDR\nab", 1, 0, 1, 8, {{'a'}, {'b'}}},
    {"P7\nWIDTH 1\nHEIGHT 1\nDEPTH 5\nMAXVAL 255\nTUPLTYPE some\nTUPLTYPE thing\nENDHDR\nabcde",
     3,
     0,
     2,
     8,
     {{'a'}, {'b'}, {'c'}, {'d'}, {'e'}}},
    // From the bottom up, as the rows are given.
    {"Pf\n1 2\n-1.0\n\0\0\x80\x3F\1\0\xC0\x7F"s, 1, 0, 0, 32, {{0x3F800000, 0x7FC00001}}},
    {"PF 1 1 1\n\x3F\x80\0\0\0\0\0\1\xFF\x80\0\0"s, 3, 0, 0, 32, {{0x3F800000}, {1}, {0xFF800000}}},
};

TEST_F(PnmTest, every_kind_is_read_as_the_samples_that_it_holds) {
  for (const Case& row : kCases) {
    SCOPED_TRACE(row.file);
    save("in", row.file);
    for (const char* key : {"pnm", "ppm"}) {  // any member reads any kind
      const Image image = open_read(key, "in");
      ASSERT_TRUE(image) << reports.texts();
      const ORB_IFD& ifd = image->info.images[0];
      EXPECT_EQ(ifd.color.count, row.colours);
      EXPECT_EQ(ifd.matte.count, row.mattes);
      EXPECT_EQ(ifd.aux.count, row.auxes);
      EXPECT_EQ(ifd.color.width, row.bits);
      EXPECT_EQ(read_all(*image), row.planes);
      EXPECT_EQ(reports.texts(), "");
    }
  }
}

TEST_F(PnmTest, files_are_written_byte_for_byte_as_others_expect_them) {
  const struct {
    const char* key;
    int colours, mattes, auxes, bits, width, height;
    Settings settings;
    Planes planes;
    std::string file;
  } rows[] = {
      {"pbm", 1, 0, 0, 1, 9, 1, {}, {{0, 1, 0, 1, 1, 0, 1, 0, 0}}, "P4\n9 1\n\xA5\x80"s},
      {"pbm", 1, 0, 0, 1, 2, 2, {{kEncoding, 1}}, {{0, 1, 1, 0}}, "P1\n2 2\n10\n01\n"},
      {"pgm", 1, 0, 0, 3, 2, 1, {}, {{1, 7}}, "P5\n2 1\n7\n\1\7"},
      {"pgm", 1, 0, 0, 12, 2, 1, {}, {{1, 4095}}, "P5\n2 1\n4095\n\0\1\x0F\xFF"s},
      {"ppm",
       3,
       0,
       0,
       16,
       1,
       2,
       {{kEncoding, 1}},
       {{1, 4}, {2, 5}, {3, 65535}},
       "P3\n1 2\n65535\n1 2 3\n4 5 65535\n"},
      {"ppm", 3, 0, 0, 8, 1, 1, {}, {{'a'}, {'b'}, {'c'}}, "P6\n1 1\n255\nabc"},
      {"pnm", 1, 0, 0, 1, 1, 1, {}, {{1}}, "P4\n1 1\n\0"s},
      {"pnm", 1, 0, 0, 1, 1, 1, {{kKind, 2}}, {{1}}, "P5\n1 1\n1\n\1"},
      {"pnm",
       1,
       0,
       0,
       1,
       1,
       1,
       {{kKind, 4}},
       {{1}},
       "P7\nWIDTH 1\nHEIGHT 1\nDEPTH 1\nMAXVAL 1\nTUPLTYPE BLACKANDWHITE\nENDHDR\n\1"},
      {"pam",
       3,
       1,
       0,
       8,
       1,
       1,
       {},
       {{'a'}, {'b'}, {'c'}, {'d'}},
       "P7\nWIDTH 1\nHEIGHT 1\nDEPTH 4\nMAXVAL 255\nTUPLTYPE RGB_ALPHA\nENDHDR\nabcd"},
      {"pam",
       0,
       1,
       2,
       8,
       1,
       1,
       {},
       {{'a'}, {'b'}, {'c'}},
       "P7\nWIDTH 1\nHEIGHT 1\nDEPTH 3\nMAXVAL 255\nTUPLTYPE COLOR_0_MATTE_1_AUX_2\nENDHDR\nabc"},
      {"pfm", 1, 0, 0, 32, 1, 2, {}, {{0x3F800000, 0x40000000}}, "Pf\n1 2\n-1.0\n\0\0\x80\x3F\0\0\0\x40"s},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.file);
    Wanted wanted(row.key, "out", row.width, row.height);
    wanted.color(row.colours, row.bits, row.bits == 32 ? ORB_C_FLOAT : ORB_C_INTEGER);
    wanted.matte(row.mattes, row.bits).aux(row.auxes, row.bits);
    wanted.settings = row.settings;
    EXPECT_EQ(write_all(wanted.open(), row.planes), 0) << reports.texts();
    EXPECT_EQ(load("out"), row.file);
  }
}

TEST_F(PnmTest, lines_of_text_end_within_70_characters) {
  for (const int bits : {1, 8, 16}) {
    Wanted wanted("pnm", "out", 211, 3);
    ASSERT_EQ(write_all(wanted.color(1, bits).set(kEncoding, 1).open(), noise(1, bits, 633)), 0);
    const std::string text = load("out");
    for (size_t at = 0, end = 0; at < text.size(); at = end + 1) {
      end = text.find('\n', at);
      ASSERT_NE(end, std::string::npos);
      EXPECT_LE(end - at, 70U);
    }
  }
}

TEST_F(PnmTest, raw_pictures_behind_the_first_are_further_images) {
  save("in", "P5 2 1 255\nabP6#no\n1 2 255\nabcdefPf 1 1 -1\n\0\0\0\x40"s);
  const Image image = open_read("pnm", "in");
  ASSERT_TRUE(image) << reports.texts();
  ASSERT_EQ(image->info.image_count, 3);
  EXPECT_EQ(read_all(*image, 2), (Planes{{0x40000000}}));
  EXPECT_EQ(read_all(*image, 0), (Planes{{'a', 'b'}}));
  EXPECT_EQ(read_all(*image, 1), (Planes{{'a', 'd'}, {'b', 'e'}, {'c', 'f'}}));
  EXPECT_EQ(reports.texts(), "");
}

TEST_F(PnmTest, what_stands_behind_the_pictures_is_said) {
  const struct {
    const char* file;
    const char* text;
  } rows[] = {{"P5 1 1 255\nx\n", "the 1 bytes behind the picture are not kept"},
              {"P2 1 1 255\n9\n P5", "what stands behind the picture is not kept"},
              {"P2 1 1 255\n9\n \n", nullptr}};
  for (const auto& row : rows) {
    save("in", row.file);
    reports.clear();
    EXPECT_EQ(read_whole("pnm", "in"), 0);
    EXPECT_EQ(reports.texts(), row.text ? "in: "s + row.text : "");
  }
}

TEST_F(PnmTest, a_stream_is_read_in_order_and_a_cut_one_fails_its_row) {
  const struct {
    std::string file;
    int32_t code;
    const char* reason;
  } rows[] = {{"P5 1 2 255\na", ORB_E_READ, "scanline 0: the file ends too early"},
              {"P5 1 1 255\naP5 1 1 255\nb", 0, "what stands behind the picture is not kept"}};
  ASSERT_EQ(mkfifo("stream", 0600), 0);
  for (const auto& row : rows) {
    reports.clear();
    std::thread feeder([&row] { save("stream", row.file); });
    EXPECT_EQ(read_whole("pnm", "stream"), row.code);
    feeder.join();
    EXPECT_THAT(reports.texts(), EndsWith(row.reason));
  }
}

TEST_F(PnmTest, comments_are_the_description_and_come_back) {
  save("in", "P5\n# first\n#second\n1 #  third\n1\n#\n255\nx");
  const Image image = open_read("pgm", "in");
  ASSERT_TRUE(image);
  const std::string text = "first\nsecond\n third\n";
  EXPECT_STREQ(image->info.text3, text.c_str());
  const struct {
    const char* key;
    std::string text;
    const char* kept;
  } rows[] = {{"pgm", text, text.c_str()},
              {"pam", "\n\nx", "\n\nx"},
              {"pgm", "a\rb", nullptr},  // a reader would end the comment there
              {"pgm", std::string(70000, 'x'), nullptr},
              {"pgm", std::string(30000, '\n'), nullptr},
              {"pgm", "unknown", nullptr},
              {"pgm", "", nullptr}};
  for (const auto& row : rows) {
    Wanted wanted(row.key, "out", 1, 1);
    wanted.color(1, 8);
    std::string lent = row.text;
    wanted.info.text3 = lent.data();
    Image writer = wanted.open();
    ASSERT_TRUE(writer);
    EXPECT_STREQ(writer->info.text3, row.kept);
    ASSERT_EQ(write_all(std::move(writer), {{7}}), 0);
    EXPECT_STREQ(open_read(row.key, "out")->info.text3, row.kept);
  }
}

TEST_F(PnmTest, files_are_told_by_their_first_bytes) {
  const struct {
    const char* file;
    const char* key;  // of the members that know it, but for pnm; null: none does
  } rows[] = {{"P1\n1", "pbm"},   {"P4#c", "pbm"},  {"P2 1", "pgm"},  {"P5\t1", "pgm"}, {"P3\n1", "ppm"},
              {"P6\n1", "ppm"},   {"P7\nW", "pam"}, {"Pf\n1", "pfm"}, {"PF\n1", "pfm"}, {"P7 332", nullptr},
              {"P8\n1", nullptr}, {"P5", nullptr},  {"Pfx", nullptr}, {"P55", nullptr}, {"", nullptr}};
  for (const auto& row : rows) {
    save("in", row.file);
    for (const char* key : {"pnm", "pbm", "pgm", "ppm", "pam", "pfm"}) {
      const bool is_its_own = row.key && (std::string(key) == "pnm" || std::string(key) == row.key);
      EXPECT_EQ(ORB_find(key)->is_file("in", nullptr) == 1, is_its_own) << row.file << " " << key;
    }
  }
}

}  // namespace
}  // namespace orb::testing
