// The platform contract on Windows.
#include "orbbase/platform/platform.h"

// winsock2.h must come before windows.h.
// clang-format off
#include <winsock2.h>
#include <windows.h>
// clang-format on
#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>

#include <cerrno>
#include <clocale>
#include <cstdlib>

#include "orbbase/platform/copy_cut.h"

namespace orb::platform {

// ---- Modules ----

void* module_symbol(void* module, const char* name) {
  if (!module || !name) return nullptr;
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(module), name));
}

// An export is an address and no more.
SymbolForm form_of_symbol(const void*) { return {}; }

bool peek(const void* address, std::span<char> out) {
  SIZE_T copied = 0;
  return ReadProcessMemory(GetCurrentProcess(), address, out.data(), out.size(), &copied) != 0 &&
         copied == out.size();
}

// ---- Mutexes ----

namespace {

// A Mutex is a handle of the system.
HANDLE handle_of(Mutex* mutex) { return static_cast<HANDLE>(static_cast<void*>(mutex)); }

}  // namespace

Mutex* create_mutex() {
  return static_cast<Mutex*>(static_cast<void*>(CreateMutexA(nullptr, FALSE, nullptr)));
}

void lock(Mutex* mutex) {
  if (mutex) WaitForSingleObject(handle_of(mutex), INFINITE);
}

void unlock(Mutex* mutex) {
  if (mutex) ReleaseMutex(handle_of(mutex));
}

void close_mutex(Mutex* mutex) {
  if (mutex) CloseHandle(handle_of(mutex));  // the system allows it while the mutex is held
}

// ---- Names ----

bool user_name(std::span<char> out) {
  char name[256 + 1] = {};  // the system's longest user name is 256 characters
  DWORD size = sizeof(name);
  const bool is_known = GetUserNameA(name, &size) != 0;
  return copy_cut(is_known ? name : "", out);
}

bool host_name(std::span<char> out) {
  WSADATA unused;
  if (WSAStartup(MAKEWORD(2, 2), &unused) != 0) return copy_cut("", out);
  char name[256 + 1] = {};
  const bool is_known = gethostname(name, sizeof(name) - 1) == 0;
  WSACleanup();
  return copy_cut(is_known ? name : "", out);
}

// ---- Fatal errors ----

namespace {

void show_box(const char* caption, const char* message) { MessageBoxA(nullptr, message, caption, MB_OK); }

}  // namespace

FatalBox fatal_box = show_box;

// ---- Files ----

BinaryFileMode::BinaryFileMode() : saved_(_fmode) { _fmode = _O_BINARY; }
BinaryFileMode::~BinaryFileMode() { _fmode = saved_; }

int file_status(const char* path, FileStatus* out) {
  struct _stat64 status;
  if (_stat64(path, &status) != 0) return errno;
  out->changed_seconds = status.st_ctime;
  out->changed_nanoseconds = 0;
  out->size_bytes = status.st_size;
  out->is_regular = (status.st_mode & _S_IFMT) == _S_IFREG;
  out->is_directory = (status.st_mode & _S_IFMT) == _S_IFDIR;
  return 0;
}

int seek_stream(std::FILE* stream, int64_t offset, int origin) { return _fseeki64(stream, offset, origin); }
int64_t tell_stream(std::FILE* stream) { return _ftelli64(stream); }

int cut_stream(std::FILE* stream) {
  const int64_t end = std::fflush(stream) == 0 ? tell_stream(stream) : -1;
  return end < 0 || _chsize_s(_fileno(stream), end) != 0 ? -1 : 0;
}

int64_t read_some(std::FILE* stream, void* out, uint64_t bytes) {
  const size_t got = std::fread(out, 1, static_cast<size_t>(bytes), stream);
  return got == 0 && std::ferror(stream) ? -1 : static_cast<int64_t>(got);
}

// ---- Time ----

int64_t monotonic_nanoseconds() {
  constexpr int64_t kNanoseconds = 1'000'000'000;
  LARGE_INTEGER frequency;
  LARGE_INTEGER now;
  QueryPerformanceFrequency(&frequency);
  QueryPerformanceCounter(&now);
  // Seconds and fraction apart: the product of the whole would overflow after hours.
  const int64_t seconds = now.QuadPart / frequency.QuadPart;
  const int64_t fraction = now.QuadPart % frequency.QuadPart;
  return seconds * kNanoseconds + fraction * kNanoseconds / frequency.QuadPart;
}

int format_text(std::span<char> out, const char* format, va_list args) {
  const int before = _configthreadlocale(_ENABLE_PER_THREAD_LOCALE);
  char name[64] = "C";
  if (const char* current = std::setlocale(LC_NUMERIC, nullptr))
    std::snprintf(name, sizeof name, "%s", current);
  std::setlocale(LC_NUMERIC, "C");
  const int length = std::vsnprintf(out.data(), out.size(), format, args);
  std::setlocale(LC_NUMERIC, name);
  _configthreadlocale(before);
  return length;
}

bool local_time(std::time_t when, std::tm* out) {
  // The run-time library knows the years 1970 to 3000 and treats others as a programming error.
  constexpr std::time_t kLast = 0x793406fff;
  if (when < 0 || when > kLast) return false;
  return localtime_s(out, &when) == 0;
}

// ---- Broken pipes ----

// Such a write only fails here; there is no signal.
BrokenPipeGuard::BrokenPipeGuard() : blocked_here_(false), was_pending_(false) {}
BrokenPipeGuard::~BrokenPipeGuard() = default;

}  // namespace orb::platform
