// Writing a resource file anew, through the stream it was read from.
#include <cerrno>
#include <cstring>
#include <new>

#include "orbbase/platform/platform.h"
#include "orbbase/support/resource/internal.h"
#include "orbbase/support/resource/messages.h"
#include "orbbase/support/resource/stream.h"

namespace orb::resource {
namespace {

// ---- What was added goes into the sorted arrays ----

// The arrays' records followed by the queue's, in the file's arena; null for want of memory.
template <class Record>
Record* joined(Arena& arena, std::span<Record> known, ListOf<Record>& queue) {
  const uint64_t count = known.size() + static_cast<uint64_t>(queue.count());
  auto* all = static_cast<Record*>(arena.take(count * sizeof(Record)));
  if (!all) return nullptr;
  Record* end = all;
  for (const Record& record : known) new (end++) Record(record);
  for (ListNode* node = queue.head(); node; node = node->next) {
    new (end++) Record(*static_cast<Record*>(node));
  }
  return all;
}

bool settle_resources(File& file, Type& type) {
  if (type.queue.count() == 0) return true;
  Resource* all = joined(file.arena, type.sorted(), type.queue);
  if (!all) return fail_for_memory();
  type.resources = all;
  type.resource_count += static_cast<uint32_t>(type.queue.count());
  type.queue = {};
  sort_by_name(type.sorted());
  return true;
}

bool settle(File& file) {
  if (!for_each_type(file, [&](Type& type) { return settle_resources(file, type); })) return false;
  if (file.queue.count() == 0) return true;
  Type* all = joined(file.arena, file.known_types(), file.queue);
  if (!all) return fail_for_memory();
  file.types = all;
  file.type_count += static_cast<uint32_t>(file.queue.count());
  file.queue = {};
  return true;
}

// ---- What will be written ----

// Calls step for every item that is not deleted until it returns false. False then.
template <class Step>
bool for_each_live(Type& type, Step step) {
  for (Resource& resource : type.sorted()) {
    if (!resource.is_deleted() && !step(resource)) return false;
  }
  return true;
}

bool load_all(File& file) {
  return for_each_type(file, [&](Type& type) {
    return for_each_live(type, [&](Resource& resource) { return load(file, resource) != nullptr; });
  });
}

uint64_t list_entry_bytes(const Resource& resource) {
  return kNameLengthBytes + std::strlen(resource.name) + kPlaceBytes;
}

// Gives every item, list and the directory its place. Returns the file's new size.
uint64_t lay_out(File& file) {
  uint64_t at = kHeaderBytes;
  const auto place = [&at](uint32_t* offset) { *offset = static_cast<uint32_t>(at); };
  for (Type& type : file.known_types()) {
    for_each_live(type, [&](Resource& resource) {
      place(&resource.offset);
      at += resource.data_bytes();
      return true;
    });
  }
  file.written_count = 0;
  for (Type& type : file.known_types()) {
    place(&type.list_offset);
    type.written_count = 0;
    for_each_live(type, [&](Resource& resource) {
      ++type.written_count;
      at += list_entry_bytes(resource);
      return true;
    });
    if (type.written_count > 0) ++file.written_count;
  }
  place(&file.directory_offset);
  return at + uint64_t{file.written_count} * kTypeEntryBytes;
}

// ---- Writing ----

bool write_data(File& file) {
  return for_each_type(file, [&](Type& type) {
    return for_each_live(type, [&](Resource& resource) {
      return write_bytes(file.stream.get(), resource.data, resource.data_bytes());
    });
  });
}

bool write_list_entry(std::FILE* stream, const Resource& resource) {
  const auto length = static_cast<uint16_t>(std::strlen(resource.name));
  return write_half(stream, length) && write_bytes(stream, resource.name, length) &&
         write_word(stream, resource.offset) && write_word(stream, resource.data_bytes());
}

bool write_lists(File& file) {
  return for_each_type(file, [&](Type& type) {
    return for_each_live(type,
                         [&](Resource& resource) { return write_list_entry(file.stream.get(), resource); });
  });
}

bool write_directory(File& file) {
  std::FILE* stream = file.stream.get();
  return for_each_type(file, [&](Type& type) {
    return type.written_count == 0 ||
           (write_word(stream, type.code) && write_word(stream, type.written_count) &&
            write_word(stream, type.list_offset));
  });
}

bool write_header(File& file) {
  std::FILE* stream = file.stream.get();
  return write_word(stream, file.version) && write_word(stream, file.written_count) &&
         write_word(stream, file.directory_offset);
}

// The header last: until it is there, the file says nothing of what was written.
bool write_all(File& file, uint64_t end) {
  std::FILE* stream = file.stream.get();
  return seek_to(stream, kHeaderBytes) && write_data(file) && write_lists(file) && write_directory(file) &&
         seek_to(stream, 0) && write_header(file) && seek_to(stream, end) &&
         platform::cut_stream(stream) == 0;
}

}  // namespace

bool save(File& file) {
  if (!file.is_update) return fail_with(kRefused, ORB_E_HANDLE, file.path, "it is open for reading only");
  if (!settle(file) || !load_all(file)) return false;
  const uint64_t end = lay_out(file);
  if (end > UINT32_MAX) {
    return fail_with(kRefused, ORB_E_HANDLE, file.path, "it would be larger than its offsets can tell");
  }
  if (!write_all(file, end)) return fail_with(kCannotWrite, ORB_E_WRITE, file.path, std::strerror(errno));
  file.file_bytes = end;
  return true;
}

}  // namespace orb::resource

int32_t orb__rsrc_save(ORB_RSRC_FILE* file) { return orb::resource::save(*file) ? 1 : 0; }
