// Files that are cut, damaged, foreign or meant to do harm.
#include <gmock/gmock.h>
#include <sys/resource.h>

#include "oracle.h"
#include "orbbase/driver.h"
#include "tests/support/fail_allocation.h"

namespace orb::testing {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using namespace std::string_literals;

std::string progressive(int width = 21, int height = 13) {
  Picture picture;
  picture.width = width;
  picture.height = height;
  picture.choose = [](jpeg_compress_struct& cinfo) { jpeg_simple_progression(&cinfo); };
  return encode(picture);
}

std::string in_passes_by_component() {
  static const jpeg_scan_info kScans[] = {
      {1, {0}, 0, 63, 0, 0}, {1, {1}, 0, 63, 0, 0}, {1, {2}, 0, 63, 0, 0}};
  Picture picture;
  picture.choose = [](jpeg_compress_struct& cinfo) {
    cinfo.scan_info = kScans;
    cinfo.num_scans = 3;
  };
  return encode(picture);
}

// The sides in the frame header become these.
std::string with_size(std::string file, int frame_marker, int width, int height) {
  const size_t at = find_marker(file, frame_marker) + 5;
  for (const int side : {height, width}) {
    file[at + (side == width ? 2 : 0)] = static_cast<char>(side >> 8);
    file[at + (side == width ? 3 : 1)] = static_cast<char>(side);
  }
  return file;
}

TEST_F(JpegTest, no_cut_of_a_file_reads_as_a_whole_picture) {
  for (const std::string& whole : {encode({}), progressive()}) {
    for (size_t kept = 0; kept < whole.size(); ++kept) {
      reports.clear();
      save("in", whole.substr(0, kept));
      EXPECT_EQ(read_whole("jpeg", "in"), kept < 3 ? ORB_E_FORMAT : ORB_E_READ) << kept;
      int errors = 0;
      for (const auto& report : reports.reports) errors += report.category >= ERR_ERROR ? 1 : 0;
      EXPECT_EQ(errors, 1) << kept << reports.texts();
    }
  }
}

TEST_F(JpegTest, a_cut_file_with_an_end_mark_is_no_whole_picture_either) {
  Picture picture;
  picture.width = 100;
  picture.height = 100;
  const std::string whole = encode(picture);
  const size_t data = find_marker(whole, 0xDA) + 14;
  for (size_t kept = data; kept + 3 < whole.size(); kept += 7) {
    save("in", whole.substr(0, kept) + "\xFF\xD9");
    EXPECT_EQ(read_whole("jpeg", "in"), ORB_E_DECODE) << kept << " of " << whole.size();
  }
  EXPECT_THAT(reports.texts(), HasSubstr("premature end of data segment"));
}

TEST_F(JpegTest, missing_passes_are_damage_or_a_warning) {
  const std::string whole = progressive();
  // After the first pass, which has the base of all components, the picture is coarse; before, there is none.
  const size_t second = find_marker(whole, 0xDA, find_marker(whole, 0xDA) + 2);
  save("in", whole.substr(0, second) + "\xFF\xD9");
  EXPECT_EQ(read_whole("jpeg", "in"), 0);
  EXPECT_THAT(reports.texts(), HasSubstr("in: the last passes are missing: the picture is coarse"));
  const std::string separate = in_passes_by_component();
  save("in", separate);
  EXPECT_EQ(read_whole("jpeg", "in"), 0);
  save("in", separate.substr(0, separate.rfind("\xFF\xDA")) + "\xFF\xD9");
  EXPECT_EQ(read_whole("jpeg", "in"), ORB_E_DECODE);
  EXPECT_THAT(reports.texts(), EndsWith("in: a component of the picture is missing"));
}

TEST_F(JpegTest, what_is_no_jpeg_is_said_in_the_librarys_words) {
  const struct {
    std::string file;
    const char* reason;
  } rows[] = {{"", "the file is empty"},
              {"\xFF\xD8", "the file is shorter than a JPEG signature"},
              {"GIF89a", "it begins with other bytes"},
              {"\xFF\xD8xyz", "it begins with other bytes"}};
  for (const auto& row : rows) {
    reports.clear();
    save("in", row.file);
    EXPECT_FALSE(open_read("jpeg", "in"));
    EXPECT_EQ(orb__err, ORB_E_FORMAT);
    EXPECT_EQ(reports.texts(), "in: This does not appear to be a JPEG file; "s + row.reason);
    EXPECT_EQ(ORB_find("jpeg")->is_file("in", nullptr), 0);
  }
  save("in", encode({}));
  EXPECT_EQ(ORB_find("jpeg")->is_file("in", nullptr), 1);
}

TEST_F(JpegTest, a_huge_header_costs_nothing) {
  const std::string one_pass = with_size(encode({}), 0xC0, 65499, 65500);
  const std::string passes = with_size(progressive(), 0xC2, 65499, 65500);
  save("in", passes);
  EXPECT_FALSE(open_read("jpeg", "in"));  // 65500 x 65500 coefficients of three components
  EXPECT_EQ(orb__err, ORB_E_MEMORY);
  EXPECT_THAT(reports.texts(), HasSubstr("over the limit"));
  save("in", one_pass);
  EXPECT_EQ(read_whole("jpeg", "in"), ORB_E_DECODE) << reports.texts();
  save("in", with_size(encode({}), 0xC0, 65499, 0));
  EXPECT_FALSE(open_read("jpeg", "in"));
  EXPECT_EQ(orb__err, ORB_E_DECODE);
  rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  EXPECT_LT(usage.ru_maxrss, 512 << 10) << "KiB";
}

TEST_F(JpegTest, a_limit_just_enough_suffices_and_the_codecs_own_memory_is_held_to_it) {
  save("in", progressive(200, 200));
  uint64_t least = 1;
  const uint64_t before = ORB_limit(ORB_LIMIT_HANDLE, 0);
  for (uint64_t step = 1U << 24; step > 0; step /= 2) {
    ORB_limit(ORB_LIMIT_HANDLE, least + step);
    if (!open_read("jpeg", "in")) least += step;
  }
  ++least;
  EXPECT_GT(least, 200 * 200 * 2U);
  ORB_limit(ORB_LIMIT_HANDLE, least);
  EXPECT_EQ(read_whole("jpeg", "in"), 0);
  ORB_limit(ORB_LIMIT_HANDLE, before);
}

TEST_F(JpegTest, colours_that_nobody_knows_are_refused) {
  Picture picture;
  picture.given = JCS_GRAYSCALE;
  picture.choose = [](jpeg_compress_struct& cinfo) {
    cinfo.in_color_space = JCS_UNKNOWN;
    cinfo.input_components = 2;
    jpeg_set_defaults(&cinfo);
  };
  save("in", encode(picture));
  EXPECT_FALSE(open_read("jpeg", "in"));
  EXPECT_EQ(orb__err, ORB_E_HANDLE);
  EXPECT_EQ(reports.texts(), "in: 2 components whose colours are not known");
}

TEST_F(JpegTest, endless_passes_are_refused) {
  std::string file = in_passes_by_component();
  const size_t last = file.rfind("\xFF\xDA");
  const std::string pass = file.substr(last, file.size() - 2 - last);
  for (int i = 0; i < 600; ++i) file.insert(file.size() - 2, pass);
  save("in", file);
  EXPECT_EQ(read_whole("jpeg", "in"), ORB_E_DECODE);
  EXPECT_THAT(reports.texts(), EndsWith("in: the picture comes in more than 500 passes"));
}

TEST_F(JpegTest, a_changed_byte_is_damage_or_another_picture_but_never_a_crash) {
  for (const std::string& whole : {encode({}), progressive()}) {
    for (size_t at = 0; at < whole.size(); ++at) {
      std::string damaged = whole;
      damaged[at] = static_cast<char>(damaged[at] ^ 0x55);
      save("in", damaged);
      reports.clear();
      const int32_t code = read_whole("jpeg", "in");
      EXPECT_TRUE(code == 0 || !reports.reports.empty()) << at;
    }
  }
}

TEST_F(JpegTest, rows_come_in_sequence) {
  save("in", encode({}));
  const Image image = open_read("jpeg", "in");
  void** rows = nullptr;
  for (const int32_t line : {11, 13, -1}) EXPECT_EQ(ORB_scan_read(image.get(), line, &rows), ORB_E_SCANLINE);
  EXPECT_EQ(ORB_scan_read(image.get(), 12, &rows), 0);
  EXPECT_EQ(ORB_scan_read(image.get(), 12, &rows), ORB_E_SCANLINE);
  EXPECT_EQ(read_whole("jpeg", "/nowhere/at all"), ORB_E_OPEN);
  EXPECT_EQ(read_whole("jpeg", "/"), ORB_E_OPEN);
}

TEST_F(JpegTest, any_failure_of_an_allocation_is_survived) {
  Picture picture;
  picture.mark = [](jpeg_compress_struct& cinfo) {
    jpeg_write_marker(&cinfo, JPEG_COM, reinterpret_cast<const JOCTET*>("x"), 1);
  };
  save("in", encode(picture));
  int nth = 1;
  for (bool is_done = false; !is_done; ++nth) {
    const FailAllocation fail(nth);
    const int32_t code = read_whole("jpeg", "in");
    is_done = !fail.happened();
    EXPECT_EQ(code, is_done ? 0 : ORB_E_MEMORY) << nth << reports.texts();
  }
  EXPECT_GT(nth, 7);
}

}  // namespace
}  // namespace orb::testing
