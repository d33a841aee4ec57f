// The two dumps of an open resource file.
#include <cinttypes>
#include <cstdarg>
#include <cstdio>

#include "orbbase/support/resource/internal.h"
#include "orbbase/support/resource/messages.h"

namespace orb::resource {
namespace {

constexpr const char* kTypeIndent = "\t";
constexpr const char* kResourceIndent = "\t\t";

// What a type's status says.
enum TypeStatus : int { kStatusSaved = 0, kStatusQueued = 1 };

// Formats one line and prints it. False for want of memory: a name may be longer than any line should be.
[[gnu::format(printf, 1, 2)]] bool line(const char* format, ...) {
  char usual[256];
  va_list args;
  va_start(args, format);
  const int length = std::vsnprintf(usual, sizeof(usual), format, args);
  va_end(args);
  if (length < 0) return false;
  if (static_cast<size_t>(length) < sizeof(usual)) {
    print_line(usual);
    return true;
  }
  const uint64_t bytes = static_cast<uint64_t>(length) + 1;
  const owned<char> longer(static_cast<char*>(allocate(bytes)));
  if (!longer) return fail_for_memory();
  va_start(args, format);
  std::vsnprintf(longer.get(), bytes, format, args);
  va_end(args);
  print_line(longer.get());
  return true;
}

bool dump_resource(const Resource& resource) {
  const char* indent = kResourceIndent;
  return line("%sRESOURCE", indent) &&
         line("%s\tname           : %s", indent, resource.is_deleted() ? "(DELETED)" : resource.name) &&
         line("%s\toffset         : %" PRIu32, indent, resource.offset) &&
         line("%s\tdata           : %p", indent, static_cast<const void*>(resource.data)) &&
         line("%s\tsize           : %" PRIu32, indent, resource.data_bytes());
}

bool dump_type(Type& type, TypeStatus status) {
  const char* indent = kTypeIndent;
  return line("%sTYPE", indent) && line("%s\tcode           : %s", indent, text_of(type.code).characters) &&
         line("%s\tstatus         : %d", indent, status) &&
         line("%s\tnResources     : %" PRIu32, indent, type.resource_count) &&
         line("%s\tnResources(q)  : %" PRId32, indent, type.queue.count()) &&
         line("%s\toffset         : %" PRIu32, indent, type.list_offset) &&
         for_each_resource(type, dump_resource);
}

bool dump_file(const File& file) {
  return line("Resource file") && line("\tFile spec      : %s", file.requested) &&
         line("\tFile name      : %s", file.path) &&
         line("\tversion        : %" PRIu32 "\toffset         : %" PRIu32, file.version,
              file.directory_offset) &&
         line("\tupdate         : %d\tNumber of types: %" PRIu32, file.is_update ? 1 : 0, file.written_count);
}

bool dump_record(const File& file) {
  return line("\tfilePointer    : %p", static_cast<const void*>(file.stream.get())) &&
         line("\tmemID          : %p", static_cast<const void*>(&file.arena)) &&
         line("\tnTypes         : %" PRIu32, file.type_count) &&
         line("\tnTypes(queue)  : %" PRId32, file.queue.count());
}

bool dump_types(File& file) {
  uint32_t known_left = file.type_count;
  return for_each_type(file, [&](Type& type) {
    const bool is_known = known_left > 0;
    if (is_known) --known_left;
    return dump_type(type, is_known ? kStatusSaved : kStatusQueued);
  });
}

}  // namespace
}  // namespace orb::resource

int32_t orb__rsrc_dump(ORB_RSRC_FILE* file, int32_t is_detailed) {
  using namespace orb::resource;
  return dump_file(*file) && (!is_detailed || dump_record(*file)) && dump_types(*file);
}
