// Files that are cut, damaged, foreign or meant to do harm.
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <array>
#include <cstring>
#include <functional>

#include "library.h"
#include "tests/support/fail_allocation.h"

namespace orb::testing {
namespace {

using ::testing::AnyOf;
using ::testing::HasSubstr;

size_t errors_of(const ReportRecorder& reports) {
  size_t errors = 0;
  for (const auto& report : reports.reports) errors += report.category == ERR_ERROR;
  return errors;
}

TEST_F(TiffTest, no_cut_of_a_file_reads_as_a_whole_one) {
  for (const uint16_t compression : {uint16_t{COMPRESSION_NONE}, uint16_t{COMPRESSION_LZW}}) {
    const Stored page = {.width = 9, .height = 7, .compression = compression, .decorate = [](TIFF* tiff) {
                           TIFFSetField(tiff, TIFFTAG_IMAGEDESCRIPTION, "some words");
                         }};
    save("whole.tif", {page, page});
    const Bytes whole = load_bytes("whole.tif");
    ASSERT_EQ(read_whole("whole.tif"), 0);
    for (size_t kept = 0; kept < whole.size(); ++kept) {
      reports.clear();
      save_bytes("cut.tif", Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(kept)));
      EXPECT_THAT(read_whole("cut.tif"), AnyOf(ORB_E_FORMAT, ORB_E_READ, ORB_E_DECODE)) << kept;
      EXPECT_EQ(errors_of(reports), 1U) << kept << reports.texts();
      EXPECT_THAT(reports.texts(), HasSubstr("cut.tif"));
    }
  }
}

// A little-endian file with one directory of entries (tag, type, count, value), at offset 8; next: the offset
// of the one behind it.
Bytes directory(const std::vector<std::array<uint32_t, 4>>& entries, uint32_t next) {
  Bytes file = {'I', 'I', 42, 0, 8, 0, 0, 0};
  const auto add = [&file](uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) file.push_back(static_cast<uint8_t>(value >> 8 * i));
  };
  add(static_cast<uint32_t>(entries.size()), 2);
  for (const auto& [tag, type, count, value] : entries) {
    add(tag, 2);
    add(type, 2);
    add(count, 4);
    add(value, 4);
  }
  add(next, 4);
  file.resize(file.size() + 256);
  return file;
}

TEST_F(TiffTest, claims_cost_nothing_and_loops_end) {
  constexpr uint32_t kHuge = 0x7FFFFFFF;
  const auto strip = [](uint32_t width, uint32_t height, uint32_t compression, uint32_t next) {
    return directory({{256, 4, 1, width},
                      {257, 4, 1, height},
                      {258, 3, 1, 8},
                      {259, 3, 1, compression},
                      {262, 3, 1, 1},
                      {273, 4, 1, 8},
                      {277, 3, 1, 1},
                      {278, 4, 1, height},
                      {279, 4, 1, 200}},
                     next);
  };
  const auto tiled = [](uint32_t side) {
    return directory({{256, 4, 1, 10},
                      {257, 4, 1, 10},
                      {258, 3, 1, 8},
                      {259, 3, 1, 5},
                      {262, 3, 1, 1},
                      {277, 3, 1, 1},
                      {322, 4, 1, side},
                      {323, 4, 1, side},
                      {324, 4, 1, 8},
                      {325, 4, 1, 200}},
                     0);
  };
  const struct {
    const char* what;
    Bytes file;
  } rows[] = {{"a wide strip", strip(kHuge, kHuge, 1, 0)},
              {"a wide packed strip", strip(kHuge, kHuge, 5, 0)},
              {"a high strip", strip(1, kHuge, 1, 0)},
              {"more rows than a window has", strip(1, 0xFFFFFFFF, 1, 0)},
              {"no size", strip(0, 0, 1, 0)},
              {"tiles of 2^31", tiled(0x80000000)},
              {"tiles of 60000", tiled(60000)},
              {"a directory behind itself", strip(4, 4, 1, 8)},
              {"a directory behind the end", strip(4, 4, 1, 60000)},
              {"no directory", {'I', 'I', 42, 0, 0, 0, 0, 0}},
              {"a million entries", {'M', 'M', 0, 42, 0, 0, 0, 8, 0xFF, 0xFF}}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    reports.clear();
    save_bytes("in.tif", row.file);
    const Image image = open_read("in.tif");
    if (image) {
      EXPECT_FALSE(read_line(*image, 0, 0));
    }
    EXPECT_NE(orb__err, 0);
    EXPECT_EQ(errors_of(reports), 1U) << reports.texts();
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    EXPECT_LT(usage.ru_maxrss, 512 << 10) << "KiB";
  }
}

TEST_F(TiffTest, a_damaged_strip_leaves_the_others_readable) {
  save("in.tif", {{.compression = COMPRESSION_LZW}});
  uint64_t end = 0;
  inspect("in.tif",
          [&end](TIFF* tiff) { end = TIFFGetStrileOffset(tiff, 2) + TIFFGetStrileByteCount(tiff, 2); });
  Bytes bytes = load_bytes("in.tif");
  for (size_t i = 0; i < 20; ++i) bytes[end - 30 + i] = 0xFF;
  save_bytes("in.tif", bytes);
  const Image image = open_read("in.tif");
  ASSERT_TRUE(image);
  for (int32_t line = 20; line >= 0; --line) {
    const bool is_bad = !read_line(*image, 0, line);
    const int32_t strip = (20 - line) / 4;
    if (strip != 2) {
      EXPECT_FALSE(is_bad) << line;
    }
    if (line == 12 || line == 9) {
      EXPECT_EQ(is_bad, line == 9) << "its first row is before the damage, its last behind it";
    }
  }
  EXPECT_THAT(reports.texts(), HasSubstr("in.tif: scanline "));
}

TEST_F(TiffTest, limits_are_held_against_bands_and_pages) {
  save("in.tif", {{.width = 1000, .height = 1000, .compression = COMPRESSION_LZW, .tile = 512}, {}, {}});
  const struct {
    int32_t which;
    uint64_t least;
  } rows[] = {{ORB_LIMIT_BUFFER, 2 * 512 * 512 + 8},
              {ORB_LIMIT_HANDLE, 2 * 512 * 512 + 8 + 8000},
              {ORB_LIMIT_IMAGES, 3}};
  for (const auto& row : rows) {
    const uint64_t before = ORB_limit(row.which, row.least - 1);
    reports.clear();
    EXPECT_FALSE(open_read("in.tif"));
    EXPECT_EQ(orb__err, ORB_E_MEMORY);
    EXPECT_THAT(reports.texts(), HasSubstr("over the limit"));
    ORB_limit(row.which, row.least);
    EXPECT_EQ(read_whole("in.tif"), 0) << reports.texts();
    ORB_limit(row.which, before);
  }
}

TEST_F(TiffTest, what_is_no_tiff_or_cannot_be_positioned_is_refused_with_the_reason) {
  save_bytes("empty.tif", {});
  save_bytes("short.tif", {'I', 'I', 42});
  save_bytes("other.tif", {'G', 'I', 'F', '8', '9', 'a'});
  ASSERT_EQ(mkdir("folder.tif", 0700), 0);
  const struct {
    const char* name;
    int32_t code;
    const char* reason;
  } rows[] = {{"empty.tif", ORB_E_FORMAT, "the file is empty"},
              {"short.tif", ORB_E_FORMAT, "the file is shorter than a TIFF header"},
              {"other.tif", ORB_E_FORMAT, "it begins with other bytes"},
              {"folder.tif", ORB_E_OPEN, "Is a directory"},
              {"absent", ORB_E_OPEN, "No such file or directory"}};
  for (const auto& row : rows) {
    reports.clear();
    EXPECT_FALSE(open_read(row.name));
    EXPECT_EQ(orb__err, row.code) << row.name;
    EXPECT_THAT(reports.texts(), HasSubstr(row.reason));
    EXPECT_EQ(ORB_find("tiff")->is_file(row.name, nullptr), 0) << row.name;
  }
  save("is.tif", {{}});
  EXPECT_EQ(ORB_find("tiff")->is_file("is.tif", nullptr), 1);
}

TEST_F(TiffTest, both_ways_survive_the_failure_of_any_allocation) {
  const auto palette = [](TIFF* tiff) {
    std::vector<uint16_t> map(256);
    TIFFSetField(tiff, TIFFTAG_COLORMAP, map.data(), map.data(), map.data());
    TIFFSetField(tiff, TIFFTAG_IMAGEDESCRIPTION, "words");
  };
  save("in.tif", {{.photometric = PHOTOMETRIC_PALETTE, .decorate = palette}, {}});
  const std::function<int32_t()> steps[] = {[] { return read_whole("in.tif"); },
                                            [] {
                                              Wanted wanted("out.tif", 2);
                                              wanted.ifds[1].matte.count = 1;
                                              return wanted.write();
                                            }};
  for (const auto& step : steps) {
    bool is_done = false;
    int nth = 1;
    for (; !is_done; ++nth) {
      ASSERT_LT(nth, 500);
      reports.clear();
      int32_t code = 0;
      {
        const FailAllocation fail(nth);
        code = step();
        is_done = !fail.happened();
      }
      if (is_done) {
        EXPECT_EQ(code, 0);
        continue;
      }
      // A text that cannot be copied on its way into a write open is left out, and the open goes on.
      EXPECT_THAT(code, AnyOf(ORB_E_MEMORY, 0)) << nth << reports.texts();
      EXPECT_FALSE(reports.reports.empty()) << nth;
    }
    EXPECT_GT(nth, 8);
  }
}

}  // namespace
}  // namespace orb::testing
