// The type directory and the lists of items. All of it comes from a stranger: each count is held against the bytes
// that there are for it before memory is taken, and no two parts may lie over each other.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

#include "orbbase/support/resource/internal.h"
#include "orbbase/support/resource/messages.h"
#include "orbbase/support/resource/stream.h"

namespace orb::resource {
namespace {

constexpr uint32_t kLeastEntryBytes = kNameLengthBytes + kPlaceBytes;

bool not_whole(const File& file, const char* reason) {
  return fail_with(kNotWhole, ORB_E_FORMAT, file.path, reason);
}

// A read that gave too little: the device's fault, or a file that was cut while it was read.
bool short_read(const File& file) {
  if (std::ferror(file.stream.get())) {
    return fail_with(kCannotRead, ORB_E_READ, file.path, std::strerror(errno));
  }
  return not_whole(file, "it ends too soon");
}

bool seek_in(const File& file, uint64_t position) {
  if (seek_to(file.stream.get(), position)) return true;
  return fail_with(kCannotRead, ORB_E_READ, file.path, std::strerror(errno));
}

// Room for count records in the file's arena.
template <class T>
T* take_records(File& file, uint64_t count) {
  auto* records = static_cast<T*>(file.arena.take(count * sizeof(T)));
  for (uint64_t i = 0; records && i < count; ++i) new (records + i) T;
  return records;
}

bool read_type(File& file, Type& type) {
  std::FILE* stream = file.stream.get();
  if (!read_word(stream, &type.code) || !read_word(stream, &type.resource_count) ||
      !read_word(stream, &type.list_offset)) {
    return short_read(file);
  }
  if (type.code == 0) return not_whole(file, "a type has no code");
  return true;
}

bool read_types(File& file) {
  const uint64_t bytes = uint64_t{file.type_count} * kTypeEntryBytes;
  if (file.directory_offset > file.file_bytes || bytes > file.file_bytes - file.directory_offset) {
    return not_whole(file, "its directory goes beyond its end");
  }
  if (bytes == 0) return true;
  if (file.directory_offset < kHeaderBytes) return not_whole(file, "its directory lies over its header");
  if (!seek_in(file, file.directory_offset)) return false;
  file.types = take_records<Type>(file, file.type_count);
  if (!file.types) return fail_for_memory();
  return std::ranges::all_of(file.known_types(), [&](Type& type) { return read_type(file, type); });
}

// One item, from a list that has left_bytes still.
bool read_resource(File& file, Resource& resource, uint64_t* left_bytes) {
  std::FILE* stream = file.stream.get();
  uint16_t length = 0;
  if (*left_bytes < kLeastEntryBytes) return not_whole(file, "a list runs into what lies behind it");
  if (!read_half(stream, &length)) return short_read(file);
  if (length > *left_bytes - kLeastEntryBytes) return not_whole(file, "a name runs into what lies behind it");
  *left_bytes -= kLeastEntryBytes + length;
  resource.name = static_cast<char*>(file.arena.take(length + uint64_t{1}));
  if (!resource.name) return fail_for_memory();
  uint32_t size_word = 0;
  if (!read_bytes(stream, resource.name, length) || !read_word(stream, &resource.offset) ||
      !read_word(stream, &size_word)) {
    return short_read(file);
  }
  resource.name[length] = '\0';
  resource.size_word = size_word & (kSizeBits | kDeletedBit);
  if (std::strlen(resource.name) != length) return not_whole(file, "a name has a zero byte");
  return true;
}

// The bytes from the list's start to whatever begins next; false when it begins inside of something.
bool find_room(const File& file, const Type& type, const Type* next, uint64_t* room_out) {
  const uint64_t start = type.list_offset;
  const uint64_t directory = file.directory_offset;
  const uint64_t directory_end = directory + uint64_t{file.type_count} * kTypeEntryBytes;
  uint64_t end = file.file_bytes;
  if (next) end = std::min(end, uint64_t{next->list_offset});
  if (start < directory) end = std::min(end, directory);
  if (start < kHeaderBytes || start > end || (start >= directory && start < directory_end)) return false;
  *room_out = end - start;
  return true;
}

bool read_list(File& file, Type& type, const Type* next) {
  uint64_t left_bytes = 0;
  if (!find_room(file, type, next, &left_bytes)) return not_whole(file, "a list lies where it cannot be");
  if (type.resource_count > left_bytes / kLeastEntryBytes) {
    return not_whole(file, "a list runs into what lies behind it");
  }
  if (!seek_in(file, type.list_offset)) return false;
  type.resources = take_records<Resource>(file, type.resource_count);
  if (!type.resources) return fail_for_memory();
  for (Resource& resource : type.sorted()) {
    if (!read_resource(file, resource, &left_bytes)) return false;
  }
  sort_by_name(type.sorted());
  return true;
}

// In the order of their places, so that each list is known to end where the next begins.
bool read_lists(File& file) {
  if (file.type_count == 0) return true;
  const owned<Type*> by_place = make_zeroed<Type*>(file.type_count);
  if (!by_place) return fail_for_memory();
  uint64_t count = 0;
  for (Type& type : file.known_types()) {
    if (type.resource_count > 0) by_place.get()[count++] = &type;
  }
  const std::span<Type*> lists(by_place.get(), count);
  std::ranges::sort(lists, {}, &Type::list_offset);
  for (size_t i = 0; i < lists.size(); ++i) {
    if (!read_list(file, *lists[i], i + 1 < lists.size() ? lists[i + 1] : nullptr)) return false;
  }
  return true;
}

bool is_before(const Resource& a, const Resource& b) { return std::strcmp(a.name, b.name) < 0; }

}  // namespace

void sort_by_name(std::span<Resource> resources) {
  if (!std::ranges::is_sorted(resources, is_before)) std::ranges::stable_sort(resources, is_before);
}

bool read_directory(File& file) { return read_types(file) && read_lists(file); }

}  // namespace orb::resource
