// The small template language of error records.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>

namespace orb::err {

// A buffer whose user vouches for its size.
inline constexpr size_t kUnbounded = SIZE_MAX;

// Writes the template with its arguments put in: "%d" an int32_t, "%f" a double, "%s" a text, "%%" a "%";
// "%c" prints nothing and takes no argument, on purpose; any other directive stands as it is. A text that
// does not fit buffer_bytes (4 or more) ends in "...". A null template counts as an empty one. Returns
// buffer.
char* expand_template(const char* message_template, char* buffer, size_t buffer_bytes, va_list args);

}  // namespace orb::err
