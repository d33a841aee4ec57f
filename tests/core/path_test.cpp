// Building file names.
#include <gtest/gtest.h>

#include "orbbase/core.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/report_recorder.h"

namespace {

using namespace orb::testing;

TEST(Path, is_built_of_directory_name_and_extension) {
  const struct {
    const char *directory, *name, *extension, *path;
  } rows[] = {
      {"dir", "im", ".rla", "dir/im.rla"},
      {"dir/", "im", ".rla", "dir/im.rla"},
      {"a/b", "im", ".rla", "a/b/im.rla"},
      {"", "im", ".rla", "im.rla"},  // no directory, not the root
      {"/", "im", ".rla", "/im.rla"},
      {nullptr, "im", ".rla", "im.rla"},
      {"dir", "/im", ".rla", "/im.rla"},
      {"dir", "./im", ".rla", "./im.rla"},
      {"dir", ".im", ".rla", "dir/.im.rla"},
      {"dir", "../im", ".rla", "dir/../im.rla"},
      {nullptr, "im.rla", ".rla", "im.rla"},
      {nullptr, "im.RLA", ".rla", "im.RLA.rla"},
      {nullptr, ".rla", ".rla", ".rla"},
      {nullptr, "la", ".rla", "la.rla"},
      {nullptr, "im.", ".rla", "im.rla"},
      {nullptr, "im.", "rla", "im.la"},  // the first character goes, whatever it is
      {nullptr, "im.", "", "im."},
      {"dir.", "", ".rla", "dir./.rla"},
      {"dir", nullptr, nullptr, "dir/"},
      {nullptr, nullptr, nullptr, ""},
  };
  for (const auto& row : rows) {
    EXPECT_STREQ(orb__build_handle(row.directory, row.name, row.extension), row.path);
  }
}

TEST(Path, is_overwritten_by_the_next_call_and_may_be_built_of_the_path_before) {
  const char* path = orb__build_handle("dir", "a", ".x");
  EXPECT_EQ(orb__build_handle("dir", "b", ".x"), path);
  path = orb__build_handle("a", orb__build_handle(nullptr, "b", ".x"), ".y");
  EXPECT_STREQ(path, "a/b.x.y");
  EXPECT_STREQ(orb__build_handle(path, path + 2, path + 5), "a/b.x.y/b.x.y");
}

TEST(Path, of_any_length_is_built_or_refused_whole) {
  const std::string name(100000, 'n');
  EXPECT_EQ(orb__build_handle("dir", name.c_str(), ".rla"), "dir/" + name + ".rla");
  {
    const ReportRecorder recorder;
    const FailAllocation fail(1);
    const std::string longer(300000, 'n');
    EXPECT_EQ(orb__build_handle("dir", longer.c_str(), ".rla"), nullptr);
    EXPECT_EQ(orb__err, ORB_E_MEMORY);
    EXPECT_FALSE(recorder.reports.empty());
  }
  EXPECT_STREQ(orb__build_handle("dir", "im", ".rla"), "dir/im.rla");
}

}  // namespace
