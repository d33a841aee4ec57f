// The platform contract on POSIX systems with the GNU dynamic linker.
#include "orbbase/platform/platform.h"

#include <dlfcn.h>
#include <link.h>
#include <pthread.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <new>

#include "orbbase/platform/copy_cut.h"

namespace orb::platform {

// ---- Modules ----

// dlsym goes on to the libraries that the module was linked with; the map of what the address belongs to
// tells whose it is. Where the module has the symbol too, dlsym finds that one first.
void* module_symbol(void* module, const char* name) {
  if (!module || !name) return nullptr;
  void* address = dlsym(module, name);
  if (!address) return nullptr;
  link_map* wanted = nullptr;
  if (dlinfo(module, RTLD_DI_LINKMAP, &wanted) != 0) return nullptr;
  Dl_info unused;
  void* found = nullptr;
  if (dladdr1(address, &unused, &found, RTLD_DL_LINKMAP) == 0) return nullptr;
  return found == wanted ? address : nullptr;
}

SymbolForm form_of_symbol(const void* address) {
  Dl_info unused;
  void* entry = nullptr;
  if (dladdr1(address, &unused, &entry, RTLD_DL_SYMENT) == 0 || !entry) return {};
  const auto* symbol = static_cast<const ElfW(Sym)*>(entry);
  switch (ELF64_ST_TYPE(symbol->st_info)) {  // the same byte with 32 bits
    case STT_FUNC:
      return {SymbolKind::function};
    case STT_OBJECT:
      return {SymbolKind::variable, symbol->st_size};
    default:
      return {};
  }
}

// The system reads it for us, and says where there is nothing. Where a sandbox forbids that, it is read as it stands.
bool peek(const void* address, std::span<char> out) {
  const iovec to = {out.data(), out.size()};
  const iovec from = {const_cast<void*>(address), out.size()};
  const ssize_t copied = process_vm_readv(getpid(), &to, 1, &from, 1, 0);
  if (copied >= 0 || errno == EFAULT) return copied == static_cast<ssize_t>(out.size());
  std::memcpy(out.data(), address, out.size());
  return true;
}

// ---- Mutexes ----

struct Mutex {
  pthread_mutex_t mutex;
  uint32_t holds;  // of the owner; touched by the owner only
};

Mutex* create_mutex() {
  void* memory = std::malloc(sizeof(Mutex));
  if (!memory) return nullptr;
  auto* mutex = new (memory) Mutex{};
  pthread_mutexattr_t attributes;
  bool is_ready = pthread_mutexattr_init(&attributes) == 0;
  if (is_ready) {
    is_ready = pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE) == 0 &&
               pthread_mutex_init(&mutex->mutex, &attributes) == 0;
    pthread_mutexattr_destroy(&attributes);
  }
  if (is_ready) return mutex;
  std::free(memory);
  return nullptr;
}

void lock(Mutex* mutex) {
  if (!mutex) return;
  pthread_mutex_lock(&mutex->mutex);
  ++mutex->holds;
}

void unlock(Mutex* mutex) {
  if (!mutex) return;
  --mutex->holds;
  pthread_mutex_unlock(&mutex->mutex);
}

void close_mutex(Mutex* mutex) {
  if (!mutex) return;
  // Held, so that the count of holds may be read and another thread's last block ends first. Tried first: a
  // handle's lock is closed under the library's, and only waiting for it would be the wrong order.
  if (pthread_mutex_trylock(&mutex->mutex) == 0) {
    ++mutex->holds;
  } else {
    lock(mutex);
  }
  for (uint32_t left = mutex->holds; left > 0; --left) unlock(mutex);
  pthread_mutex_destroy(&mutex->mutex);
  std::free(mutex);
}

// ---- Names ----

bool user_name(std::span<char> out) {
  char texts[4096];
  passwd entry;
  passwd* found = nullptr;
  const bool is_known = getpwuid_r(geteuid(), &entry, texts, sizeof(texts), &found) == 0 && found;
  return copy_cut(is_known && entry.pw_name ? entry.pw_name : "", out);
}

bool host_name(std::span<char> out) {
  char name[256 + 1] = {};  // the last byte stays 0, whatever the system does with a name that is too long
  const bool is_known = gethostname(name, sizeof(name) - 1) == 0;
  return copy_cut(is_known ? name : "", out);
}

// ---- Fatal errors ----

namespace {

void show_nothing(const char*, const char*) {}

}  // namespace

FatalBox fatal_box = show_nothing;

// ---- Files ----

BinaryFileMode::BinaryFileMode() : saved_(0) {}
BinaryFileMode::~BinaryFileMode() = default;

int file_status(const char* path, FileStatus* out) {
  struct stat status;
  if (::stat(path, &status) != 0) return errno;
  out->changed_seconds = status.st_ctim.tv_sec;
  out->changed_nanoseconds = status.st_ctim.tv_nsec;
  out->size_bytes = status.st_size;
  out->is_regular = S_ISREG(status.st_mode);
  out->is_directory = S_ISDIR(status.st_mode);
  return 0;
}

int seek_stream(std::FILE* stream, int64_t offset, int origin) { return fseeko(stream, offset, origin); }
int64_t tell_stream(std::FILE* stream) { return ftello(stream); }

int cut_stream(std::FILE* stream) {
  const int64_t end = std::fflush(stream) == 0 ? tell_stream(stream) : -1;
  return end < 0 ? -1 : ftruncate(fileno(stream), end);
}

int64_t read_some(std::FILE* stream, void* out, uint64_t bytes) {
  for (;;) {
    const ssize_t got = ::read(fileno(stream), out, bytes);
    if (got >= 0 || errno != EINTR) return got;
  }
}

// ---- Time ----

int64_t monotonic_nanoseconds() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<int64_t>(now.tv_sec) * 1'000'000'000 + now.tv_nsec;
}

int format_text(std::span<char> out, const char* format, va_list args) {
  const locale_t before = uselocale(newlocale(LC_ALL_MASK, "C", locale_t{}));  // a constant of the system's
  const int length = std::vsnprintf(out.data(), out.size(), format, args);
  uselocale(before);
  return length;
}

bool local_time(std::time_t when, std::tm* out) { return localtime_r(&when, out) != nullptr; }

// ---- Broken pipes ----

namespace {

sigset_t only_sigpipe() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGPIPE);
  return set;
}

bool sigpipe_is_pending() {
  sigset_t pending;
  return sigpending(&pending) == 0 && sigismember(&pending, SIGPIPE) == 1;
}

}  // namespace

BrokenPipeGuard::BrokenPipeGuard() : blocked_here_(false), was_pending_(sigpipe_is_pending()) {
  const sigset_t set = only_sigpipe();
  sigset_t before;
  if (pthread_sigmask(SIG_BLOCK, &set, &before) == 0) blocked_here_ = sigismember(&before, SIGPIPE) == 0;
}

BrokenPipeGuard::~BrokenPipeGuard() {
  const int saved_errno = errno;  // that of the write that failed
  const sigset_t set = only_sigpipe();
  // One that was pending before is the application's. A second one would have merged with it.
  if (!was_pending_ && sigpipe_is_pending()) {
    const timespec at_once = {};
    while (sigtimedwait(&set, nullptr, &at_once) < 0 && errno == EINTR) continue;
  }
  if (blocked_here_) pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
  errno = saved_errno;
}

}  // namespace orb::platform
