#include <gtest/gtest.h>

#include "tests/str/text.h"
#include "tests/support/environment.h"
#include "tests/support/fail_allocation.h"

namespace orb::testing {
namespace {

// The expansion, or the name of the missing variable behind a "?".
std::string expanded(const std::string& text) {
  char* out = nullptr;
  const bool is_done = STR_expand_filename(text.c_str(), &out) != 0;
  return (is_done ? "" : "?") + take(out);
}

}  // namespace

TEST(Filename, extension_and_root_part_at_the_last_dot_anywhere) {
  // clang-format off
  const struct { const char *name, *extension, *root; } rows[] = {
      {"a.b.c", "c", "a.b"}, {"dir.v2/file", "v2/file", "dir"}, {"file.", "", "file"},
      {".orbrc", "orbrc", ""}};
  // clang-format on
  for (const auto& row : rows) {
    EXPECT_STREQ(STR_extension(row.name), row.extension);
    EXPECT_EQ(in_place(STR_root, row.name), row.root);
  }
  EXPECT_EQ(STR_extension("file"), nullptr);
  EXPECT_EQ(in_place(STR_root, "file"), "file");
}

TEST(Filename, head_and_tail_part_at_the_last_slash) {
  // clang-format off
  const struct { const char *name, *head, *tail; } rows[] = {
      {"a/b", "a", "b"}, {"/a/b/c", "/a/b", "c"}, {"a//b", "a", "b"}, {"a/", "a", ""}, {"a//", "a", ""},
      {"/a", "", "a"}, {"//a", "", "a"}, {"/", "", ""}, {"a", "(null)", "a"}, {"", "(null)", ""}};
  // clang-format on
  for (const auto& row : rows) {
    EXPECT_EQ(in_place(STR_head, row.name), row.head) << row.name;
    EXPECT_STREQ(STR_tail(row.name), row.tail) << row.name;
  }
}

TEST(Filename, host_ends_at_the_last_colon_before_the_first_slash) {
  // clang-format off
  const struct { const char *path, *host, *rest, *copied; } rows[] = {
      {"host:/a/b", "host", "/a/b", "host"}, {"a:b:/c", "a:b", "/c", "a:b"},
      {"host:a:b/c:d", "host:a", "b/c:d", "host:a"}, {"host:", "host", "", "host"},
      {":/a", "(null)", "/a", ""}, {"/a:b", "(null)", "/a:b", nullptr},
      {"a/b:c", "(null)", "a/b:c", nullptr}, {"ab", "(null)", "ab", nullptr}, {"", "(null)", "", nullptr}};
  // clang-format on
  for (const auto& row : rows) {
    EXPECT_EQ(in_place(STR_host, row.path), row.host) << row.path;
    EXPECT_STREQ(STR_host_remove(row.path), row.rest) << row.path;
    std::vector<char> buffer(std::strlen(row.path) + 1, '#');
    char* result = STR_filename_host(buffer.data(), row.path);
    EXPECT_EQ(result, row.copied ? buffer.data() : nullptr) << row.path;
    EXPECT_EQ(buffer[0], row.copied ? row.copied[0] : '#') << row.path;
    EXPECT_STREQ(result, row.copied);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(STR_filename_host(nullptr, row.path)), row.copied ? 1u : 0u)
        << row.path;
  }
}

TEST(Filename, bounded_forms_refuse_a_buffer_one_byte_short) {
  char out[32];
  const std::span<char> all(out);
  // clang-format off
  const struct { size_t bytes; bool (*form)(std::span<char>); const char* result; } rows[] = {
      {5, [](std::span<char> to) { return filename_host(to, "host:/a"); }, "host"},
      {5, [](std::span<char> to) { return filename_absolute(to, "/a/b", "../x"); }, "/a/x"},
      {3, [](std::span<char> to) { return filename_absolute(to, "/a", "/b"); }, "/b"},
      {7, [](std::span<char> to) { return filename_relative(to, "/a/b/c", "/a/b/def"); }, "../def"},
      {3, [](std::span<char> to) { return filename_relative(to, "/a", "/b"); }, "/b"}};
  // clang-format on
  for (const auto& row : rows) {
    EXPECT_TRUE(row.form(all.first(row.bytes)));
    EXPECT_STREQ(out, row.result);
    EXPECT_FALSE(row.form(all.first(row.bytes - 1)));
    EXPECT_STREQ(out, "");
    EXPECT_FALSE(row.form({}));
  }
}

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

TEST(Expand, replaces_variables_and_names_the_one_that_is_not_set) {
  const Environment dir("ORB_TEST_DIR", "/pictures");
  const Environment digit("ORB_TEST_2", "two");
  const Environment unset("ORB_TEST_UNSET", nullptr);
  // clang-format off
  const struct { const char *text, *result; } rows[] = {
      {"", ""}, {"plain name ", "plain name "}, {" \t name", "name"}, {"$ORB_TEST_DIR/x", "/pictures/x"},
      {"${ORB_TEST_DIR}x", "/picturesx"}, {"a$ORB_TEST_2.b", "atwo.b"},
      {"$ORB_TEST_2$ORB_TEST_DIR", "two/pictures"}, {"$ORB_TEST_UNSET/x", "?ORB_TEST_UNSET"},
      {"a${ORB_TEST_UNSET}", "?ORB_TEST_UNSET"}, {"cost: 5$", "?"}, {"$$", "?"}, {"${}", "?"},
      {"${ORB_TEST_DIR", "/pictures"}, {"${ORB_TEST_DIR/x", "/pictures/x"}};
  // clang-format on
  for (const auto& row : rows) EXPECT_EQ(expanded(row.text), row.result) << row.text;
}

TEST(Expand, has_no_most_length_for_names_values_and_results) {
  const std::string name = "ORB_TEST_" + std::string(5000, 'N');
  const std::string value(9000, 'v');
  const Environment set(name.c_str(), value.c_str());
  EXPECT_EQ(expanded("$" + name + "/${" + name + "}"), value + "/" + value);
  EXPECT_EQ(expanded("$X" + name), "?X" + name);
  for (int nth = 1; nth <= 3; ++nth) {
    const FailAllocation fail(nth);
    EXPECT_EQ(expanded("a/$" + name), "?(null)") << nth;
  }
  EXPECT_EQ(expanded(std::string(100000, 'x')), std::string(100000, 'x'));
  for (const size_t length : {254, 255, 256, 257, 511, 512, 513}) {
    EXPECT_EQ(expanded(std::string(length, 'y')), std::string(length, 'y'));
  }
}

}  // namespace orb::testing
