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

// Prints lines until one finds no memory, for a name may be longer than any line should be; those behind it are
// left out.
class Dump {
 public:
  [[gnu::format(printf, 2, 3)]] void line(const char* format, ...);
  [[nodiscard]] bool is_whole() const { return is_whole_; }

 private:
  bool is_whole_ = true;
};

void Dump::line(const char* format, ...) {
  if (!is_whole_) return;
  char usual[256];
  va_list args;
  va_start(args, format);
  const auto length = static_cast<size_t>(std::vsnprintf(usual, sizeof(usual), format, args));
  va_end(args);
  if (length < sizeof(usual)) return print_line(usual);
  const owned<char> longer(static_cast<char*>(allocate(length + 1)));
  is_whole_ = longer || fail_for_memory();
  if (!longer) return;
  va_start(args, format);
  std::vsnprintf(longer.get(), length + 1, format, args);
  va_end(args);
  print_line(longer.get());
}

bool dump_resource(Dump& dump, const Resource& resource) {
  const char* indent = kResourceIndent;
  dump.line("%sRESOURCE", indent);
  dump.line("%s\tname           : %s", indent, resource.is_deleted() ? "(DELETED)" : resource.name);
  dump.line("%s\toffset         : %" PRIu32, indent, resource.offset);
  dump.line("%s\tdata           : %p", indent, static_cast<const void*>(resource.data));
  dump.line("%s\tsize           : %" PRIu32, indent, resource.data_bytes());
  return dump.is_whole();
}

bool dump_type(Dump& dump, Type& type, TypeStatus status) {
  const char* indent = kTypeIndent;
  dump.line("%sTYPE", indent);
  dump.line("%s\tcode           : %s", indent, text_of(type.code).characters);
  dump.line("%s\tstatus         : %d", indent, status);
  dump.line("%s\tnResources     : %" PRIu32, indent, type.resource_count);
  dump.line("%s\tnResources(q)  : %" PRId32, indent, type.queue.count());
  dump.line("%s\toffset         : %" PRIu32, indent, type.list_offset);
  return for_each_resource(type, [&](const Resource& resource) { return dump_resource(dump, resource); });
}

void dump_file(Dump& dump, const File& file) {
  dump.line("Resource file");
  dump.line("\tFile spec      : %s", file.requested);
  dump.line("\tFile name      : %s", file.path);
  dump.line("\tversion        : %" PRIu32 "\toffset         : %" PRIu32, file.version, file.directory_offset);
  dump.line("\tupdate         : %d\tNumber of types: %" PRIu32, file.is_update ? 1 : 0, file.written_count);
}

void dump_record(Dump& dump, const File& file) {
  dump.line("\tfilePointer    : %p", static_cast<const void*>(file.stream.get()));
  dump.line("\tmemID          : %p", static_cast<const void*>(&file.arena));
  dump.line("\tnTypes         : %" PRIu32, file.type_count);
  dump.line("\tnTypes(queue)  : %" PRId32, file.queue.count());
}

bool dump_types(Dump& dump, File& file) {
  uint32_t known_left = file.type_count;
  return for_each_type(file, [&](Type& type) {
    const bool is_known = known_left > 0;
    if (is_known) --known_left;
    return dump_type(dump, type, is_known ? kStatusSaved : kStatusQueued);
  });
}

}  // namespace
}  // namespace orb::resource

int32_t orb__rsrc_dump(ORB_RSRC_FILE* file, int32_t is_detailed) {
  using namespace orb::resource;
  Dump dump;
  dump_file(dump, *file);
  if (is_detailed) dump_record(dump, *file);
  return dump_types(dump, *file) && dump.is_whole();
}
