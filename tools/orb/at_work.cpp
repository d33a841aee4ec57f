// Which format code this process is in.
#include "at_work.h"

#include <sys/mman.h>

#include <cstdio>
#include <new>

namespace orb::tool {
namespace {

struct State {
  WorkPage unwatched = {};
  WorkPage* page = &unwatched;  // never null
} state;

size_t place_of(Doing doing) { return doing == Doing::writing ? 2 : doing == Doing::reading ? 1 : 0; }

void copy_cut(char* out, size_t room, const std::string& text) {
  std::snprintf(out, room, "%s", text.c_str());
}

}  // namespace

WorkPage* make_work_page() {
  void* const memory =
      mmap(nullptr, sizeof(WorkPage), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  return memory == MAP_FAILED ? nullptr : new (memory) WorkPage{};
}

void release_work_page(WorkPage* page) {
  if (page != nullptr) munmap(page, sizeof *page);
}

void note_work_in(WorkPage* page) {
  if (page != nullptr) state.page = page;
}

void note_file(Doing doing, const std::string& file, const std::string& format) {
  auto& names = state.page->names[place_of(doing)];
  copy_cut(names.file, sizeof names.file, file);
  copy_cut(names.format, sizeof names.format, format);
  note_call(doing);
}

void note_call(Doing doing) {
  state.page->doing.store(doing, std::memory_order_relaxed);
  state.page->beats.fetch_add(1, std::memory_order_relaxed);
}

void note_end() { state.page->has_ended = true; }

Waiting::Waiting() { state.page->is_waiting = true; }

Waiting::~Waiting() {
  note_call(state.page->doing);
  state.page->is_waiting = false;
}

}  // namespace orb::tool
