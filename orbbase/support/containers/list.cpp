// The intrusive list.
#include "orbbase/support/containers/list.h"

namespace orb {

void List::append(ListNode* node) {
  node->next = nullptr;
  if (tail_) {
    tail_->next = node;
  } else {
    head_ = node;
  }
  tail_ = node;
  ++count_;
}

ListNode* List::next() {
  ListNode* node = cursor_;
  if (node) cursor_ = node->next;
  return node;
}

void List::remove(ListNode* node) {
  ListNode* before = nullptr;
  ListNode* at = head_;
  while (at && at != node) {
    before = at;
    at = at->next;
  }
  if (!at) return;
  (before ? before->next : head_) = node->next;
  if (tail_ == node) tail_ = before;
  if (cursor_ == node) cursor_ = node->next;  // a walk goes on behind the gap
  node->next = nullptr;
  --count_;
}

ListNode* List::take_first() {
  ListNode* first = head_;
  if (first) remove(first);
  return first;
}

}  // namespace orb
