// The allocation trace: a line in ".memstat" for every call that goes through the hooks.
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "orbbase/support/err.h"
#include "orbbase/support/utl.h"

namespace orb::utl {
namespace {

constexpr const char* kTraceFile = ".memstat";
constexpr const char* kTool = "tools/memstat";

struct State {
  int32_t depth = 0;  // traces begun and not ended
  std::FILE* file = nullptr;
};
constinit State state;

const char* named(const char* name) { return name ? name : "(null)"; }

void* allocate(uint32_t size_bytes, const char*) { return ERR_malloc(size_bytes); }
void* reallocate(void* block, uint32_t size_bytes, const char*) { return ERR_realloc(block, size_bytes); }
int32_t release(void* block, const char*) { return ERR_free(block); }
constexpr UTL_HOOKS kPlain = {allocate, reallocate, release};

void* allocate_traced(uint32_t size_bytes, const char* name) {
  void* const block = ERR_malloc(size_bytes);
  if (state.file) {
    std::fprintf(state.file, "malloc: ptr %p size %d name %s\n", block, static_cast<int>(size_bytes),
                 named(name));
  }
  return block;
}

void* reallocate_traced(void* block, uint32_t size_bytes, const char* name) {
  const uintptr_t before = reinterpret_cast<uintptr_t>(block);  // the block itself is gone after the call
  void* const moved = ERR_realloc(block, size_bytes);
  if (state.file) {
    std::fprintf(state.file, "realloc: ptr from %p to %p size %d name %s\n", reinterpret_cast<void*>(before),
                 moved, static_cast<int>(size_bytes), named(name));
  }
  return moved;
}

int32_t release_traced(void* block, const char* name) {
  const uintptr_t before = reinterpret_cast<uintptr_t>(block);
  const int32_t result = ERR_free(block);
  if (state.file) {
    std::fprintf(state.file, "free: ptr %p name: %s\n", reinterpret_cast<void*>(before), named(name));
  }
  return result;
}
constexpr UTL_HOOKS kTraced = {allocate_traced, reallocate_traced, release_traced};

}  // namespace
}  // namespace orb::utl

UTL_HOOKS utl__hooks = orb::utl::kPlain;

int32_t UTL_trace_on(void) {
  using namespace orb::utl;
  if (++state.depth != 1) return 1;
  utl__hooks = kTraced;
  state.file = std::fopen(kTraceFile, "w");
  if (state.file) return 1;
  std::fputs(" yow - can't open vm stat file\n", stderr);
  return 0;
}

int32_t UTL_trace_off(void) {
  using namespace orb::utl;
  if (state.depth == 0 || --state.depth != 0) return 1;
  if (state.file) {
    const bool has_failed = std::ferror(state.file) != 0;
    if (std::fclose(state.file) != 0 || has_failed) std::fputs(" yow - can't write vm stat file\n", stderr);
  }
  state.file = nullptr;
  utl__hooks = kPlain;
  return 1;
}

int32_t UTL_trace_report(void) {
  using namespace orb::utl;
  if (state.file) std::fflush(state.file);
  const char* const folder = std::getenv("QV_BIN_DIR");
  if (!folder) {
    std::fputs("set brightmoor environment variables, please.\n", stderr);
    std::exit(0);
  }
  const size_t room = std::snprintf(nullptr, 0, "%s%s", folder, kTool) + size_t{1};
  const std::unique_ptr<char, decltype(&std::free)> command(static_cast<char*>(std::malloc(room)), std::free);
  if (!command) return 1;
  std::snprintf(command.get(), room, "%s%s", folder, kTool);
  (void)!std::system(command.get());
  return 1;
}
