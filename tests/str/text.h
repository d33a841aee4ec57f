// Strings of a test's own: owned ones to hand to the family, and texts that may be changed.
#pragma once

#include <cstring>
#include <string>
#include <vector>

#include "orbbase/str/internal.h"

namespace orb::testing {

// An owned string as a caller has one. It lies at the end of its block, so that a sanitizer sees any step over.
inline char* owned_text(const char* text) { return text ? STR_save(text) : nullptr; }

// What a function returned: compared as text, then freed.
inline std::string take(char* owned) {
  if (!owned) return "(null)";
  std::string text = owned;
  std::free(owned);
  return text;
}

// What an in-place function makes of a text, "(null)" when it returns NULL.
template <class Function, class... Args>
std::string in_place(Function function, const std::string& text, Args... args) {
  malloced<char> changed(STR_more(nullptr, static_cast<int64_t>(text.size())));
  std::memcpy(changed.get(), text.c_str(), text.size() + 1);
  const char* result = function(changed.get(), args...);
  if (!result) return "(null)";
  return result == changed.get() ? result : "(another address)";
}

}  // namespace orb::testing
