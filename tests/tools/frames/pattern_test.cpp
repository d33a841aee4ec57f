// Patterns: which field a name has, and the way from a frame to its name and back.
#include "frames/pattern.h"

#include <gtest/gtest.h>

namespace orb::frames {
namespace {

TEST(Pattern, builds_names_in_every_style_with_the_width_as_a_minimum) {
  const struct {
    const char* text;
    Frame frame;
    const char* name;
    const char* canonical;  // with the frames 1-3
  } rows[] = {{"a.####.exr", 7, "a.0007.exr", "a.[1-3]####.exr"},
              {"a.####.exr", 10000, "a.10000.exr", "a.[1-3]####.exr"},
              {"a.####.exr", -5, "a.-005.exr", "a.[1-3]####.exr"},
              {"a.##.exr", -5, "a.-5.exr", "a.[1-3]##.exr"},
              {"a.##.exr", -2147483647 - 1, "a.-2147483648.exr", "a.[1-3]##.exr"},
              {"a.#.exr", 7, "a.0007.exr", "a.[1-3]#.exr"},
              {"a_@@@.exr", 7, "a_007.exr", "a_[1-3]###.exr"},
              {"a.@.exr", 7, "a.0007.exr", "a.[1-3]#.exr"},
              {"@.exr", 7, "0007.exr", "[1-3]#.exr"},
              {"a.@", 7, "a.0007", "a.[1-3]#"},
              {"a:@_", 7, "a:0007_", "a:[1-3]#_"},
              {"{@.exr", 7, "{0007.exr", "{[1-3]#.exr"},
              {"9@.exr", 7, "9@.exr", "9@.exr"},
              {"A@.exr", 7, "A@.exr", "A@.exr"},
              {"\xc3@.exr", 7, "\xc3@.exr", "\xc3@.exr"},
              {"user@host.exr", 7, "user@host.exr", "user@host.exr"},
              {"user@.exr", 7, "user@.exr", "user@.exr"},
              {"user.@host", 7, "user.@host", "user.@host"},
              {"a%03d.exr", 7, "a007.exr", "a[1-3]###.exr"},
              {"a%d.exr", -7, "a-7.exr", "a[1-3]#.exr"},
              {"50%%/a%%.%02d.exr", 7, "50%/a%.07.exr", "50%/a%.[1-3]##.exr"},
              {"a%", 7, "a%", "a%"},
              {"a%0", 7, "a%0", "a%0"},
              {"my%20dog.png", 7, "my%20dog.png", "my%20dog.png"},
              {"a.$F4.exr", 7, "a.0007.exr", "a.[1-3]####.exr"},
              {"a$.$F", 7, "a$.7", "a$.[1-3]#"},
              {"a.$F1b", 7, "a.7b", "a.[1-3]#b"},
              {"a.$F2]%b", 7, "a.07]%b", "a.[1-3]%02d]%%b"},
              {"a.$F.exr", 7, "a.7.exr", "a.[1-3]#.exr"},
              {"a.$FOO.exr", 7, "a.$FOO.exr", "a.$FOO.exr"},
              {"d##/a.1001.exr", 7, "d##/a.1001.exr", "d##/a.1001.exr"},
              {"d##/####", 7, "d##/0007", "d##/[1-3]####"},
              {"a[1]$F2#b%.exr", 7, "a07#b%.exr", "a[1-3]%02d#b%%.exr"},
              {"take[a]_##.exr", 7, "take[a]_07.exr", "take[a]_[1-3]##.exr"},
              {"a#b.[1-9]##.exr", 7, "a#b.07.exr", "a#b.[1-3]##.exr"},
              {"a.[5-9,-3].##.exr", 7, "a.[5-9,-3].07.exr", "a.[5-9,-3].[1-3]##.exr"}};
  for (const auto& row : rows) {
    const FramePattern pattern = FramePattern::parse(row.text);
    const FrameRange range = FrameRange::parse("1-3");
    EXPECT_EQ(pattern.name(row.frame), row.name) << row.text;
    EXPECT_EQ(pattern.canonical(range), row.canonical) << row.text;
    if (!pattern.range()) {
      EXPECT_EQ(pattern.text(), row.text);
    }
    if (!pattern.has_field()) continue;
    EXPECT_EQ(FramePattern::parse(row.canonical).range(), range) << row.text;
    EXPECT_EQ(pattern.match(pattern.name(row.frame).substr(pattern.folder().size())), row.frame) << row.text;
  }
  EXPECT_EQ(FramePattern::parse("a.####.exr", {true, 0}).name(7), "a.####.exr");
  EXPECT_EQ(FramePattern::parse("a.#.exr", {false, 6}).name(7), "a.000007.exr");
  EXPECT_EQ(FramePattern::parse("a.%04d.exr", {false, 2}).text(), "a.%02d.exr");
  EXPECT_EQ(FramePattern::parse("a.[1001-1049,1051-1096x2]####.exr").range()->text(),
            "1001-1049,1051-1095x2");
}

TEST(Pattern, two_fields_and_broken_ranges_are_refused) {
  for (const char* text :
       {"", "a.####.####.exr", "a.##.%04d.exr", "a#$F4.exr", "a.[1-5####.exr", "a.[####.exr",
        "a.1-5]####.exr", "a.[]####.exr", "a.[1-5x0]####.exr", "a.[0-2147483647]####.exr", "d[1/a]##.exr",
        "a.%099d.exr", "a.%099999999999999999999d.exr", "a.$F33.exr",
        "a.#################################.exr"}) {
    EXPECT_THROW((void)FramePattern::parse(text), BadFrames) << text;
    if (*text != '\0') {
      EXPECT_EQ(FramePattern::parse(text, {true, 0}).prefix(), text);
    }
  }
}

TEST(Pattern, matches_exactly_the_names_that_it_builds) {
  const struct {
    const char* text;
    const char* name;
    std::optional<Frame> frame;
  } rows[] = {{"d/a.####.exr", "a.0012.exr", 12},
              {"a.####.exr", "a.12345.exr", 12345},
              {"a.####.exr", "a.012.exr", {}},
              {"a.####.exr", "a.00012.exr", {}},
              {"a.####.exr", "a.-012.exr", -12},
              {"a.####.exr", "a.-0012.exr", {}},
              {"a.####.exr", "a.-000.exr", {}},
              {"a.####.exr", "a.0000.exr", 0},
              {"a.####.exr", "a..exr", {}},
              {"a.####.exr", "a.exr", {}},
              {"a.####.exr", "a.2147483648.exr", {}},
              {"a.####.exr", "a.12 4.exr", {}},
              {"a.####.exr", "a.-.exr", {}},
              {"a.####.a", "a.0.a", {}},
              {"a.%d.exr", "a.0.exr", 0},
              {"a.%d.exr", "a.00.exr", {}},
              {"####", "0001", 1},
              {"a1.exr", "a1.exr", {}}};
  for (const auto& row : rows)
    EXPECT_EQ(FramePattern::parse(row.text).match(row.name), row.frame) << row.name;
}

TEST(Pattern, the_frame_of_a_name_is_the_last_number_before_the_extension) {
  const std::string long_number(40, '1');
  const struct {
    std::string name;
    const char* prefix;
    std::optional<Frame> frame;
  } rows[] = {{"plate_v002.1001.exr", "plate_v002.", 1001},
              {"shot.0001", "shot.", 1},
              {"clip.mp4", "", {}},
              {"a.1001.mp4", "a.", 1001},
              {"a1.b", "a", 1},
              {"7", "", 7},
              {"-7.exr", "", -7},
              {"a.-007.exr", "a.", -7},
              {"a_-7.exr", "a_", -7},
              {"a-0007.exr", "a-", 7},
              {"a.-0.exr", "", {}},
              {"a.", "", {}},
              {"5.", "", 5},
              {"a.2147483648.exr", "", {}},
              {"a." + long_number + ".exr", "", {}},
              {std::string("\xff\n") + "3.exr", "\xff\n", 3}};
  for (const auto& row : rows) {
    const std::optional<NameParts> parts = split_name(row.name);
    ASSERT_EQ(parts.has_value(), row.frame.has_value()) << row.name;
    if (!parts) continue;
    EXPECT_EQ(parts->frame, *row.frame) << row.name;
    EXPECT_EQ(parts->prefix, row.prefix) << row.name;
    EXPECT_EQ(std::string(parts->prefix) + std::string(parts->number) + std::string(parts->suffix), row.name);
  }
}

}  // namespace
}  // namespace orb::frames
