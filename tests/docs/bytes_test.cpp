// The README's plug-in, as a module of the library and as one of the tool.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "module.h"
#include "orbbase/core.h"
#include "run_orb.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/image_owner.h"
#include "tests/support/report_recorder.h"

using ::testing::HasSubstr;

namespace orb::testing {
namespace {

class Bytes : public ::testing::Test {
 protected:
  Bytes() {
    put_bytes(folder.path("ten.bytes"), std::string("\0\1\2\3\4\5\6\7\x80\xff", 10));
    put_bytes(folder.path("empty.bytes"), "");
    put_bytes(folder.path("long.bytes"), std::string(4096, 'a') + "b");
    std::filesystem::create_directory(folder.path("folder.bytes"));
  }

  // name: in the folder; null opens a description without a file name.
  Image open(const char* name) {
    std::string path = name ? folder.path(name) : "";
    std::string key = "bytes";
    ORB_INFO info;
    ORB_info_init(&info);
    info.key = key.data();
    if (name) info.handle = path.data();
    return Image(ORB_open(&info, "r"));
  }

  // The bytes of the one row, which are then changed as an application may.
  static std::string take_row(const Image& image) {
    void** rows = nullptr;
    if (ORB_scan_read(image.get(), 0, &rows) != 0) return "unreadable";
    const auto width = static_cast<size_t>(image->info.images[0].window.right + 1);
    std::string row(static_cast<const char*>(rows[0]), width);
    *static_cast<char*>(rows[0]) = '!';
    return row;
  }

  LoadedModule module{BYTES_MODULE};
  Folder folder;
  ReportRecorder reports;
};

TEST_F(Bytes, gives_a_files_bytes_as_one_row_however_often_it_is_read) {
  const struct {
    const char* name;
    std::string row;
  } rows[] = {{"ten.bytes", std::string("\0\1\2\3\4\5\6\7\x80\xff", 10)},
              {"long.bytes", std::string(4096, 'a')}};
  for (const auto& row : rows) {
    const Image image = open(row.name);
    ASSERT_TRUE(image) << row.name;
    EXPECT_EQ(take_row(image), row.row);
    EXPECT_EQ(take_row(image), row.row) << "what the reader of the first row changed";
    EXPECT_EQ(image->info.word_e, 31U) << "nothing is declared";
    void** other = nullptr;
    EXPECT_EQ(ORB_scan_read(image.get(), 1, &other), ORB_E_SCANLINE);
    EXPECT_THAT(reports.texts(), HasSubstr("Bad scanline: 1 "));
    reports.clear();
  }
}

TEST_F(Bytes, refuses_what_it_cannot_open_with_reason_and_code) {
  const struct {
    const char* name;
    int32_t code;
    std::string text;
  } rows[] = {{"empty.bytes", ORB_E_FORMAT,
               folder.path("empty.bytes") + ": This does not appear to be a bytes file; it is empty"},
              {"none.bytes", ORB_E_OPEN,
               "Cannot open file " + folder.path("none.bytes") + "; No such file or directory"},
              {"folder.bytes", ORB_E_READ, folder.path("folder.bytes") + ": Is a directory"},
              {nullptr, ORB_E_OPEN, "Cannot open file ; No such file or directory"}};
  for (const auto& row : rows) {
    reports.clear();
    EXPECT_FALSE(open(row.name)) << row.text;
    EXPECT_EQ(orb__err, row.code) << row.text;
    ASSERT_EQ(reports.reports.size(), 1U) << reports.texts();
    EXPECT_EQ(reports.reports[0].text, row.text);
  }
}

TEST_F(Bytes, open_survives_the_failure_of_any_allocation) {
  int64_t failures = 0;
  for (int64_t nth = 1;; ++nth) {
    const FailAllocation fail(nth);
    const Image image = open("ten.bytes");
    if (!fail.happened()) {
      EXPECT_TRUE(image);
      break;
    }
    ++failures;
    ASSERT_LT(nth, 100);
    EXPECT_FALSE(image) << nth;
    EXPECT_EQ(orb__err, ORB_E_MEMORY) << nth;
  }
  EXPECT_GE(failures, 3) << "the driver alone allocates three blocks";
  EXPECT_EQ(take_row(open("ten.bytes")).size(), 10U);
}

TEST_F(Bytes, is_a_format_of_the_tool_once_its_folder_is_on_the_path) {
  const RunOptions with_plugin = {"", {std::string("QV_ORB_PLUGIN_PATH=") + BYTES_FOLDER}, false};
  EXPECT_THAT(orb(folder, {"info", "ten.bytes"}, with_plugin).out, HasSubstr("10 x 1"));
  const Outcome empty = orb(folder, {"info", "empty.bytes"}, with_plugin);
  EXPECT_EQ(empty.status, 4);
  EXPECT_THAT(empty.err, HasSubstr("it is empty"));
  EXPECT_EQ(orb(folder, {"info", "none.bytes"}, with_plugin).status, 3);
  // The samples come through a PNG into a stream, where they stand before the end mark.
  EXPECT_EQ(orb(folder, {"convert", "ten.bytes", "-o", "ten.png"}, with_plugin).status, 0);
  EXPECT_EQ(orb(folder, {"convert", "ten.png", "-o", "ten.pipe"}).status, 0);
  EXPECT_THAT(bytes_of(folder.path("ten.pipe")), HasSubstr(bytes_of(folder.path("ten.bytes")) + "ORBpend"));
  const Outcome written = orb(folder, {"convert", "ten.png", "-o", "new.bytes"}, with_plugin);
  EXPECT_EQ(written.status, 4);
  EXPECT_THAT(written.err, HasSubstr("cannot be written"));
}

}  // namespace
}  // namespace orb::testing
