// Items: found, loaded, added, deleted, shown one by one.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

#include "orbbase/support/resource/internal.h"
#include "orbbase/support/resource/messages.h"
#include "orbbase/support/resource/stream.h"

namespace orb::resource {
namespace {

bool is_live_of(const Resource& resource, const char* name) {
  return !resource.is_deleted() && std::strcmp(resource.name, name) == 0;
}

Resource* find_sorted(std::span<Resource> resources, const char* name) {
  const auto first = std::ranges::partition_point(
      resources, [name](const Resource& resource) { return std::strcmp(resource.name, name) < 0; });
  for (auto at = first; at != resources.end() && std::strcmp(at->name, name) == 0; ++at) {
    if (!at->is_deleted()) return &*at;
  }
  return nullptr;
}

Resource* find_queued(const Type& type, const char* name) {
  for (ListNode* node = type.queue.head(); node; node = node->next) {
    auto* resource = static_cast<Resource*>(node);
    if (is_live_of(*resource, name)) return resource;
  }
  return nullptr;
}

Type* find_type(File& file, uint32_t code) {
  Type* found = nullptr;
  for_each_type(file, [&](Type& type) {
    if (type.code == code) found = &type;
    return !found;
  });
  return found;
}

// What is wrong with an item to be added; null: nothing.
const char* why_refused(File& file, uint32_t code, const char* name, uint64_t data_bytes) {
  if (!file.is_update) return "it is open for reading only";
  if (code == 0) return "a type needs a code";
  if (std::strlen(name) > kMostNameBytes) return "a name has at most 65535 bytes";
  if (data_bytes > ORB_RSRC_MOST_BYTES) return "an item has at most 16777215 bytes";
  return find(file, code, name) ? "it has an item of that name already" : nullptr;
}

bool refuse(const File& file, const char* reason) {
  return fail_with(kRefused, ORB_E_HANDLE, file.path, reason);
}

// The item with its name and data, in no list yet.
Resource* copy_resource(Arena& arena, const char* name, const void* data, uint32_t data_bytes) {
  void* record = arena.take(sizeof(Resource));
  char* own_name = record ? arena.copy_text(name) : nullptr;
  void* own_data = own_name ? arena.take(data_bytes) : nullptr;
  if (!own_data) return nullptr;
  if (data_bytes > 0) std::memcpy(own_data, data, data_bytes);
  auto* resource = new (record) Resource;
  resource->name = own_name;
  resource->data = static_cast<uint8_t*>(own_data);
  resource->size_word = data_bytes;
  return resource;
}

Type* append_type(File& file, uint32_t code) {
  void* record = file.arena.take(sizeof(Type));
  if (!record) return nullptr;
  auto* type = new (record) Type;
  type->code = code;
  file.queue.append(type);
  return type;
}

ORB_RSRC_ITEM item_of(uint32_t code, const Resource& resource) {
  return {code, resource.name, resource.offset, resource.data_bytes(), resource.is_deleted() ? 1 : 0};
}

}  // namespace

Resource* find(File& file, uint32_t code, const char* name) {
  Resource* found = nullptr;
  for_each_type(file, [&](Type& type) {
    if (type.code != code) return true;
    found = find_sorted(type.sorted(), name);
    if (!found) found = find_queued(type, name);
    return !found;
  });
  return found;
}

const uint8_t* load(File& file, Resource& resource) {
  if (resource.data) return resource.data;
  const uint64_t bytes = resource.data_bytes();
  const bool is_inside =
      bytes == 0 || (resource.offset <= file.file_bytes && bytes <= file.file_bytes - resource.offset);
  // Items that share their bytes would let a small file ask for any amount of memory.
  if (!is_inside || bytes > file.file_bytes - file.loaded_bytes) {
    fail_with(kNotWhole, ORB_E_FORMAT, file.path, "its items claim more bytes than it has");
    return nullptr;
  }
  auto* data = static_cast<uint8_t*>(file.arena.take(bytes));
  if (!data) {
    fail_for_memory();
    return nullptr;
  }
  file.loaded_bytes += bytes;
  std::FILE* stream = file.stream.get();
  const bool is_placed = bytes == 0 || seek_to(stream, resource.offset);
  if (!is_placed || (bytes > 0 && !read_bytes(stream, data, bytes))) {
    const char* reason = !is_placed || std::ferror(stream) ? std::strerror(errno) : "it ends too soon";
    fail_with(kCannotRead, ORB_E_READ, file.path, reason);
    return nullptr;
  }
  resource.data = data;
  return data;
}

}  // namespace orb::resource

using namespace orb::resource;

void orb__rsrc_each(ORB_RSRC_FILE* file, ORB_RSRC_VISIT visit, void* user_data) {
  for_each_type(*file, [&](Type& type) {
    return for_each_resource(type, [&](Resource& resource) {
      const ORB_RSRC_ITEM item = item_of(type.code, resource);
      return visit(&item, user_data) != 0;
    });
  });
}

int32_t orb__rsrc_find(ORB_RSRC_FILE* file, uint32_t code, const char* name, ORB_RSRC_ITEM* item_out) {
  const Resource* resource = find(*file, code, name);
  if (resource && item_out) *item_out = item_of(code, *resource);
  return resource ? 1 : 0;
}

const void* orb__rsrc_load(ORB_RSRC_FILE* file, uint32_t code, const char* name, uint32_t* data_bytes_out) {
  Resource* resource = find(*file, code, name);
  const uint8_t* data = resource ? load(*file, *resource) : nullptr;
  if (data_bytes_out) *data_bytes_out = data ? resource->data_bytes() : 0;
  return data;
}

int32_t orb__rsrc_add(ORB_RSRC_FILE* file, uint32_t code, const char* name, const void* data,
                      uint64_t data_bytes) {
  if (const char* reason = why_refused(*file, code, name, data_bytes)) return refuse(*file, reason);
  Resource* resource = copy_resource(file->arena, name, data, static_cast<uint32_t>(data_bytes));
  Type* type = resource ? find_type(*file, code) : nullptr;
  if (resource && !type) type = append_type(*file, code);
  if (!type) return fail_for_memory();
  type->queue.append(resource);
  return 1;
}

int32_t orb__rsrc_delete(ORB_RSRC_FILE* file, uint32_t code, const char* name) {
  if (!file->is_update) return refuse(*file, "it is open for reading only");
  Resource* resource = find(*file, code, name);
  if (resource) resource->size_word |= kDeletedBit;
  return resource ? 1 : 0;
}
