// Files that are cut, damaged, foreign or meant to do harm, and streams that cannot be wound back.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <thread>

#include "orbbase/driver.h"
#include "pnm_test.h"
#include "tests/support/fail_allocation.h"

namespace orb::testing {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using namespace std::string_literals;

const std::string kWhole[] = {
    "P4 9 2\n\xA5\x80\x5A\0"s,
    "P1 3 2\n010\n10"s,
    "P5 # x\n2 2 65535\nabcdefgh"s,
    "P2 3 2 15 0 1 2 13 14 "s,
    "P6 1 2 255\nabcdef"s,
    "P3 1 2 9\n"s,
    "Pf 1 2 1.0\nabcdefgh"s,
    "P7\nWIDTH 1\nHEIGHT 2\nDEPTH 2\nMAXVAL 255\nTUPLTYPE GRAYSCALE_ALPHA\nENDHDR\nabcd"s};

TEST_F(PnmTest, no_cut_of_a_file_reads_as_a_whole_picture) {
  for (const std::string& whole : kWhole) {
    for (size_t kept = 0; kept < whole.size(); ++kept) {
      reports.clear();
      save("in", whole.substr(0, kept));
      const int32_t code = read_whole("pnm", "in");
      const bool is_shorter_text = whole[1] == '2' && kept == whole.size();
      EXPECT_TRUE(code == ORB_E_FORMAT || code == ORB_E_READ || is_shorter_text || code == ORB_E_HANDLE)
          << whole << " " << kept << " " << code;
      EXPECT_EQ(reports.reports.size(), 1U) << reports.texts();
      EXPECT_THAT(reports.texts(), HasSubstr("in: "));
    }
  }
}

TEST_F(PnmTest, headers_that_make_no_sense_are_refused_in_words) {
  const struct {
    std::string file;
    int32_t code;
    const char* reason;
  } rows[] = {
      {"", ORB_E_FORMAT, "the file is empty"},
      {"P", ORB_E_FORMAT, "the file is shorter than a header"},
      {"GIF89a", ORB_E_FORMAT, "it begins with other bytes"},
      {"P7 332\n", ORB_E_FORMAT, "it begins with other bytes"},
      {"P5 0 1 255\nx", ORB_E_FORMAT, "its width is 0, and may be 1 to 2147483647"},
      {"P5 1 -1 255\nx", ORB_E_FORMAT, "its height is -1, and may be 1 to 2147483647"},
      {"P5 1 2147483648 255\nx", ORB_E_FORMAT, "its height is 2147483648, and may be 1 to 2147483647"},
      {"P5 1x 1 255\nx", ORB_E_FORMAT, "its width is not a number"},
      {"P5 "s + std::string(10000, '9') + " 1 255\nx", ORB_E_FORMAT,
       "a number in its header has too many digits"},
      {"P5 1 1 65536\nxx", ORB_E_FORMAT, "its maximum sample is 65536, and may be 1 to 65535"},
      {"P5 1 1 0\nxx", ORB_E_FORMAT, "its maximum sample is 0, and may be 1 to 65535"},
      {"P5 1 1 200\nx", ORB_E_HANDLE,
       "its maximum sample is 200, which is not that of a width in bits (1, 3, 7 ... 65535)"},
      {"P5 #" + std::string(70000, 'x'), ORB_E_FORMAT, "its header does not end"},
      {"P5 " + std::string(70000, ' '), ORB_E_FORMAT, "its header does not end"},
      {"P5 2 2 255\nabc", ORB_E_READ, "the file ends too early: 3 bytes are there for 2 rows of 2"},
      {"P6 2147483647 2147483647 65535\nabc", ORB_E_READ,
       "the file ends too early: 3 bytes are there for 2147483647 rows of 12884901882"},
      {"P3 2147483647 2147483647 65535\nabc", ORB_E_READ,
       "the file ends too early: 3 bytes are there for 2147483647 rows of 12884901881"},
      {"P7\nWIDTH 2147483647\nHEIGHT 2147483647\nDEPTH 2147483647\nMAXVAL 65535\nENDHDR\nx", ORB_E_READ,
       "the file ends too early: 1 bytes are there for 2147483647 rows of 9223372028264841218"},
      {"P7\nWIDTH 1\nHEIGHT 1\nDEPTH 1\nENDHDR\nx", ORB_E_FORMAT,
       "its header lacks a size or the maximum sample"},
      {"P7\nWIDTH 1\nWIDTH 1\n", ORB_E_FORMAT, "its header says something twice"},
      {"P7\nWITH 1\n", ORB_E_FORMAT, "its header has a line with an unknown word"},
      {"P7\n" + std::string(300, 'x') + "\n", ORB_E_FORMAT, "a line of its header is too long"},
      {"P7\nWIDTH 1\nHEIGHT 1\nDEPTH 3\nMAXVAL 255\nTUPLTYPE RGB_ALPHA\nENDHDR\nabc", ORB_E_FORMAT,
       "it has fewer planes than its tuple type needs"},
      {"Pf 1 1 0\nabcd", ORB_E_FORMAT, "its scale is not a number other than 0"},
      {"Pf 1 1 nan\nabcd", ORB_E_FORMAT, "its scale is not a number other than 0"},
      {"Pf 1 1 -2.5\nabcd", ORB_E_HANDLE,
       "its scale is -2.5, and only 1 and -1 leave the samples as they are stored"},
      {"P5 1 1 255\nxP5 1 1 ", ORB_E_READ, "the file ends too early"},
      {"P5 1 1 255\nxP5 1 9 255\nx", ORB_E_READ,
       "the file ends too early: 1 bytes are there for 9 rows of 1"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.reason);
    reports.clear();
    save("in", row.file);
    EXPECT_FALSE(open_read("pnm", "in"));
    EXPECT_EQ(orb__err, row.code);
    EXPECT_EQ(
        reports.texts(),
        (row.code == ORB_E_FORMAT ? "in: This does not appear to be a PNM file; "s : "in: "s) + row.reason);
  }
}

TEST_F(PnmTest, samples_that_are_no_samples_fail_their_row) {
  const struct {
    const char* file;
    const char* reason;
  } rows[] = {{"P2 1 2 255\n1 256", "scanline 0: a sample is above the file's maximum"},
              {"P2 1 2 255\n1 99999999999", "scanline 0: a sample is above the file's maximum"},
              {"P2 1 2 255\n1 00000000000000000000001", "scanline 0: something else than a number"},
              {"P2 1 2 255\n1 x", "scanline 0: something else than a number"},
              {"P2 1 2 255\n1 2x", "scanline 0: something else than a number"},
              {"P1 1 2\n1 2", "scanline 0: something else than a number"},
              {"P5 1 2 15\n\1\x10", "scanline 0: a sample is above the file's maximum"},
              {"P5 1 2 1023\n\1\1\4\1", "scanline 0: a sample is above the file's maximum"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.file);
    reports.clear();
    save("in", row.file);
    EXPECT_EQ(read_whole("pnm", "in"), ORB_E_DECODE);
    EXPECT_EQ(reports.texts(), "in: "s + row.reason);
  }
}

TEST_F(PnmTest, limits_are_held_before_memory_is_taken) {
  const std::string planes =
      "P7\nWIDTH 1\nHEIGHT 1\nDEPTH 70000\nMAXVAL 255\nENDHDR\n" + std::string(70000, 'x');
  const struct {
    std::string file;
    int which;
    uint64_t least;
  } rows[] = {{"P6 1000 1 65535\n" + std::string(6000, 'x'), ORB_LIMIT_BUFFER, 6000},
              {"P6 1000 1 65535\n" + std::string(6000, 'x'), ORB_LIMIT_HANDLE, 12000},
              {planes, ORB_LIMIT_CHANNELS, 70000}};
  for (const auto& row : rows) {
    save("in", row.file);
    const uint64_t before = ORB_limit(row.which, row.least - 1);
    reports.clear();
    EXPECT_FALSE(open_read("pnm", "in"));
    EXPECT_EQ(orb__err, ORB_E_MEMORY);
    EXPECT_THAT(reports.texts(), HasSubstr("over the limit"));
    ORB_limit(row.which, row.least);
    EXPECT_EQ(read_whole("pnm", "in"), 0) << reports.texts();
    ORB_limit(row.which, before);
  }
}

TEST_F(PnmTest, a_stream_is_read_in_order_and_a_cut_one_fails_its_row) {
  const struct {
    std::string file;
    int32_t code;
    const char* reason;
  } rows[] = {{"P5 1 2 255\nab", 0, ""},
              {"P5 1 2 255\na", ORB_E_READ, "scanline 0: the file ends too early"},
              {"P5 1 1 255\naP5 1 1 255\nb", 0, "what stands behind the picture is not kept"}};
  ASSERT_EQ(mkfifo("pipe", 0600), 0);
  for (const auto& row : rows) {
    reports.clear();
    std::thread feeder([&row] { save("pipe", row.file); });
    EXPECT_EQ(read_whole("pnm", "pipe"), row.code);
    feeder.join();
    EXPECT_THAT(reports.texts(), EndsWith(row.reason));
  }
}

TEST_F(PnmTest, any_failure_of_an_allocation_is_survived) {
  save("in", "P7\nWIDTH 1\nHEIGHT 1\nDEPTH 2\nMAXVAL 255\nENDHDR\nabP5#c\n1 1 255\nx");
  int nth = 1;
  for (bool is_done = false; !is_done; ++nth) {
    const FailAllocation fail(nth);
    const int32_t code = read_whole("pnm", "in");
    is_done = !fail.happened();
    EXPECT_EQ(code, is_done ? 0 : ORB_E_MEMORY) << nth << reports.texts();
  }
  EXPECT_GT(nth, 8);
  for (bool is_done = false; !is_done; ++nth) {
    const FailAllocation fail(nth);
    Wanted wanted("pgm", "out", 1, 1);
    const Image image = wanted.group(&ORB_IFD::color, 1, 8).open();
    is_done = !fail.happened();
    EXPECT_TRUE(image || orb__err == ORB_E_MEMORY) << nth;
  }
}

}  // namespace
}  // namespace orb::testing
