// The two encodings of texts in a PNG: the library's texts are taken for UTF-8.
#pragma once

#include <string_view>

#include "plugins/common/memory.h"

namespace orb::png {

enum class Encoding { ascii, utf8, other };

// What the bytes of a text are; other: not UTF-8, so Latin-1 at best.
Encoding encoding_of(std::string_view text);

// A zero-terminated copy as UTF-8. is_latin1: the bytes are Latin-1; otherwise they are UTF-8 and, where they
// are not even that, taken for Latin-1. Null, reported, when memory runs out.
[[nodiscard]] plugin::owned<char> utf8_copy(std::string_view text, bool is_latin1);

}  // namespace orb::png
