// A singly linked list of records that carry their own link, with a built-in cursor.
#pragma once

#include <cstdint>

namespace orb {

// The first word of every record that goes into a list.
struct ListNode {
  ListNode* next = nullptr;
};

// Owns none of its nodes. The cursor is the only state of a walk: rewind, then next until null. A search that
// must not disturb a caller's walk saves the position and sets it back when it fails.
class List {
 public:
  void append(ListNode* node);
  void rewind() { cursor_ = head_; }
  ListNode* next();
  [[nodiscard]] ListNode* position() const { return cursor_; }
  void set_position(ListNode* position) { cursor_ = position; }
  void remove(ListNode* node);
  ListNode* take_first();
  [[nodiscard]] int32_t count() const { return count_; }
  [[nodiscard]] ListNode* head() const { return head_; }
  [[nodiscard]] ListNode* tail() const { return tail_; }

 private:
  ListNode* head_ = nullptr;
  ListNode* tail_ = nullptr;
  ListNode* cursor_ = nullptr;
  int32_t count_ = 0;
};

// The records of a list are of one type; this spares its users the casts.
template <class Node>
class ListOf : public List {
 public:
  Node* next() { return static_cast<Node*>(List::next()); }
  Node* take_first() { return static_cast<Node*>(List::take_first()); }
};

}  // namespace orb
