// What the library keeps of an open resource file. All of it but the file's own record lies in the file's arena.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>

#include "orbbase/support/containers/arena.h"
#include "orbbase/support/containers/list.h"
#include "orbbase/support/resource.h"

namespace orb::resource {

inline constexpr uint32_t kHeaderBytes = 12;
inline constexpr uint32_t kTypeEntryBytes = 12;
// Of an entry in a list, beside the name: its length, and the offset and size of the data.
inline constexpr uint32_t kNameLengthBytes = 2;
inline constexpr uint32_t kPlaceBytes = 8;
inline constexpr uint32_t kMostNameBytes = 0xFFFF;

inline constexpr uint32_t kSizeBits = ORB_RSRC_MOST_BYTES;
inline constexpr uint32_t kDeletedBit = 1U << 24;

// One item.
struct Resource : ListNode {
  char* name = nullptr;
  uint8_t* data = nullptr;  // null until it is loaded
  uint32_t offset = 0;
  uint32_t size_word = 0;  // kSizeBits and kDeletedBit, as in the file

  [[nodiscard]] uint32_t data_bytes() const { return size_word & kSizeBits; }
  [[nodiscard]] bool is_deleted() const { return (size_word & kDeletedBit) != 0; }
};

struct Type : ListNode {
  ListOf<Resource> queue;         // added since the file was read or saved, in the order they came
  Resource* resources = nullptr;  // resource_count, in the order of their names
  uint32_t resource_count = 0;
  uint32_t written_count = 0;  // by the last save
  uint32_t list_offset = 0;
  uint32_t code = 0;

  [[nodiscard]] std::span<Resource> sorted() const { return {resources, resource_count}; }
};

// These sizes are part of how much memory a file takes: a file's size bounds the number of its records.
static_assert(sizeof(void*) != 8 || (sizeof(Resource) == 32 && sizeof(Type) == 64));

struct CloseStream {
  void operator()(std::FILE* stream) const { std::fclose(stream); }
};
using Stream = std::unique_ptr<std::FILE, CloseStream>;

}  // namespace orb::resource

struct ORB_RSRC_FILE : orb::ListNode {
  // On purpose neither of the usual size nor of one size.
  static constexpr int32_t kBlockBytes = 16834;
  static constexpr int32_t kEmptyBlockBytes = 512;

  explicit ORB_RSRC_FILE(bool has_types) : arena(has_types ? kBlockBytes : kEmptyBlockBytes) {}

  char* path = nullptr;       // as it was opened
  char* requested = nullptr;  // as it was asked for
  orb::resource::Stream stream;
  uint32_t version = 0;
  uint32_t directory_offset = 0;
  uint32_t type_count = 0;
  uint32_t written_count = 0;  // types in the file: as read, then as saved
  orb::resource::Type* types = nullptr;
  orb::ListOf<orb::resource::Type> queue;  // types added since the file was read or saved
  orb::Arena arena;
  bool is_update = false;
  uint64_t file_bytes = 0;    // no claim may go beyond it
  uint64_t loaded_bytes = 0;  // of items, read from the file; never more than file_bytes

  [[nodiscard]] std::span<orb::resource::Type> known_types() const { return {types, type_count}; }
};

namespace orb::resource {

using File = ORB_RSRC_FILE;

struct DestroyFile {
  void operator()(File* file) const;
};
using FileOwner = std::unique_ptr<File, DestroyFile>;

// Calls step for every type, those not saved yet last, until it returns false. False then. Leaves the cursors alone,
// so that a step may search.
template <class Step>
bool for_each_type(File& file, Step step) {
  for (Type& type : file.known_types()) {
    if (!step(type)) return false;
  }
  for (ListNode* node = file.queue.head(); node; node = node->next) {
    if (!step(*static_cast<Type*>(node))) return false;
  }
  return true;
}

// The same for every item of a type.
template <class Step>
bool for_each_resource(Type& type, Step step) {
  for (Resource& resource : type.sorted()) {
    if (!step(resource)) return false;
  }
  for (ListNode* node = type.queue.head(); node; node = node->next) {
    if (!step(*static_cast<Resource*>(node))) return false;
  }
  return true;
}

// A code's characters, and a zero.
struct CodeText {
  char characters[5];
};
[[nodiscard]] inline CodeText text_of(uint32_t code) {
  return {{static_cast<char>(code >> 24), static_cast<char>(code >> 16 & 0xFF),
           static_cast<char>(code >> 8 & 0xFF), static_cast<char>(code & 0xFF), '\0'}};
}

}  // namespace orb::resource
