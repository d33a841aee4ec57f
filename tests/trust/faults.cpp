#include "tests/trust/faults.h"

#include <dirent.h>
#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <link.h>
#include <pwd.h>
#include <stdio_ext.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <set>
#include <string_view>
#include <unordered_map>

namespace orb::testing {
namespace {

constexpr int kMostCallers = 40;

struct Range {
  uintptr_t begin;
  uintptr_t end;
  bool is_loader;  // the dynamic loader destroys the heap by itself when it gets no memory: it always gets it
};

struct Block {
  size_t bytes;
  int caller_count;
  std::array<void*, kMostCallers> callers;
};

// Ready before the first constructor runs: allocations come that early.
struct State {
  std::atomic<FaultKind> kind{FaultKind::none};
  FaultPlan plan;
  std::atomic<int64_t> calls{0};
  std::atomic<int64_t> failed{0};
  std::atomic<const char*> first{""};
  std::atomic<bool> has_lost_bytes{false};
  std::atomic<bool> counts_blocks{false};
  bool with_callers = false;
  std::mutex lock;  // of the books
};
constinit State state;

struct Books {
  std::vector<Range> bystanders;  // the code whose calls are nobody's concern
  std::unordered_map<void*, Block> blocks;
  std::string site_file;  // empty: sites are not remembered
  std::set<void*> sites;
  std::vector<uint64_t> ways;
};

// Set while the thread works for this file: its calls count for nothing.
thread_local bool is_inside __attribute__((tls_model("initial-exec"))) = false;
class Inside {
 public:
  Inside() { is_inside = true; }
  ~Inside() { is_inside = false; }
};

int note_bystander(dl_phdr_info* info, size_t, void* ranges);

// Opened by the first who counts or plans; outlives every static, whose destructors free blocks.
Books& books() {
  static Books* const only = [] {
    auto* made = new Books;
    dl_iterate_phdr(note_bystander, &made->bystanders);
    return made;
  }();
  return *only;
}

int note_bystander(dl_phdr_info* info, size_t, void* ranges) {
  const std::string_view name = info->dlpi_name;
  const bool is_loader = name.find("/ld-linux") != name.npos;
  bool is_bystander = is_loader || name.empty();  // the program
  for (const char* library : {"libstdc++", "libgcc_s", "libasan", "libubsan"}) {
    is_bystander = is_bystander || name.find(library) != name.npos;
  }
  for (int i = 0; is_bystander && i < info->dlpi_phnum; ++i) {
    const auto& part = info->dlpi_phdr[i];
    const uintptr_t begin = info->dlpi_addr + part.p_vaddr;
    if (part.p_type == PT_LOAD)
      static_cast<std::vector<Range>*>(ranges)->push_back({begin, begin + part.p_memsz, is_loader});
  }
  return 0;
}

bool is_bystander(const void* caller) {
  for (const Range& range : books().bystanders) {
    const bool is_meant = range.is_loader || !state.plan.has_everyone;
    if (is_meant && reinterpret_cast<uintptr_t>(caller) - range.begin < range.end - range.begin) return true;
  }
  return false;
}

// Where an address lies, as tools that read the module's file understand it.
std::string place_of(void* address) {
  Dl_info found = {};
  if (dladdr(address, &found) == 0 || !found.dli_fname) return "? 0x0";
  char offset[32];
  std::snprintf(offset, sizeof offset, " 0x%zx",
                reinterpret_cast<uintptr_t>(address) - reinterpret_cast<uintptr_t>(found.dli_fbase));
  return found.dli_fname + std::string(offset);
}

// A number for the callers of a call is the same in every run of a program.
void remember_this_way() {
  const Inside inside;
  thread_local std::unordered_map<void*, uint64_t> places;  // asking for one may wait for the loader
  void* callers[kMostCallers];
  const int count = backtrace(callers, kMostCallers);
  uint64_t way = 0;
  for (int i = 0; i < count; ++i) {
    const auto [place, is_new] = places.try_emplace(callers[i]);
    if (is_new) place->second = std::hash<std::string>{}(place_of(callers[i]));
    way = way * 31 + place->second;
  }
  const std::lock_guard hold(state.lock);
  books().ways.push_back(way);
}

void remember_this_site() {
  const Inside inside;
  void* callers[kMostCallers];
  const int count = backtrace(callers, kMostCallers);
  const std::lock_guard hold(state.lock);
  books().sites.insert(callers, callers + count);
}

// Whether this call, if it counts, is one that fails.
bool fails_now(bool counts, const char* name, const void* caller) {
  if (!counts || is_inside || is_bystander(caller)) return false;
  const FaultPlan& plan = state.plan;
  const int64_t number = ++state.calls;
  if (plan.nth == 0 && plan.has_everyone) remember_this_way();
  if (plan.nth == 0 || number < plan.nth || (number > plan.nth && !plan.goes_on)) return false;
  if (++state.failed == 1) state.first = name;
  if (plan.kind == FaultKind::memory && !books().site_file.empty()) remember_this_site();
  return true;
}

bool allocation_fails(const char* name, const void* caller) {
  if (!fails_now(state.kind == FaultKind::memory, name, caller)) return false;
  errno = ENOMEM;
  return true;
}

// What goes to a device that swallows everything is nobody's loss.
bool is_kept(int descriptor) {
  const Inside inside;
  struct stat status = {};
  return fstat(descriptor, &status) == 0 && !S_ISCHR(status.st_mode);
}

// writes_to: the descriptor whose file will lack bytes; -1: none.
bool file_call_fails(const char* name, const void* caller, int error, int writes_to = -1) {
  if (!fails_now(state.kind == FaultKind::files, name, caller)) return false;
  if (writes_to >= 0 && is_kept(writes_to)) state.has_lost_bytes = true;
  errno = error;
  return true;
}

bool transfer_comes_short(const char* name, const void* caller) {
  return fails_now(state.kind == FaultKind::transfers, name, caller);
}

// What the C library marks a stream with when a call for it fails.
enum class Mark : int { end = 0x10, error = 0x20 };
void mark(std::FILE* stream, Mark mark) { stream->_flags |= static_cast<int>(mark); }

void track(void* block, size_t bytes, void* caller) {
  if (!block || !state.counts_blocks || is_inside || is_bystander(caller)) return;
  const Inside inside;
  Block taken = {bytes, 1, {caller}};
  if (state.with_callers) {
    std::array<void*, kMostCallers>& callers = taken.callers;
    const auto end = callers.begin() + backtrace(callers.data(), kMostCallers);
    const auto own = std::find(callers.begin(), end, caller);  // before it are this file's
    taken.caller_count = static_cast<int>(std::copy(own, end, callers.begin()) - callers.begin());
  }
  const std::lock_guard hold(state.lock);
  books().blocks[block] = taken;
}

void untrack(void* block) {
  if (!block || !state.counts_blocks || is_inside) return;
  const Inside inside;
  const std::lock_guard hold(state.lock);
  books().blocks.erase(block);
}

}  // namespace

void begin_faults(const FaultPlan& plan) {
  books().ways.clear();
  state.plan = plan;
  state.calls = state.failed = 0;
  state.first = "";
  state.has_lost_bytes = false;
  state.kind = plan.kind;
}

FaultTally end_faults() {
  state.kind = FaultKind::none;
  return {state.calls, books().ways, state.failed, state.first, state.has_lost_bytes};
}

void begin_counting_blocks(bool with_callers) {
  books().blocks.clear();
  state.with_callers = with_callers;
  void* warm[1];
  backtrace(warm, 1);  // which allocates the first time
  state.counts_blocks = true;
}

std::vector<std::string> end_counting_blocks() {
  state.counts_blocks = false;
  std::vector<std::string> lines;
  for (const auto& [address, block] : books().blocks) {
    lines.push_back(std::to_string(block.bytes) + " bytes");
    for (int i = 0; i < block.caller_count; ++i) lines.back() += "\n    " + place_of(block.callers[i]);
  }
  books().blocks.clear();
  return lines;
}

void write_sites() {
  if (books().site_file.empty()) return;
  const Inside inside;
  if (std::FILE* file = std::fopen(books().site_file.c_str(), "a")) {
    std::string lines;
    for (void* site : books().sites) lines += place_of(site) + "\n";
    std::fwrite(lines.data(), 1, lines.size(), file);
    std::fclose(file);
  }
}

void remember_sites(const char* file) {
  void* warm[1];
  backtrace(warm, 1);  // which allocates the first time
  books().site_file = file;
  std::atexit(write_sites);
}

}  // namespace orb::testing

// ---- The calls. Each stands under the C library's own name; what was in front of it before is looked up by that.

using namespace orb::testing;  // NOLINT(google-build-using-namespace): this file's own

namespace {

// What the name stands for behind this file; looked up once.
template <class Function>
Function* behind(Function*& found, const char* name, Function* known = nullptr) {
  if (!found) found = known ? known : reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
  return found;
}

}  // namespace

#define CALLER __builtin_return_address(0)

// STEP_IN(result, name, (parameters)) { ... real(arguments) ... }
#define STEP_IN(result, name, parameters)                                                            \
  extern "C" __attribute__((visibility("default"))) result step_in_##name parameters __asm__(#name); \
  namespace {                                                                                        \
  [[maybe_unused]] result(*real_##name) parameters = nullptr;                                        \
  }                                                                                                  \
  result step_in_##name parameters

#define REAL(name) behind(real_##name, #name)

// ---- Memory

// The address sanitizer asks for memory, and frees it, before names can be looked up: its own calls are reached by name.
#define REAL_MEMORY(name) behind(real_##name, #name, __interceptor_##name)

extern "C" {
#define OF_SANITIZER(result, name, parameters) __attribute__((weak)) result __interceptor_##name parameters
OF_SANITIZER(void*, malloc, (size_t));
OF_SANITIZER(void*, calloc, (size_t, size_t));
OF_SANITIZER(void*, realloc, (void*, size_t));
OF_SANITIZER(void*, aligned_alloc, (size_t, size_t));
OF_SANITIZER(int, posix_memalign, (void**, size_t, size_t));
OF_SANITIZER(void, free, (void*));
}

STEP_IN(void*, malloc, (size_t bytes)) {
  if (allocation_fails("malloc", CALLER)) return nullptr;
  void* block = REAL_MEMORY(malloc)(bytes);
  track(block, bytes, CALLER);
  return block;
}

STEP_IN(void*, calloc, (size_t count, size_t bytes)) {
  if (allocation_fails("calloc", CALLER)) return nullptr;
  void* block = REAL_MEMORY(calloc)(count, bytes);
  track(block, count * bytes, CALLER);
  return block;
}

STEP_IN(void*, realloc, (void* before, size_t bytes)) {
  if (allocation_fails("realloc", CALLER)) return nullptr;
  void* block = REAL_MEMORY(realloc)(before, bytes);
  if (block || bytes == 0) untrack(before);
  track(block, bytes, CALLER);
  return block;
}

STEP_IN(void*, aligned_alloc, (size_t alignment, size_t bytes)) {
  if (allocation_fails("aligned_alloc", CALLER)) return nullptr;
  void* block = REAL_MEMORY(aligned_alloc)(alignment, bytes);
  track(block, bytes, CALLER);
  return block;
}

STEP_IN(int, posix_memalign, (void** block_out, size_t alignment, size_t bytes)) {
  if (allocation_fails("posix_memalign", CALLER)) return ENOMEM;
  const int result = REAL_MEMORY(posix_memalign)(block_out, alignment, bytes);
  if (result == 0) track(*block_out, bytes, CALLER);
  return result;
}

STEP_IN(char*, strdup, (const char* text)) {
  if (allocation_fails("strdup", CALLER)) return nullptr;
  const Inside inside;  // its own call of malloc is this one
  return REAL(strdup)(text);
}

STEP_IN(void, free, (void* block)) {
  untrack(block);
  REAL_MEMORY(free)(block);
}

// The C library (glibc 2.36) dereferences what it did not get when it is first asked for a user: it always gets it.
STEP_IN(int, getpwuid_r, (uid_t user, passwd* out, char* room, size_t bytes, passwd** found)) {
  const Inside inside;
  return REAL(getpwuid_r)(user, out, room, bytes, found);
}

// ---- Files

// A call that fails before it does anything.
#define FAILS(result, name, parameters, arguments, error, failure) \
  STEP_IN(result, name, parameters) {                              \
    if (file_call_fails(#name, CALLER, error)) return failure;     \
    return REAL(name) arguments;                                   \
  }

FAILS(std::FILE*, fopen, (const char* path, const char* mode), (path, mode), EMFILE, nullptr)
FAILS(std::FILE*, fopen64, (const char* path, const char* mode), (path, mode), EMFILE, nullptr)
FAILS(std::FILE*, fdopen, (int descriptor, const char* mode), (descriptor, mode), EMFILE, nullptr)
FAILS(std::FILE*, tmpfile, (), (), EMFILE, nullptr)
FAILS(std::FILE*, tmpfile64, (), (), EMFILE, nullptr)
FAILS(DIR*, opendir, (const char* path), (path), EMFILE, nullptr)
FAILS(int, getc, (std::FILE * stream), (stream), EIO, (mark(stream, Mark::error), EOF))
FAILS(int, fgetc, (std::FILE * stream), (stream), EIO, (mark(stream, Mark::error), EOF))
FAILS(char*, fgets, (char* out, int bytes, std::FILE* stream), (out, bytes, stream), EIO,
      (mark(stream, Mark::error), nullptr))
FAILS(int, fseek, (std::FILE * stream, long offset, int origin), (stream, offset, origin), EIO, -1)
FAILS(int, fseeko, (std::FILE * stream, off_t offset, int origin), (stream, offset, origin), EIO, -1)
FAILS(int, fseeko64, (std::FILE * stream, off_t offset, int origin), (stream, offset, origin), EIO, -1)
FAILS(long, ftell, (std::FILE * stream), (stream), EIO, -1)
FAILS(off_t, ftello, (std::FILE * stream), (stream), EIO, -1)
FAILS(off_t, ftello64, (std::FILE * stream), (stream), EIO, -1)
FAILS(off_t, lseek, (int descriptor, off_t offset, int origin), (descriptor, offset, origin), EIO, -1)
FAILS(off_t, lseek64, (int descriptor, off_t offset, int origin), (descriptor, offset, origin), EIO, -1)
FAILS(int, stat, (const char* path, struct stat* out), (path, out), EIO, -1)
FAILS(int, stat64, (const char* path, struct stat64* out), (path, out), EIO, -1)
FAILS(int, fstat, (int descriptor, struct stat* out), (descriptor, out), EIO, -1)
FAILS(int, fstat64, (int descriptor, struct stat64* out), (descriptor, out), EIO, -1)
FAILS(int, ftruncate, (int descriptor, off_t bytes), (descriptor, bytes), EIO, -1)
FAILS(int, ftruncate64, (int descriptor, off_t bytes), (descriptor, bytes), EIO, -1)
FAILS(int, rename, (const char* before, const char* after), (before, after), EIO, -1)
FAILS(int, renameat2, (int before_in, const char* before, int after_in, const char* after, unsigned flags),
      (before_in, before, after_in, after, flags), EIO, -1)

#define FAILS_TO_OPEN_DESCRIPTOR(name)                                   \
  STEP_IN(int, name, (const char* path, int flags, ...)) {               \
    va_list rest;                                                        \
    va_start(rest, flags);                                               \
    const auto mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0; \
    va_end(rest);                                                        \
    if (file_call_fails(#name, CALLER, EMFILE)) return -1;               \
    return REAL(name)(path, flags, mode);                                \
  }

FAILS_TO_OPEN_DESCRIPTOR(open)
FAILS_TO_OPEN_DESCRIPTOR(open64)

// Standard error brings the reports about all this, so it never fails.
#define PASSES(stream) ((stream) == stderr)

STEP_IN(size_t, fread, (void* out, size_t bytes, size_t count, std::FILE* stream)) {
  if (file_call_fails("fread", CALLER, EIO)) return mark(stream, Mark::error), 0;
  const size_t half = bytes == 1 ? count / 2 : 0;
  if (count > 0 && transfer_comes_short("fread", CALLER)) {
    const size_t got = half > 0 ? REAL(fread)(out, bytes, half, stream) : 0;
    return mark(stream, Mark::end), got;
  }
  return REAL(fread)(out, bytes, count, stream);
}

STEP_IN(size_t, fwrite, (const void* in, size_t bytes, size_t count, std::FILE* stream)) {
  if (!PASSES(stream)) {
    if (file_call_fails("fwrite", CALLER, ENOSPC, fileno(stream))) return mark(stream, Mark::error), 0;
    if (count > 1 && transfer_comes_short("fwrite", CALLER)) {
      if (is_kept(fileno(stream))) state.has_lost_bytes = true;
      const size_t put = REAL(fwrite)(in, bytes, count / 2, stream);
      errno = ENOSPC;
      return mark(stream, Mark::error), put;
    }
  }
  return REAL(fwrite)(in, bytes, count, stream);
}

// A descriptor's transfer that comes short is no failure: the caller goes on with the rest.
#define TRANSFERS(name, writes_to, error, parameters, byte_count, all, short_one)             \
  STEP_IN(ssize_t, name, parameters) {                                                        \
    if (descriptor != STDERR_FILENO) {                                                        \
      if (file_call_fails(#name, CALLER, error, writes_to)) return -1;                        \
      if (byte_count > 1 && transfer_comes_short(#name, CALLER)) return REAL(name) short_one; \
    }                                                                                         \
    return REAL(name) all;                                                                    \
  }

TRANSFERS(read, -1, EIO, (int descriptor, void* out, size_t bytes), bytes, (descriptor, out, bytes),
          (descriptor, out, bytes / 2))
TRANSFERS(write, descriptor, ENOSPC, (int descriptor, const void* in, size_t bytes), bytes,
          (descriptor, in, bytes), (descriptor, in, bytes / 2))
#define TRANSFERS_AT(name, writes_to, error, pointer)                                               \
  TRANSFERS(name, writes_to, error, (int descriptor, pointer block, size_t bytes, off_t at), bytes, \
            (descriptor, block, bytes, at), (descriptor, block, bytes / 2, at))
TRANSFERS_AT(pread, -1, EIO, void*)
TRANSFERS_AT(pread64, -1, EIO, void*)
TRANSFERS_AT(pwrite, descriptor, ENOSPC, const void*)
TRANSFERS_AT(pwrite64, descriptor, ENOSPC, const void*)

// A stream that cannot be written returns this.
#define WRITES(name, failure)                                                    \
  if (!PASSES(stream) && file_call_fails(#name, CALLER, ENOSPC, fileno(stream))) \
  return mark(stream, Mark::error), failure

#define WRITES_A_LITTLE(name, first, failure)             \
  STEP_IN(int, name, (first value, std::FILE * stream)) { \
    WRITES(name, failure);                                \
    return REAL(name)(value, stream);                     \
  }

WRITES_A_LITTLE(fputc, int, EOF)
WRITES_A_LITTLE(putc, int, EOF)
WRITES_A_LITTLE(fputs, const char*, EOF)

STEP_IN(int, vfprintf, (std::FILE * stream, const char* format, va_list arguments)) {
  WRITES(vfprintf, -1);
  return REAL(vfprintf)(stream, format, arguments);
}
#define PRINTS(name, ...)                                                                        \
  STEP_IN(int, name, (std::FILE * stream, __VA_ARGS__ __VA_OPT__(, ) const char* format, ...)) { \
    WRITES(name, -1);                                                                            \
    va_list arguments;                                                                           \
    va_start(arguments, format);                                                                 \
    const int result = REAL(vfprintf)(stream, format, arguments);                                \
    va_end(arguments);                                                                           \
    return result;                                                                               \
  }

PRINTS(fprintf)
PRINTS(__fprintf_chk, int)

STEP_IN(int, fflush, (std::FILE * stream)) {
  const bool is_written = stream && __fwriting(stream) != 0;
  if (stream && !PASSES(stream) &&
      file_call_fails("fflush", CALLER, ENOSPC, is_written ? fileno(stream) : -1)) {
    if (is_written) __fpurge(stream);
    return mark(stream, Mark::error), EOF;
  }
  return REAL(fflush)(stream);
}

namespace {

bool was_written(int descriptor) {
  return (fcntl(descriptor, F_GETFL) & O_ACCMODE) == O_WRONLY && REAL(lseek)(descriptor, 0, SEEK_CUR) > 0;
}

}  // namespace

// A close that fails has closed all the same, and what was not written by then is lost.
STEP_IN(int, fclose, (std::FILE * stream)) {
  const bool is_written = __fwritable(stream) != 0 && __freadable(stream) == 0;
  if (!PASSES(stream) &&
      file_call_fails("fclose", CALLER, is_written ? ENOSPC : EIO, is_written ? fileno(stream) : -1)) {
    if (is_written) __fpurge(stream);
    REAL(fclose)(stream);
    errno = is_written ? ENOSPC : EIO;
    return EOF;
  }
  return REAL(fclose)(stream);
}

STEP_IN(int, close, (int descriptor)) {
  if (file_call_fails("close", CALLER, EIO, was_written(descriptor) ? descriptor : -1)) {
    REAL(close)(descriptor);
    errno = EIO;
    return -1;
  }
  return REAL(close)(descriptor);
}
