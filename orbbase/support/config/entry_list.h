// The named entries of a configuration database, built-in ones and those of the file, with a walk.
#pragma once

#include <cstdint>
#include <cstring>
#include <memory>

#include "orbbase/support/config/setting.h"
#include "orbbase/support/containers/list.h"
#include "orbbase/support/err/internal.h"

namespace orb::config {

// Releases an entry of the file with its name. An Entry is a plain record with a text `name`.
template <class Entry>
struct EntryReleased {
  void operator()(Entry* entry) const {
    ERR_free(const_cast<char*>(entry->name));
    ERR_free(entry);
  }
};

template <class Entry>
using owned_entry = std::unique_ptr<Entry, EntryReleased<Entry>>;

template <class Entry>
struct EntryNode : ListNode {
  int32_t is_built_in;  // the entry is static and never released
  const Entry* entry;
  Origin origin;
};

template <class Entry>
class EntryList {
 public:
  using Node = EntryNode<Entry>;

  // False when memory runs out, reported, here and below.
  [[nodiscard]] bool add_built_in(const Entry& entry) {
    owned<Node> node = make_zeroed<Node>(1);
    if (!node) return false;
    node->is_built_in = 1;
    node->entry = &entry;
    nodes_.append(node.release());
    return true;
  }

  // Puts an entry of the file at the end; one of the same name goes.
  [[nodiscard]] bool replace(owned_entry<Entry> entry, Origin origin) {
    owned<Node> node = make_zeroed<Node>(1);
    if (!node) return false;
    if (Node* old = with_name(entry->name)) {
      nodes_.remove(old);
      release(old);
    }
    node->entry = entry.release();
    node->origin = origin;
    nodes_.append(node.release());
    return true;
  }

  // The entry of this name, with the walk behind it; null, with the walk where it was, when there is none.
  const Entry* find(const char* name) {
    ListNode* const position = nodes_.position();
    nodes_.rewind();
    while (const Node* node = nodes_.next())
      if (std::strcmp(node->entry->name, name) == 0) return node->entry;
    nodes_.set_position(position);
    return nullptr;
  }

  void rewind() { nodes_.rewind(); }

  // The next entry of the walk, or null.
  const Entry* next() {
    const Node* const node = nodes_.next();
    return node ? node->entry : nullptr;
  }

  void clear() {
    while (Node* node = nodes_.take_first()) release(node);
  }

  [[nodiscard]] int32_t count() const { return nodes_.count(); }

  // Apart from the walk: the index-th entry, from 0, or null.
  [[nodiscard]] const Node* at(int32_t index) const {
    const ListNode* node = nodes_.head();
    for (; node && index > 0; --index) node = node->next;
    return static_cast<const Node*>(node);
  }

 private:
  Node* with_name(const char* name) const {
    for (ListNode* link = nodes_.head(); link; link = link->next) {
      Node* const node = static_cast<Node*>(link);
      if (std::strcmp(node->entry->name, name) == 0) return node;
    }
    return nullptr;
  }

  static void release(Node* node) {
    if (!node->is_built_in) EntryReleased<Entry>()(const_cast<Entry*>(node->entry));
    ERR_free(node);
  }

  ListOf<Node> nodes_;
};

}  // namespace orb::config
