// Folders read as sequences. Every test runs in a folder of its own.
#include "frames/on_disk.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace orb::frames {
namespace {

void make(const std::string& name) { std::ofstream{name}; }

void make_frames(const std::string& pattern, const std::string& range) {
  const FramePattern names = FramePattern::parse(pattern);
  for (const Frame frame : FrameRange::parse(range)) make(names.name(frame));
}

std::vector<std::string> texts_of(const Listing& listing) {
  std::vector<std::string> texts;
  for (const Sequence& sequence : listing.sequences) texts.push_back(sequence.text());
  return texts;
}

TEST(OnDisk, names_become_sequences_with_gaps_and_paddings_apart) {
  std::filesystem::create_directories("d/sub.0001");
  std::filesystem::create_directory_symlink("sub.0001", "d/link");
  make_frames("d/plate_v002.####.exr", "1001-1049,1051-1095x2");
  make_frames("d/wide.####.exr", "9998-10001,1-2");
  make_frames("d/mixed.#.exr", "1-3");  // width 4
  make_frames("d/mixed.%d.exr", "8-11");
  make_frames("d/below.%d.exr", "-2-2");
  make_frames("d/shot.%d.exr", "9,10,100");
  for (const char* name : {".hidden.0001.exr", ".hidden.0002.exr", "alone.0001.exr", "readme", "10", "9",
                           "big.1111111111111111111111111111111111111111.exr", "sub.0002", "a10", "a9.txt"}) {
    make(std::string("d/") + name);
  }
  const Listing listing = list_folder("d");
  EXPECT_EQ(texts_of(listing),
            (std::vector<std::string>{"d/[9-10]#", "d/below.[-2-2]#.exr", "d/mixed.[1-3]####.exr",
                                      "d/mixed.[8-11]#.exr", "d/plate_v002.[1001-1049,1051-1095x2]####.exr",
                                      "d/shot.[9-10,100]#.exr", "d/wide.[1-2,9998-10001]####.exr"}));
  EXPECT_EQ(listing.files, (std::vector<std::string>{"d/a9.txt", "d/a10", "d/alone.0001.exr",
                                                     "d/big.1111111111111111111111111111111111111111.exr",
                                                     "d/link", "d/readme", "d/sub.0002"}));
  EXPECT_EQ(listing.folders, (std::vector<std::string>{"d/sub.0001"}));
  EXPECT_EQ(listing.sequences[4].missing().text(), "1050-1094x2");
  for (const Sequence& sequence : listing.sequences) {
    for (const Frame frame : sequence.frames) {
      EXPECT_TRUE(std::filesystem::exists(sequence.pattern.name(frame))) << sequence.pattern.name(frame);
    }
  }
  EXPECT_THROW((void)list_folder("absent"), std::system_error);
}

TEST(OnDisk, a_pattern_finds_its_frames_and_an_open_width_the_one_that_is_there) {
  make_frames("a.##.exr", "1-3");
  make_frames("a.####.exr", "1-5,10000");
  make_frames("b.%d.exr", "7-12");
  const struct {
    const char* pattern;
    const char* found;  // frames, and the name of frame 8
    const char* eighth;
  } rows[] = {{"a.####.exr", "1-5,10000", "a.0008.exr"},
              {"a.%02d.exr", "1-3,10000", "a.08.exr"},
              {"a.#.exr", "1-5,10000", "a.0008.exr"},
              {"b.#.exr", "7-12", "b.8.exr"},
              {"./b.$F.exr", "7-12", "./b.8.exr"},
              {"b.####.exr", "", ""},
              {"absent/c.#.exr", "", ""}};
  for (const auto& row : rows) {
    const std::optional<Sequence> found = find_sequence(FramePattern::parse(row.pattern));
    EXPECT_EQ(found ? found->range().text() : "", row.found) << row.pattern;
    if (found) {
      EXPECT_EQ(found->pattern.name(8), row.eighth);
    }
  }
  EXPECT_EQ(nearest_sequence(FramePattern::parse("a.##.png")), "a.[1-3]##.exr");
  EXPECT_EQ(nearest_sequence(FramePattern::parse("absent/a.####.exr")), "");
}

TEST(OnDisk, names_are_ordered_by_the_value_of_their_numbers) {
  // clang-format off
  const std::string ordered[] = {"", "-", "2", "02b", "2b", "10", "9999999999999999999999", "10000000000000000000000",
                                 "a", "a-b", "a.9", "a.10", "a1", "a01b", "b", "\xff"};
  // clang-format on
  for (size_t i = 0; i < std::size(ordered); ++i) {
    for (size_t j = 0; j < std::size(ordered); ++j) {
      EXPECT_EQ(is_before(ordered[i], ordered[j]), i < j) << ordered[i] << " " << ordered[j];
    }
  }
}

}  // namespace
}  // namespace orb::frames
