// Ranges: what is read, in which order, and how it is written.
#include "frames/range.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace orb::frames {
namespace {

std::vector<Frame> walked(const FrameRange& range) {
  std::vector<Frame> frames;
  for (const Frame frame : range) frames.push_back(frame);
  return frames;
}

// Every offset of a range in the order of a stagger: the obvious way.
std::vector<Frame> staggered(Frame first, Frame last, int number) {
  std::vector<Frame> frames;
  const int direction = first <= last ? 1 : -1;
  for (int step = number; step > 0; --step) {
    for (int offset = 0; offset <= std::abs(last - first); offset += step) {
      const Frame frame = first + direction * offset;
      if (std::find(frames.begin(), frames.end(), frame) == frames.end()) frames.push_back(frame);
    }
  }
  return frames;
}

TEST(Range, is_read_in_the_order_written_and_has_one_canonical_form) {
  const struct {
    const char* text;
    const char* canonical;
    std::vector<Frame> frames;
  } rows[] = {{"7", "7", {7}},
              {"1-4", "1-4", {1, 2, 3, 4}},
              {"4-1", "4-1", {4, 3, 2, 1}},
              {"-5--3", "-5--3", {-5, -4, -3}},
              {"-1-1", "-1-1", {-1, 0, 1}},
              {"1--1", "1--1", {1, 0, -1}},
              {"1-10x4", "1-9x4", {1, 5, 9}},
              {"10-1x4", "10-2x4", {10, 6, 2}},
              {"1-5x4", "1,5", {1, 5}},
              {"1-5x9", "1", {1}},
              {"1-7by3", "1-6by3", {2, 3, 5, 6}},
              {"7-1by3", "7-2by3", {6, 5, 3, 2}},
              {"1-6by2", "2-6x2", {2, 4, 6}},
              {"1-4by9", "2-4", {2, 3, 4}},
              {"4-1by9", "3-1", {3, 2, 1}},
              {"1-5by4", "2-4", {2, 3, 4}},
              {"1-10:3", "1-10:3", {1, 4, 7, 10, 3, 5, 9, 2, 6, 8}},
              {"10-1:3", "10-1:3", {10, 7, 4, 1, 8, 6, 2, 9, 5, 3}},
              {"1-4:9", "1-4:3", {1, 4, 3, 2}},
              {"1-4:9,7", "1-4:3,7", {1, 4, 3, 2, 7}},
              {"1-2:9", "1-2", {1, 2}},
              {"1,2,3", "1-3", {1, 2, 3}},
              {"1, 5,6 ,7", "1,5-7", {1, 5, 6, 7}},
              {" 1-3  4-6 ", "1-6", {1, 2, 3, 4, 5, 6}},
              {"1-3x2,5-6", "1-5x2,6", {1, 3, 5, 6}},
              {"1-5x2,4-6", "1-5x2,4-6", {1, 3, 5, 4, 5, 6}},
              {"1-3,3", "1-3,3", {1, 2, 3, 3}},
              {"5,5", "5,5", {5, 5}},
              {"2147483646-2147483647", "2147483646-2147483647", {2147483646, 2147483647}},
              {"-2147483648", "-2147483648", {-2147483647 - 1}}};
  for (const auto& row : rows) {
    const FrameRange range = FrameRange::parse(row.text);
    EXPECT_EQ(walked(range), row.frames) << row.text;
    EXPECT_EQ(range.text(), row.canonical) << row.text;
    EXPECT_EQ(range.count(), row.frames.size()) << row.text;
    EXPECT_EQ(FrameRange::parse(row.canonical), range) << row.text;
    // Runs depend on the frames alone.
    EXPECT_EQ(walked(FrameRange::of(row.frames)), row.frames) << row.text;
    if (std::string(row.text).find_first_of("b:") == std::string::npos) {
      EXPECT_EQ(FrameRange::of(row.frames), range) << row.text;
    }
    for (Frame frame = -6; frame < 12; ++frame) {
      const bool is_there = std::find(row.frames.begin(), row.frames.end(), frame) != row.frames.end();
      EXPECT_EQ(range.contains(frame), is_there) << row.text << " " << frame;
    }
  }
  // Each frame once, where it stands first.
  EXPECT_EQ(FrameRange::parse("3,1-5,9-7,8").frames(), (std::vector<Frame>{3, 1, 2, 4, 5, 9, 8, 7}));
}

// Why a text is no range; "" when it is one.
std::string complaint(const std::string& text) {
  try {
    (void)FrameRange::parse(text);
    return "";
  } catch (const BadFrames& problem) {
    return problem.what();
  }
}

TEST(Range, what_is_none_is_refused_in_one_line_that_quotes_no_more_than_60_characters) {
  const char* const not_one[] = {"",       " ",       ",",       "1,",      ",1",    "1,,2",
                                 "a",      "1-",      "-",       "5:",      "1-2-3", "1-10x",
                                 "1-10x0", "1-10x-2", "1-10y2",  "1-10by1", "3by2",  "3-3by2",
                                 "1-10:0", "1..10",   "1-10x2z", "+1",      "1 - 2", "1-10X2"};
  const char* const too_much[] = {
      "2147483648", "-2147483649",         "1-99999999999999999999", "0-2147483647", "-2147483648-2147483647",
      "1-10000001", "1-6000000,1-6000000", "1-100000:5000"};
  std::vector<const char*> texts(std::begin(not_one), std::end(not_one));
  texts.insert(texts.end(), std::begin(too_much), std::end(too_much));
  for (const char* text : texts) {
    const std::string why = complaint(text);
    EXPECT_TRUE(!why.empty() && why.find('\n') == std::string::npos) << text << ": " << why;
  }
  const std::string most(60, 'a');
  EXPECT_EQ(complaint(most).find("\"" + most + "\" is no range"), 0U) << complaint(most);
  EXPECT_EQ(complaint(most + "a").find("\"" + most + "...\" is no range"), 0U) << complaint(most + "a");
  EXPECT_EQ(FrameRange::parse("1-10000000").count(), kMostFrames);
  EXPECT_EQ(FrameRange::parse("0-2147483647x1000000").count(), 2148U);
}

TEST(Range, a_stagger_visits_every_frame_once_in_the_order_of_its_passes) {
  for (Frame last = -30; last <= 30; last += 3) {
    for (int number = 2; number < 40; ++number) {
      const FrameRange range = FrameRange::parse("2-" + std::to_string(last) + ":" + std::to_string(number));
      ASSERT_EQ(walked(range), staggered(2, last, number)) << last << ":" << number;
    }
  }
}

}  // namespace
}  // namespace orb::frames
