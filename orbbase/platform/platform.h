// What the library needs of an operating system, and the only door to it. posix.cpp and win32.cpp fulfil
// this contract; the build picks one. No other file tests for a system.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <span>

namespace orb::platform {

// The address of a symbol that the module itself defines, or null. Symbols of the libraries that the module
// was linked with are never found. A null module has no symbols, and a null name names none. The module is
// what dlopen or LoadLibrary returned.
void* module_symbol(void* module, const char* name);

// What lies at an address of module_symbol, by the module's own symbol table. Unknown where the system keeps none, or
// the table does not say.
enum class SymbolKind : uint8_t { unknown, function, variable };
struct SymbolForm {
  SymbolKind kind = SymbolKind::unknown;
  uint64_t bytes = 0;  // of a variable; 0: not told
};
SymbolForm form_of_symbol(const void* address);

// Copies bytes from an address at which there may be nothing. False when they cannot all be read.
[[nodiscard]] bool peek(const void* address, std::span<char> out);

// A mutex that its owning thread may take again. Opaque; made with create_mutex.
struct Mutex;

// Null when the system has no memory for one; not reported here. lock and unlock accept a null mutex and do
// nothing.
[[nodiscard]] Mutex* create_mutex();
void lock(Mutex* mutex);
void unlock(Mutex* mutex);
// Releases the mutex. Its owner may close it while holding it, any number of times; no other thread may use
// it any more. Null is accepted.
void close_mutex(Mutex* mutex);

// Holds a mutex for a block.
class Lock {
 public:
  explicit Lock(Mutex* mutex) : mutex_(mutex) { lock(mutex_); }
  ~Lock() { unlock(mutex_); }
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

 private:
  Mutex* mutex_;
};

// The user's login name, cut to fit and zero-terminated. False, with out empty, when the system knows none.
bool user_name(std::span<char> out);
// The machine's host name, likewise.
bool host_name(std::span<char> out);

// Shows a fatal error to the user and returns when it was dismissed. Replaceable, so that a test need not
// wait for a click. On POSIX the default does nothing: the line on standard error is all there is.
using FatalBox = void (*)(const char* caption, const char* message);
extern FatalBox fatal_box;

// Switches the run-time library's default file mode to binary for a block and puts the old one back. The mode
// is the whole process's, so the library uses this under its own lock only. It has no effect where the system
// knows one mode only.
class BinaryFileMode {
 public:
  BinaryFileMode();
  ~BinaryFileMode();
  BinaryFileMode(const BinaryFileMode&) = delete;
  BinaryFileMode& operator=(const BinaryFileMode&) = delete;

 private:
  [[maybe_unused]] int saved_;
};

struct FileStatus {
  int64_t changed_seconds = 0;  // st_ctime, seconds since 1970: the status change, on Windows the creation
  int64_t changed_nanoseconds = 0;  // its fraction, 0 where the system has none
  int64_t size_bytes = 0;
  bool is_regular = false;
  bool is_directory = false;
};

// Reads a file's status. Returns 0, or the system's error number with *out untouched.
int file_status(const char* path, FileStatus* out);

// Nanoseconds of a clock that never goes back.
int64_t monotonic_nanoseconds();

// 64-bit positions in a standard stream: 0 or -1, and the position or -1, as fseek and ftell.
int seek_stream(std::FILE* stream, int64_t offset, int origin);
int64_t tell_stream(std::FILE* stream);

// Writes out what the stream holds back, and ends its file at the stream's position: 0, or -1 with errno. The stream
// is open for update.
int cut_stream(std::FILE* stream);

// Reads as many bytes of an unbuffered stream as one call of the system gives: at least 1, or 0 at the end of the
// file, or -1 with errno. A read that a signal interrupted goes on. Such a stream is read by this call alone;
// seek_stream positions it.
int64_t read_some(std::FILE* stream, void* out, uint64_t bytes);

// vsnprintf with a decimal point in numbers, whatever the locale. Thread-safe.
int format_text(std::span<char> out, const char* format, va_list args);

// Local calendar time, thread-safe. False when the value has none.
bool local_time(std::time_t when, std::tm* out);

// Keeps a write to a pipe without a reader from ending the process: within the block such a write fails
// with EPIPE instead. Affects the calling thread only; the application's own signal handling is untouched,
// and so is errno at the block's end.
class BrokenPipeGuard {
 public:
  BrokenPipeGuard();
  ~BrokenPipeGuard();
  BrokenPipeGuard(const BrokenPipeGuard&) = delete;
  BrokenPipeGuard& operator=(const BrokenPipeGuard&) = delete;

 private:
  [[maybe_unused]] bool blocked_here_;  // this guard blocked the signal, and so unblocks it again
  [[maybe_unused]] bool was_pending_;   // the signal waited before; then it is not this guard's to take
};

}  // namespace orb::platform
