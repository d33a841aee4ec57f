// Paths built with a name syntax.
#include <gtest/gtest.h>

#include <fstream>

#include "orbbase/naming/internal.h"
#include "orbbase/registry.h"
#include "tests/naming/built.h"
#include "tests/support/plugins.h"

namespace {

using namespace orb::testing;

constexpr const char* kUsual = "name.####.ext";

constexpr struct {
  Request request;
  const char* path;
  int32_t frame = -1;
} kBuilt[] = {
    // a frame, a wildcard or a printf pattern
    {{kUsual, "shot.0007.rla"}, "shot.0007.rla", 7},
    {{kUsual, "shot.0007.rla", 12}, "shot.0012.rla", 7},
    {{kUsual, "shot.0007.rla", -1, 1}, "shot.*.rla", 7},
    {{kUsual, "shot.0007.rla", -1, 2}, "shot.%04d.rla", 7},
    {{kUsual, "shot.0007.rla", 12, 3}, "shot.0012.rla", 7},
    {{kUsual, "shot.0007.rla", 10000}, "shot.10000.rla", 7},
    {{kUsual, "shot.0007.rla", -5}, "shot.-005.rla", 7},
    {{kUsual, "a%d/sh%t.0007.rla", 12, 1}, "a%d/sh%t.*.rla", 7},
    {{kUsual, "a%d/sh%t.0007.rla", 12, 2}, "a%%d/sh%%t.%04d.rla", 7},
    {{"name%#.ext", "sh%7.r%a", 12, 2, 0, "mem", "r%a"}, "sh%%%01d.r%%a", 7},
    {{"name.ext", "a.1/shot.rla", 12}, "a.1/shot.rla"},
    // the frame among other digits and separators
    {{kUsual, "plate_v002.1001.rla"}, "plate_v002.1001.rla", 1001},
    {{"name####.ext", "plate_v002.1001.rla", 5}, "plate_v002.0005.rla", 1001},
    {{"####name.ext", "12shot34.rla", 5}, "05shot34.rla", 12},
    {{"name####name.ext", "a1b22c.rla", 5}, "a1b05c.rla", 22},
    {{kUsual, ".0007.rla"}, ".0007.rla", 7},
    {{kUsual, "1.2.3.4.5.6.7.8.9.rla"}, "1.2.3.4.5.6.7.8.9.rla", 9},
    {{"name-ext.####", "a-rla-rla.0007"}, "a-rla-rla.0007", 7},
    {{"ext.####", "rla.0007", 8}, "rla.0008", 7},
    {{"#", "dir/7", 8}, "dir/8", 7},
    {{kUsual, "rla.rla.0007.rla"}, "rla.rla.0007.rla", 7},
    // a field behind a frame at the end
    {{"name.ext.####", "s.rla.0007e", 12}, "s.rla.0012e", 7},
    {{"name.ext.####", "s.rla.0007o", 12, 2}, "s.rla.%04do", 7},
    {{"name.ext.####", "s.rla.0007o", 12, 1}, "s.rla.*", 7},
    // a frame that the name lacks
    {{kUsual, "shot.rla"}, "shot.0001.rla"},
    {{kUsual, "shot.rla", 12}, "shot.0012.rla"},
    {{kUsual, "shot.rla", 12, 2}, "shot.%04d.rla"},
    {{kUsual, "shot.2k.rla", 12}, "shot.2k.0012.rla"},
    {{kUsual, "s.2147483648.rla", 3}, "s.2147483648.0003.rla"},
    {{kUsual, "s.2147483647.rla"}, "s.2147483647.rla", 2147483647},
    {{"name####.ext", "shot.rla", 12}, "shot0012.rla"},
    {{"name.####name.ext", "a.b.rla", 12}, "a.b.0012.rla"},
    {{"name.ext####", "shot.rla", 12}, "shot.rla0012"},
};

TEST(BuildWithSyntax, finds_writes_or_adds_the_frame) {
  for (const auto& row : kBuilt) {
    Request asked = row.request;
    if (!asked.extension) asked.extension = "rla";
    const Built built = build(asked);
    const std::string label = std::string(asked.syntax) + " " + asked.name + " " +
                              std::to_string(asked.frame) + " mode " + std::to_string(asked.mode);
    EXPECT_EQ(built.code, 0) << label;
    EXPECT_EQ(built.path, row.path) << label;
    EXPECT_EQ(built.frame, row.frame) << label;
  }
}

TEST(BuildWithSyntax, takes_the_width_of_the_digits_or_of_the_syntax) {
  const struct {
    const char* syntax;
    const char* name;
    const char* path;  // of frame 12
    const char* kept;  // with keep_width
  } rows[] = {{kUsual, "s.7.rla", "s.12.rla", "s.0012.rla"},
              {kUsual, "s.000007.rla", "s.000012.rla", "s.0012.rla"},
              {kUsual, "s.123456.rla", "s.0012.rla", "s.0012.rla"},
              {"name.#.ext", "s.0007.rla", "s.0012.rla", "s.12.rla"},
              {"name.#.ext", "s.77.rla", "s.12.rla", "s.12.rla"}};
  for (const auto& row : rows) {
    EXPECT_EQ(build({row.syntax, row.name, 12, 0, 0, "mem", "rla"}).path, row.path);
    EXPECT_EQ(build({row.syntax, row.name, 12, 0, 1, "mem", "rla"}).path, row.kept);
  }
  EXPECT_EQ(build({kUsual, "s.7.rla", -1, 2, 0, "mem", "rla"}).path, "s.%01d.rla");
}

TEST(BuildWithSyntax, refuses_a_name_that_does_not_fit) {
  const struct {
    const char* syntax;
    const char* name;
  } rows[] = {
      {kUsual, "shot"},
      {kUsual, "shot.0007"},
      {kUsual, "shot.0007_rla"},
      {kUsual, "shot.0007.rlax"},
      {"name", "shot"},
      {"####.name", "7.shot"},
      {"#", "x"},
      {"name.####", "shot.7x"},
      {"name.####", "shot.7ee"},
      {"name.####", "shot.7E"},
      {"name.####", "shot."},
      {kUsual, "dir.0007.rla/x"},
  };
  for (const auto& row : rows) {
    const Built built = build({row.syntax, row.name, 12, 0, 0, "mem", "rla"});
    EXPECT_EQ(built.code, ORB_E_NAME_FIT) << row.syntax << " " << row.name;
    EXPECT_EQ(built.path + built.base_name, "untoucheduntouched");
    EXPECT_EQ(built.frame, 12);
  }
}

TEST(BuildWithSyntax, chooses_syntax_and_extension) {
  const Plugins plugins({"complete", "null_extension"});
  const struct {
    Request request;
    const char* path;
    const char* base_name;
  } rows[] = {
      {{"", "s-7.complete", 8, 0, 0, "complete"}, "s-8.complete", "scomplete"},
      {{"", "s.0007.mem", 8, 0, 0, ".mem"}, "s.0008.mem", "smem"},
      {{"", "s.0007.x", 8, 0, 0, "null", "x"}, "s.0008.x", "sx"},
      {{"", "s.0007.", 8, 0, 0, "null"}, "s.0008.", "s"},
      {{kUsual, "s.0007.R2A", 8, 0, 0, "mem", "r2a"}, "s.0008.R2A", "sR2A"},
      {{kUsual, "s.0007.rla", 8, 0, 0, "mem", ".rla"}, "s.0008.rla", "srla"},
      {{kUsual, "s.0007.mem", 8, 0, 0, "mem", ""}, "s.0008.mem", "smem"},
      {{kUsual, "s.0007.rla", 8, 0, 0, "mem", "RLA"}, "s.0008.rla", "srla"},
      {{kUsual, "s.0007.RLA", 8, 0, 0, "mem", "Rla"}, nullptr, nullptr},
      {{kUsual, "d/a%.0007.mem", 8, 2, 0, "mem"}, "d/a%%.%04d.mem", "a%mem"},
  };
  for (const auto& row : rows) {
    const Built built = build(row.request);
    EXPECT_EQ(built.path, row.path ? row.path : "untouched") << row.request.name;
    EXPECT_EQ(built.base_name, row.base_name ? row.base_name : "untouched") << row.request.name;
  }
  ORB_find("mem")->name_syntax = "";  // as good as none
  EXPECT_EQ(build({"", "s.0007.mem", 8}).path, "s.0008.mem");
}

TEST(BuildWithSyntax, ends_before_what_an_existing_file_lacks) {
  for (const char* name : {"there.mem", "there.mem.7"}) std::ofstream(name) << "x";
  const struct {
    Request request;
    const char* path;
  } rows[] = {{{"name.ext####", "there.mem", 12}, "there.mem"},
              {{"name.ext####", "there.mem", 12, 0, 1}, "there.mem0012"},
              {{"name.ext####", "gone.mem", 12}, "gone.mem0012"},
              {{"name.ext.#", "there.mem.7", 8}, "there.mem.8"}};
  for (const auto& row : rows) EXPECT_EQ(build(row.request).path, row.path);
}

TEST(BuildWithSyntax, names_the_first_thing_that_is_wrong) {
  char path[ORB_PATHNAME_BYTES];
  int32_t frame = -1;
  const std::string longest = std::string(ORB_PATHNAME_BYTES - 10, 'n') + ".0007.mem";  // with its zero
  const struct {
    const char* key;
    const char* syntax;
    std::string name;
    int32_t* frame;
    char* path;
    int32_t code;
  } rows[] = {
      {"none", "x", "", nullptr, nullptr, ORB_E_NO_FORMAT},
      {nullptr, "x", "", nullptr, nullptr, ORB_E_NO_FORMAT},
      {"mem", "x", "", nullptr, nullptr, ORB_E_NAME_SYNTAX},
      {"mem", kUsual, "", nullptr, nullptr, ORB_E_EMPTY_NAME},
      {"mem", kUsual, "x", nullptr, path, ORB_E_NO_ARGUMENT},
      {"mem", kUsual, "x", &frame, nullptr, ORB_E_NO_ARGUMENT},
      {"mem", kUsual, "x", &frame, path, ORB_E_NAME_FIT},
      {"mem", nullptr, "s.0007.mem", &frame, path, 0},
      {"mem", kUsual, longest, &frame, path, 0},
      {"mem", kUsual, "n" + longest, &frame, path, ORB_E_NAME_LENGTH},
      {"mem", "name.#####.ext", longest.substr(0, longest.size() - 9) + ".mem", &frame, path,
       ORB_E_NAME_LENGTH},
  };
  for (const auto& row : rows) {
    orb__err = 0;
    frame = -1;
    const int32_t done = ORB_pathname_build_from_name_syntax(row.syntax, row.name.c_str(), row.key, nullptr,
                                                             0, row.frame, row.path, nullptr, nullptr, 0);
    EXPECT_EQ(done, row.code == 0) << row.code;
    EXPECT_EQ(orb__err, row.code);
  }
  EXPECT_EQ(build({kUsual, nullptr}).code, ORB_E_EMPTY_NAME);
  EXPECT_EQ(build({std::string("name.").append(5000, '#').append(".ext").c_str(), "s.mem", 1, 2}).code,
            ORB_E_NAME_LENGTH);
  EXPECT_EQ(build({kUsual, ("%" + std::string(3000, '%') + ".1.mem").c_str(), 1, 2}).code, ORB_E_NAME_LENGTH);
}

TEST(BuildWithSyntax, may_build_in_place_and_give_nothing_but_the_path) {
  for (const char* syntax : {kUsual, static_cast<const char*>(nullptr)}) {
    char path[ORB_PATHNAME_BYTES] = "d/s.0007.mem";
    int32_t frame = 8;
    ASSERT_EQ(ORB_pathname_build(syntax, path, "mem", nullptr, 0, 1, &frame, path, nullptr, nullptr, nullptr),
              1);
    EXPECT_STREQ(path, "d/s.0008.mem");
  }
}

// The parser makes no field counts, and no name matches a frame of -1; those who put tokens together themselves may.
TEST(BuildWithSyntax, writes_and_matches_what_no_syntax_holds) {
  using namespace orb::naming;
  const struct {
    ORB_NAME_TOKEN token;
    int32_t frame;
    const char* text;
  } rows[] = {{{0, 0, "", 0, nullptr, ORB_TOKEN_FIELD_COUNT}, 5, "1"},
              {{0, 0, "", 2, "27", ORB_TOKEN_FIELD_COUNT}, 5, "27"},
              {{2, 1, "#", 0, nullptr, ORB_TOKEN_FRAME}, -1, "e"},
              {{0, 0, "", 0, nullptr, ORB_TOKEN_END}, 5, ""}};
  for (const auto& row : rows) {
    char text[8];
    orb::BoundedText out(text);
    emit_token(out, row.token, {Mode::frame, "", {row.frame, 1}});
    EXPECT_TRUE(out.finish());
    EXPECT_STREQ(text, row.text);
  }
  ORB_NAME_TOKEN count{0, 0, "", 0, nullptr, ORB_TOKEN_FIELD_COUNT};
  ORB_NAME_TOKEN* const segment[] = {&count};
  const DigitRun run = {0, 12};
  EXPECT_TRUE(divide_segment(segment, {"999999999999e", {&run, 1}}, 0, 12, true));  // no 32-bit number
  EXPECT_EQ(count.match_length, 12);
  EXPECT_FALSE(divide_segment(segment, {"999999999999e", {&run, 1}}, 0, 13, true));  // a field is a frame's
}

}  // namespace
