#include <gtest/gtest.h>

#include "tests/str/text.h"

namespace orb::testing {

TEST(FilenameClean, removes_what_says_nothing) {
  // clang-format off
  const struct { const char *path, *clean; } rows[] = {
      // nothing to do
      {"a", "a"}, {"/", "/"}, {"..", ".."}, {"../..", "../.."}, {".x/..y/...", ".x/..y/..."},
      {"a/.x", "a/.x"},
      // slashes and "."
      {"", "."}, {"./", "."}, {".", "."}, {"/.", "/"}, {"//", "/"}, {"a//b///c", "a/b/c"}, {"a/", "a"},
      {"./a/./b/.", "a/b"}, {"///a", "/a"}, {"/./a", "/a"},
      // ".."
      {"a/..", "."}, {"a/../b", "b"}, {"a/b/../../c", "c"}, {"/a/..", "/"}, {"/..", "/"}, {"/../a", "/a"},
      {"/a/../../b", "/b"}, {"../a/..", ".."}, {"../../a/../b", "../../b"}, {"a/../..", ".."},
      {"a/../../b", "../b"}, {"../a/../..", "../.."}, {"a//../b", "b"}, {"a/./../b", "b"},
      {"abc/../d", "d"}, {"..a/../b", "b"},
      // behind a host prefix
      {"host:", "host:"}, {"host:/", "host:/"}, {"host:a//b/../c/", "host:a/c"}, {"host:./", "host:."},
      {"..//host:/..//a", "..//host:/a"}, {"host:a:b/..", "host:."}};
  // clang-format on
  for (const auto& row : rows) {
    char path[64];
    std::strcpy(path, row.path);
    EXPECT_EQ(STR_filename_clean(path), path);
    EXPECT_STREQ(path, row.clean) << row.path;
  }
}

TEST(FilenameAbsolute, resolves_the_leading_components_against_the_directory) {
  // clang-format off
  const struct { const char *current, *path, *absolute; } rows[] = {
      {"/a/b/c", nullptr, ""}, {"/a/b/c", "", ""}, {"/a/b/c", "/x/../y", "/x/../y"},
      {"/a/b/c", "host:x", "host:x"}, {"/a/b/c", "x", "/a/b/c/x"}, {"/a/b/c", "./x", "/a/b/c/x"},
      {"/a/b/c", "../../x", "/a/x"}, {"/a/b/c", "../../../x", "/x"}, {"/a/b/c", "../../../../x", "/x"},
      {"/a/b/c", "./.././x", "/a/b/x"},
      // only what leads is resolved
      {"/a/b/c", "x/../y", "/a/b/c/x/../y"}, {"/a/b/c", ".x", "/a/b/c/.x"}, {"/a/b/c", "..x", "/a/b/c/..x"},
      {"/a/b/c", "../.x", "/a/b/.x"},
      {"/a/b/c", ".../x", "/a/b/c/.../x"}, {"/a/b/c", ".", "/a/b/c"}, {"/a/b/c", "..", "/a/b"},
      {"/a/b/c", "../", "/a/b"}, {"/a/b/c", "../../..", "/"}, {"/a/b/c/", "x", "/a/b/c/x"},
      {"/a/b/c/", "../x", "/a/b/x"}, {"/a/b//", "../x", "/a/x"}, {"/", "x", "/x"}, {"/", "../x", "/x"},
      {"/", ".", "/"}, {"/a", ".//x", "/a/x"}, {"a", "../x", "/x"}};
  // clang-format on
  for (const auto& row : rows) {
    const size_t room = std::strlen(row.current) + STR_length(row.path) + 2;
    std::vector<char> result(room, '#');
    EXPECT_EQ(STR_filename_absolute(result.data(), row.current, row.path), result.data());
    EXPECT_STREQ(result.data(), row.absolute) << row.current << ' ' << (row.path ? row.path : "null");
  }
}

TEST(FilenameRelative, is_used_only_where_it_is_short) {
  // clang-format off
  const struct { const char *base, *path, *relative; } rows[] = {
      {"/a/b/c", nullptr, ""}, {"/a/b/c", "", ""}, {"/a/b/c", "host:/a/b/c/d", "host:/a/b/c/d"},
      // below the base
      {"/a/b", "/a/b/c", "c"}, {"/a/b/", "/a/b/c/d", "c/d"}, {"/a/b", "/a/b//c", "c"}, {"/", "/a", "a"},
      {"", "/a", "a"}, {"/a/b", "/a/b", ""}, {"a", "a/b", "b"},
      // one or two levels up, of three at least
      {"/a/b/c", "/a/b/d", "../d"}, {"/a/b/c", "/a/d", "../../d"}, {"/a/b/c/", "/a/b/d", "../d"},
      {"/a/b/cc", "/a/b/cd", "../cd"}, {"/a/b/c", "/a/b/cd", "../cd"}, {"/a/b/cd", "/a/b/c", "../c"},
      {"/a/b/c", "/a/b", "../"}, {"a/b/c", "a/b/d", "../d"},
      // too far, or too near the root
      {"/a/b/c", "/d", "/d"}, {"/a/b/c/d", "/a/e", "/a/e"}, {"/a/b", "/a/c", "/a/c"}, {"/a", "/b", "/b"},
      {"/a/b/c", "x", "x"}};
  // clang-format on
  for (const auto& row : rows) {
    std::vector<char> result(STR_length(row.path) + 7, '#');
    EXPECT_EQ(STR_filename_relative(result.data(), row.base, row.path), result.data());
    EXPECT_STREQ(result.data(), row.relative) << row.base << ' ' << (row.path ? row.path : "null");
  }
}

}  // namespace orb::testing
