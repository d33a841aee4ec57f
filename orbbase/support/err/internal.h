// What the error module lends to the other rooms of the library.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <type_traits>

#include "orbbase/support/err.h"

namespace orb {

// Writes orb__err. Every write of the library goes through here.
void set_error(int32_t code);
[[nodiscard]] int32_t last_error();

// The code of a failure, set and returned in one go: return fail(ORB_E_MEMORY);
inline int32_t fail(int32_t code) {
  set_error(code);
  return code;
}

// One message of the library. A module keeps its own as a constexpr table and reports through it, so that a
// text is written once.
struct MessageText {
  int32_t set;       // 902: the library's own; 903: the configuration databases
  int32_t number;    // index within its set
  int32_t category;  // ERR_DEBUG to ERR_ERROR
  const char* text;  // printf-style
};

// ERR_report_cat for a function that has its arguments as a list.
void report_cat_valist(void* catalogue, int32_t set, int32_t number, int32_t category, const char* format,
                       va_list args);

// A report that has no record: the template, in the language of error records, with its arguments, cut at 255 bytes.
// Goes to the handlers declared for all reports, with a null record and null user data, and then to the default
// handler; neither counted nor remembered, and not held by masks, on purpose.
void report_template(const void* identity, uint8_t category, const char* message_template, va_list args);

template <class... Args>
void report(const MessageText& message, Args... args) {
  ERR_report_cat(orb__msg_cat, message.set, message.number, message.category, message.text, args...);
}

// The same for a report that carries a catalogue handle of its own.
template <class... Args>
void report_with(void* catalogue, const MessageText& message, Args... args) {
  ERR_report_cat(catalogue, message.set, message.number, message.category, message.text, args...);
}

// Shared by all rooms: sent again by those that gave up for want of memory.
inline constexpr MessageText kNoMemory = {902, 94, ERR_ERROR, "No more internal memory"};

struct Released {
  void operator()(void* block) const { ERR_free(block); }
};

// A block of the library's allocator, released when its holder goes.
template <class T>
using owned = std::unique_ptr<T, Released>;

// Allocates with a 64-bit size; a failure is reported as ERR_malloc reports it. The block is not cleared.
[[nodiscard]] void* allocate(uint64_t size_bytes);

// count zeroed records, or null, reported.
[[nodiscard]] void* allocate_zeroed(uint64_t count, uint64_t record_bytes);

template <class T>
[[nodiscard]] owned<T> make_zeroed(uint64_t count) {
  static_assert(std::is_trivially_destructible_v<T>);
  return owned<T>(static_cast<T*>(allocate_zeroed(count, sizeof(T))));
}

namespace err {
// Back to the state of a fresh process: masks, counts, history and handlers.
void reset_for_test();
}  // namespace err

}  // namespace orb
