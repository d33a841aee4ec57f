#include "orbbase/support/containers/list.h"

#include <gtest/gtest.h>

#include <string>

namespace orb::testing {
namespace {

struct Letter : ListNode {
  char letter = '?';
};

// A list of the letters a, b, c...
struct Letters {
  explicit Letters(int count) {
    for (int i = 0; i < 5; ++i) nodes[i].letter = static_cast<char>('a' + i);
    for (int i = 0; i < count; ++i) list.append(&nodes[i]);
  }
  // What a walk from the cursor on finds.
  std::string rest() {
    std::string letters;
    while (const Letter* node = list.next()) letters += node->letter;
    return letters;
  }
  std::string all() {
    list.rewind();
    return rest();
  }
  Letter nodes[5];
  ListOf<Letter> list;
};

TEST(List, starts_empty_and_its_first_node_is_head_and_tail) {
  Letters empty(0);
  EXPECT_EQ(empty.all(), "");
  EXPECT_EQ(empty.list.take_first(), nullptr);
  EXPECT_EQ(empty.list.count(), 0);
  Letters one(1);
  EXPECT_EQ(one.list.head(), &one.nodes[0]);
  EXPECT_EQ(one.list.tail(), &one.nodes[0]);
}

TEST(List, loses_a_node_anywhere_and_a_walk_that_stands_there_goes_on_behind_it) {
  for (int count = 1; count <= 4; ++count) {
    for (int gone = 0; gone < count; ++gone) {
      for (int walked = 0; walked <= count; ++walked) {
        SCOPED_TRACE(::testing::Message() << count << " nodes, " << gone << " removed after " << walked);
        Letters letters(count);
        letters.list.rewind();
        for (int i = 0; i < walked; ++i) letters.list.next();
        letters.list.remove(&letters.nodes[gone]);
        std::string left = std::string("abcd").substr(0, static_cast<size_t>(count));
        const std::string behind = left.substr(static_cast<size_t>(walked));
        const auto without = [&](std::string text) {
          std::erase(text, static_cast<char>('a' + gone));
          return text;
        };
        EXPECT_EQ(letters.rest(), without(behind));
        EXPECT_EQ(letters.all(), without(left));
        EXPECT_EQ(letters.list.count(), count - 1);
        letters.list.append(&letters.nodes[4]);  // "e"; the tail is right only if this is found
        EXPECT_EQ(letters.all(), without(left) + "e");
      }
    }
  }
}

TEST(List, ignores_the_removal_of_a_node_that_is_not_in_it) {
  Letters letters(2);
  Letter stranger;
  letters.list.remove(&stranger);
  EXPECT_EQ(letters.all(), "ab");
  EXPECT_EQ(letters.list.count(), 2);
}

TEST(List, is_emptied_node_by_node_in_order) {
  Letters letters(3);
  letters.list.rewind();
  std::string taken;
  while (const Letter* node = letters.list.take_first()) taken += node->letter;
  EXPECT_EQ(taken, "abc");
  EXPECT_EQ(letters.list.tail(), nullptr);
  EXPECT_EQ(letters.list.next(), nullptr);
}

TEST(List, goes_on_where_a_saved_position_was) {
  Letters letters(3);
  letters.list.rewind();
  letters.list.next();
  ListNode* const position = letters.list.position();
  EXPECT_EQ(letters.all(), "abc");
  letters.list.set_position(position);
  EXPECT_EQ(letters.rest(), "bc");
}

}  // namespace
}  // namespace orb::testing
