// The search list and the list of open files.
#include <cerrno>
#include <cstring>
#include <new>

#include "orbbase/str.h"
#include "orbbase/support/resource/internal.h"
#include "orbbase/support/resource/messages.h"

namespace orb::resource {
namespace {

constexpr int32_t kBlockBytes = 512;

struct Prefix : ListNode {
  const char* text = nullptr;
};

struct State {
  ListOf<Prefix> prefixes;         // in the order they were added
  ListOf<File> files;              // open, in the order they were opened
  Arena* arena = nullptr;          // of the prefixes; made when it is first needed
  ORB_RSRC_PRINT print = nullptr;  // takes the lines of dumps
  void* print_data = nullptr;
} state;

Arena* arena() {
  if (state.arena) return state.arena;
  void* memory = allocate(sizeof(Arena));
  if (memory) state.arena = new (memory) Arena(kBlockBytes);
  return state.arena;
}

void empty_lists() {
  while (File* file = state.files.take_first()) FileOwner(file).reset();
  state.prefixes = {};
  if (state.arena) state.arena->release();
}

File* open_file_of(const char* name) {
  state.files.rewind();
  while (File* file = state.files.next()) {
    if (std::strcmp(file->requested, name) == 0) return file;
  }
  return nullptr;
}

}  // namespace

void DestroyFile::operator()(File* file) const {
  file->~File();
  ERR_free(file);
}

Searched search(const char* name, TryPath step, void* context) {
  if (step(name, context)) return Searched::found;
  state.prefixes.rewind();
  while (const Prefix* prefix = state.prefixes.next()) {
    const owned<char> path(STR_save_n(2, prefix->text, name));
    if (!path) {
      report(kNoMemory);  // nobody has: STR allocates for itself
      return Searched::no_memory;
    }
    if (step(path.get(), context)) return Searched::found;
  }
  return Searched::not_found;
}

Found find_in_open_files(uint32_t code, const char* name) {
  state.files.rewind();
  while (File* file = state.files.next()) {
    if (Resource* resource = find(*file, code, name)) return {file, resource};
  }
  return {nullptr, nullptr};
}

void print_line(const char* line) {
  if (state.print) state.print(line, state.print_data);
}

}  // namespace orb::resource

using namespace orb::resource;

int32_t orb__rsrc_init(ORB_RSRC_PRINT print, void* user_data) {
  empty_lists();
  state.print = print;
  state.print_data = user_data;
  return arena() ? 1 : fail_for_memory();
}

int32_t orb__rsrc_search(const char* prefix) {
  orb::Arena* memory = arena();
  void* record = memory ? memory->take(sizeof(Prefix)) : nullptr;
  const char* text = record ? memory->copy_text(prefix) : nullptr;
  if (!text) return fail_for_memory();
  auto* added = new (record) Prefix;
  added->text = text;
  state.prefixes.append(added);
  return 1;
}

ORB_RSRC_FILE* orb__rsrc_open(const char* name) {
  if (File* file = open_file_of(name)) return file;
  FileOwner file = open_file(name);
  if (file) state.files.append(file.get());
  return file.release();
}

int32_t orb__rsrc_close(const char* name, int32_t save_first) {
  const FileOwner file(open_file_of(name));
  if (!file) return 0;
  state.files.remove(file.get());
  const bool is_to_be_saved = save_first && file->is_update;
  const bool is_saved = is_to_be_saved && save(*file);
  const bool is_closed = std::fclose(file->stream.release()) == 0;
  if (is_saved && !is_closed) return fail_with(kCannotWrite, ORB_E_WRITE, file->path, std::strerror(errno));
  return is_saved == is_to_be_saved;
}
