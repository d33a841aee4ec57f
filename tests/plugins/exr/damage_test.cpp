// Files that are cut, damaged, foreign or meant to do harm.
#include <gmock/gmock.h>
#include <sys/resource.h>

#include "exr_test.h"
#include "tests/support/fail_allocation.h"

namespace orb::testing {
namespace {

using ::testing::AnyOf;
using ::testing::HasSubstr;

size_t errors_of(const ReportRecorder& reports) {
  size_t errors = 0;
  for (const auto& report : reports.reports) errors += report.category == ERR_ERROR ? 1 : 0;
  return errors;
}

const Stored kSmall = {
    .display = {{0, 0}, {8, 6}}, .data = {{0, 0}, {8, 6}}, .channels = {{"R"}, {"G"}, {"B"}}};

TEST_F(ExrTest, no_cut_of_a_file_reads_as_a_whole_one) {
  for (const int tile : {0, 6}) {
    Stored part = kSmall;
    part.tile = tile;
    save_exr("whole.exr", {part});
    const std::string whole = load("whole.exr");
    ASSERT_EQ(read_whole("exr", "whole.exr"), 0);
    for (size_t kept = 0; kept < whole.size(); ++kept) {
      reports.clear();
      save("cut.exr", whole.substr(0, kept));
      EXPECT_THAT(read_whole("exr", "cut.exr"), AnyOf(ORB_E_FORMAT, ORB_E_READ, ORB_E_DECODE)) << kept;
      EXPECT_EQ(errors_of(reports), 1U) << kept << reports.texts();
      EXPECT_THAT(reports.texts(), HasSubstr("cut.exr")) << kept;
    }
  }
}

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

TEST_F(ExrTest, claims_cost_nothing) {
  constexpr int32_t kHuge = 0x3FFFFFFF;
  save_exr("lines.exr", {kSmall});
  Stored tiled = kSmall;
  tiled.tile = 6;
  save_exr("tiles.exr", {tiled});
  const std::string lines = load("lines.exr");
  const std::string tiles = load("tiles.exr");
  const struct {
    const char* what;
    std::string file;
  } rows[] = {
      {"wide", with_value(lines, "dataWindow", "box2i", box({0, 0, kHuge, 6}))},
      {"high", with_value(lines, "dataWindow", "box2i", box({0, 0, 8, kHuge}))},
      {"both", with_value(lines, "dataWindow", "box2i", box({-kHuge, -kHuge, kHuge, kHuge}))},
      {"inside out", with_value(lines, "dataWindow", "box2i", box({8, 6, 0, 0}))},
      {"the widest display", with_value(lines, "displayWindow", "box2i", box({INT32_MIN, 0, INT32_MAX, 6}))},
      {"a display beyond",
       with_value(lines, "displayWindow", "box2i", box({0, INT32_MAX - 1, 8, INT32_MAX}))},
      {"wide tiles", with_value(tiles, "tiles", "tiledesc", box({kHuge, kHuge}))},
      {"tiles of nothing", with_value(tiles, "tiles", "tiledesc", box({0, 0}))},
      {"no compression", with_value(lines, "compression", "compression", "\x77")},
      {"no channels", with_value(lines, "channels", "chlist", std::string(1, '\0'))},
      {"only a signature", lines.substr(0, 4)},
      {"nothing", ""},
      {"another", "P5 1 1 255 x"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    reports.clear();
    save("in.exr", row.file);
    const Image image = open_read("exr", "in.exr");
    if (image) {
      EXPECT_FALSE(read_line(*image, 0, image->info.images[0].active_window.top));
    }
    EXPECT_NE(orb__err, 0);
    EXPECT_EQ(errors_of(reports), 1U) << reports.texts();
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    EXPECT_LT(usage.ru_maxrss, 512 << 10) << "KiB";
  }
}

TEST_F(ExrTest, a_damaged_chunk_leaves_the_others_readable) {
  Stored part;
  part.compression = Imf::ZIP_COMPRESSION;
  save_exr("in.exr", {part});
  std::string file = load("in.exr");
  // 41 lines are chunks of 16, 16 and 9; the last one's bytes end the file.
  file.replace(file.size() - 60, 40, 40, '\x55');
  save("in.exr", file);
  const Image image = open_read("exr", "in.exr");
  ASSERT_TRUE(image) << reports.texts();
  EXPECT_TRUE(read_line(*image, 0, 40));
  for (const int32_t line : {3, 2}) {
    reports.clear();
    EXPECT_FALSE(read_line(*image, 0, line));
    EXPECT_EQ(orb__err, ORB_E_DECODE);
    EXPECT_EQ(errors_of(reports), 1U) << reports.texts();
    EXPECT_THAT(reports.texts(), HasSubstr("scanline " + std::to_string(line)));
  }
  EXPECT_TRUE(read_line(*image, 0, 10)) << reports.texts();
}

TEST_F(ExrTest, the_failure_of_any_allocation_is_reported_and_leaks_nothing) {
  Stored part = kSmall;
  part.channels.push_back({"id", Imf::UINT});
  save_exr("in.exr", {part});
  const auto read = [] {
    const Image image = open_read("exr", "in.exr");
    return image && read_line(*image, 0, 3) ? 0 : orb__err;
  };
  const auto write = [] {
    Wanted wanted("exr", "out.exr", 9, 7);
    wanted.group(&ORB_IFD::color, 3, 32, ORB_C_FLOAT).group(&ORB_IFD::aux, 2, 32, ORB_C_FLOAT);
    Image image = wanted.open();
    if (!image) return orb__err;
    std::vector<float> row(9);
    void* rows[5];
    std::fill(std::begin(rows), std::end(rows), row.data());
    int32_t code = 0;
    for (int32_t line = 6; line >= 0 && code == 0; --line) code = ORB_scan_write(image.get(), line, rows);
    const int32_t closed = ORB_close(image.release());
    return code != 0 ? code : closed;
  };
  for (const bool is_read : {true, false}) {
    bool is_done = false;
    int64_t nth = 0;
    while (!is_done) {
      reports.clear();
      int32_t code = 0;
      {
        const FailAllocation fail(++nth);
        code = is_read ? read() : write();
        is_done = !fail.happened();
      }
      if (is_done) {
        EXPECT_EQ(code, 0);
        continue;
      }
      // A text that cannot be copied on its way into a write open is left out, and the open goes on.
      EXPECT_THAT(code, AnyOf(ORB_E_MEMORY, is_read ? ORB_E_MEMORY : 0)) << nth << reports.texts();
      EXPECT_FALSE(reports.reports.empty()) << nth;
    }
    EXPECT_GT(nth, 20);
  }
}

}  // namespace
}  // namespace orb::testing
