// Files that are cut, damaged, foreign or meant to do harm.
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <unistd.h>

#include <filesystem>

#include "library.h"
#include "tests/support/fail_allocation.h"

namespace orb::testing {
namespace {

using ::testing::AnyOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;

// Opens and reads to the end; the code of the first failure, or 0.
int32_t read_whole(const std::string& name) {
  const Image image = open_read(name);
  if (!image) return orb__err;
  Planes planes;
  return read_all(*image, &planes) ? 0 : orb__err;
}

TEST_F(PngTest, no_cut_of_a_file_reads_as_a_whole_picture) {
  for (const bool is_interlaced : {false, true}) {
    const Bytes whole = encode(noise(9, 7, PNG_COLOR_TYPE_RGB, 8, is_interlaced));
    ASSERT_EQ(read_whole(file(whole)), 0);
    for (size_t kept = 0; kept < whole.size(); ++kept) {
      reports.clear();
      const std::string name = file(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(kept)));
      EXPECT_EQ(read_whole(name), kept < 8 ? ORB_E_FORMAT : ORB_E_READ) << kept;
      size_t errors = 0;
      for (const auto& report : reports.reports) errors += report.category == ERR_ERROR;
      EXPECT_EQ(errors, 1U) << kept << reports.texts();
      EXPECT_THAT(reports.texts(), HasSubstr(name));
    }
  }
}

TEST_F(PngTest, a_changed_byte_is_never_taken_for_the_picture_without_a_word) {
  const Stored stored = noise(9, 7, PNG_COLOR_TYPE_GRAY_ALPHA, 8);
  const Bytes whole = encode(stored);
  for (size_t at = 0; at < whole.size(); ++at) {
    reports.clear();
    Bytes damaged = whole;
    damaged[at] ^= 0x10;
    const std::string name = file(damaged);
    const int32_t code = read_whole(name);
    EXPECT_NE(code, 0) << at;
    EXPECT_THAT(code, AnyOf(ORB_E_FORMAT, ORB_E_DECODE, ORB_E_READ)) << at;
    EXPECT_THAT(reports.texts(), HasSubstr(name)) << at;
  }
}

TEST_F(PngTest, a_wrong_check_sum_in_the_picture_is_damage_and_in_a_text_a_warning) {
  Bytes bytes = encode(noise(9, 7, PNG_COLOR_TYPE_GRAY, 8));
  Bytes text = chunk("tEXt", std::string_view("Title\0x", 7));
  text.back() ^= 1;
  const std::string warned = file(insert_at(bytes, find_chunk(bytes, "IDAT"), text));
  EXPECT_EQ(read_whole(warned), 0);
  ASSERT_EQ(reports.reports.size(), 1U);
  EXPECT_EQ(reports.reports[0].category, ERR_WARNING);
  EXPECT_EQ(reports.texts(), warned + ": tEXt: CRC error");
  reports.clear();
  bytes[find_chunk(bytes, "IEND") - 1] ^= 1;
  const std::string damaged = file(bytes);
  EXPECT_EQ(read_whole(damaged), ORB_E_DECODE);
  EXPECT_THAT(reports.texts(), HasSubstr("IDAT: CRC error"));
}

TEST_F(PngTest, what_is_no_png_is_said_in_the_librarys_words) {
  const struct {
    Bytes bytes;
    const char* reason;
  } rows[] = {{{}, "the file is empty"},
              {{0x89, 'P', 'N'}, "the file is shorter than a PNG signature"},
              {{'G', 'I', 'F', '8', '9', 'a', 0, 0, 0}, "it begins with other bytes"},
              {{0x89, 'P', 'N', 'G', '\n', 0x1A, '\n', 0, 0}, "it begins with other bytes"}};
  for (const auto& row : rows) {
    reports.clear();
    const std::string name = file(row.bytes);
    EXPECT_FALSE(open_read(name));
    EXPECT_EQ(orb__err, ORB_E_FORMAT);
    EXPECT_EQ(reports.texts(), name + ": This does not appear to be a PNG file; " + row.reason);
  }
}

TEST_F(PngTest, what_cannot_be_opened_is_reported_with_its_name_and_the_systems_reason) {
  const struct {
    std::string name;
    const char* reason;
  } rows[] = {{path("absent.png"), "No such file or directory"},
              {path(""), "Is a directory"},
              {"/" + std::string(100000, 'x') + ".png", nullptr}};
  for (const auto& row : rows) {
    reports.clear();
    EXPECT_FALSE(open_read(row.name));
    EXPECT_EQ(orb__err, ORB_E_OPEN);
    ASSERT_EQ(reports.reports.size(), 1U) << reports.texts();
    EXPECT_TRUE(!row.reason || reports.texts() == "Cannot open file " + row.name + "; " + row.reason)
        << reports.texts();
  }
  if (geteuid() == 0) return;  // may read anything
  const std::string locked = file(encode(noise(2, 2, PNG_COLOR_TYPE_GRAY, 8)), "locked.png");
  std::filesystem::permissions(locked, std::filesystem::perms::none);
  reports.clear();
  EXPECT_FALSE(open_read(locked));
  EXPECT_THAT(reports.texts(), EndsWith("Permission denied"));
}

TEST_F(PngTest, a_file_that_cannot_be_read_is_reported_with_the_systems_reason) {
  EXPECT_FALSE(open_read("/proc/self/mem"));  // opens, but its first page is not there
  EXPECT_EQ(orb__err, ORB_E_READ);
  EXPECT_EQ(reports.texts(), "/proc/self/mem: Input/output error");
}

TEST_F(PngTest, a_huge_header_costs_nothing) {
  const struct {
    uint32_t width, height;
    uint8_t depth, color_type, interlace;
    int32_t code;
  } rows[] = {
      {0x80000000, 0x80000000, 8, 6, 0, ORB_E_DECODE}, {0x7FFFFFFF, 0x7FFFFFFF, 16, 6, 0, ORB_E_MEMORY},
      {0x7FFFFFFF, 0x7FFFFFFF, 1, 0, 0, ORB_E_MEMORY}, {0x7FFFFFFF, 1, 8, 3, 1, ORB_E_DECODE},  // no palette
      {60000, 60000, 8, 0, 1, ORB_E_MEMORY},           {0, 5, 8, 0, 0, ORB_E_DECODE}};
  for (const auto& row : rows) {
    reports.clear();
    EXPECT_FALSE(
        open_read(file(header_only(row.width, row.height, row.depth, row.color_type, row.interlace))));
    EXPECT_EQ(orb__err, row.code) << row.width << reports.texts();
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    EXPECT_LT(usage.ru_maxrss, 512 << 10) << "KiB";
  }
}

TEST_F(PngTest, limits_are_held_against_rows_and_the_whole_handle) {
  const std::string plain = file(encode(noise(1000, 4, PNG_COLOR_TYPE_RGB, 16)), "plain.png");
  const std::string interlaced = file(encode(noise(100, 100, PNG_COLOR_TYPE_RGB, 8, true)), "interlaced.png");
  const struct {
    const std::string& name;
    int which;
    uint64_t least;
  } rows[] = {{plain, ORB_LIMIT_BUFFER, 6000},
              {plain, ORB_LIMIT_HANDLE, 24000},
              {interlaced, ORB_LIMIT_HANDLE, 100 * 308 + 1200}};
  for (const auto& row : rows) {
    const uint64_t before = ORB_limit(row.which, row.least - 1);
    reports.clear();
    EXPECT_FALSE(open_read(row.name));
    EXPECT_EQ(orb__err, ORB_E_MEMORY);
    EXPECT_THAT(reports.reports.back().text, HasSubstr("over the limit"));
    ORB_limit(row.which, row.least);
    EXPECT_EQ(read_whole(row.name), 0) << reports.texts();
    ORB_limit(row.which, before);
  }
}

TEST_F(PngTest, texts_that_unpack_without_end_are_refused) {
  Bytes bytes = encode(noise(2, 2, PNG_COLOR_TYPE_GRAY, 8), [](png_structp png, png_infop info) {
    std::string bomb(7900000, 'x');
    char key[] = "Comment";
    png_text text = {};
    text.compression = PNG_TEXT_COMPRESSION_zTXt;
    text.key = key;
    text.text = bomb.data();
    for (int i = 0; i < 20; ++i) png_set_text(png, info, &text, 1);
  });
  ASSERT_LT(bytes.size(), 1U << 20);
  EXPECT_FALSE(open_read(file(bytes)));
  EXPECT_EQ(orb__err, ORB_E_MEMORY);
  EXPECT_EQ(reports.reports.size(), 1U);
  EXPECT_THAT(reports.texts(), EndsWith("the data beside the picture: over the limit of 64 MiB of memory"));
}

TEST_F(PngTest, a_flood_of_remarks_ends) {
  Bytes bytes = encode(noise(2, 2, PNG_COLOR_TYPE_GRAY, 8));
  Bytes flood;
  const Bytes one = chunk("abCd", "");
  for (int i = 0; i < 500; ++i) flood.insert(flood.end(), one.begin(), one.end());
  EXPECT_EQ(read_whole(file(insert_at(bytes, find_chunk(bytes, "IDAT"), flood))), 0);
  EXPECT_EQ(reports.reports.size(), 65U);
  EXPECT_THAT(reports.texts(), EndsWith("there is more of this; it is not listed"));
}

TEST_F(PngTest, an_unknown_chunk_that_the_picture_needs_is_an_error) {
  Bytes bytes = encode(noise(2, 2, PNG_COLOR_TYPE_GRAY, 8));
  EXPECT_FALSE(open_read(file(insert_at(bytes, find_chunk(bytes, "IDAT"), chunk("ABCD", "x")))));
  EXPECT_EQ(orb__err, ORB_E_DECODE);
  EXPECT_EQ(reports.reports.size(), 1U) << reports.texts();
}

TEST_F(PngTest, a_place_out_of_range_is_not_followed) {
  const Image image =
      open_read(file(encode(noise(2, 2, PNG_COLOR_TYPE_GRAY, 8), [](png_structp png, png_infop info) {
        png_set_oFFs(png, info, INT32_MAX, -INT32_MAX, PNG_OFFSET_PIXEL);
      })));
  ASSERT_TRUE(image);
  EXPECT_EQ(image->info.images[0].window.left, 0);
  EXPECT_EQ(image->info.images[0].window.top, 1);
  EXPECT_EQ(reports.reports.size(), 1U);
}

TEST_F(PngTest, a_failed_reader_stays_failed_and_says_it_once) {
  Bytes bytes = encode(noise(50, 50, PNG_COLOR_TYPE_GRAY, 8));
  bytes.resize(bytes.size() / 2);
  const Image image = open_read(file(bytes));
  ASSERT_TRUE(image);
  Planes planes;
  EXPECT_FALSE(read_all(*image, &planes));
  void** rows = nullptr;
  for (int32_t line = 49; line >= 0; --line) EXPECT_EQ(ORB_scan_read(image.get(), line, &rows), ORB_E_READ);
  EXPECT_EQ(reports.reports.size(), 1U);
}

TEST_F(PngTest, reading_survives_the_failure_of_any_allocation) {
  const auto with_text = [](png_structp png, png_infop info) {
    png_text text = {};
    char key[] = "Title";
    std::string value(3000, 'x');
    text.compression = PNG_TEXT_COMPRESSION_zTXt;
    text.key = key;
    text.text = value.data();
    png_set_text(png, info, &text, 1);
  };
  const std::string names[] = {
      file(encode(noise(9, 5, PNG_COLOR_TYPE_RGB, 16), with_text), "plain.png"),
      file(encode(noise(9, 5, PNG_COLOR_TYPE_PALETTE, 4, true), with_text), "held.png")};
  for (const std::string& name : names) {
    bool is_done = false;
    int nth = 1;
    for (; !is_done; ++nth) {
      ASSERT_LT(nth, 1000);
      reports.clear();
      int32_t code = 0;
      {
        const FailAllocation fail(nth);
        code = read_whole(name);
        is_done = !fail.happened();
      }
      if (is_done) {
        EXPECT_EQ(code, 0);
        continue;
      }
      EXPECT_EQ(code, ORB_E_MEMORY) << name << " at " << nth << ": " << reports.texts();
      EXPECT_FALSE(reports.reports.empty()) << nth;
      for (const auto& report : reports.reports) {
        EXPECT_TRUE(report.category <= ERR_INFORMATION || report.text == "No more internal memory")
            << report.text;
      }
      EXPECT_EQ(read_whole(name), 0) << "afterwards, at " << nth;
    }
    EXPECT_GT(nth, 25) << "the codec library's own allocations are among them";
  }
}

}  // namespace
}  // namespace orb::testing
