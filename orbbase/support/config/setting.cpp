// What a database tells about one of its settings.
#include "orbbase/support/config/setting.h"

#include <algorithm>
#include <charconv>
#include <cstring>

namespace orb::config {

void ValueText::put(std::string_view text) {
  const size_t room = out_.size() - 1 - length_;
  const size_t kept = std::min(room, text.size());
  if (kept > 0) std::memcpy(out_.data() + length_, text.data(), kept);
  length_ += kept;
  out_[length_] = '\0';
  if (kept < text.size() && length_ >= 3) std::memcpy(out_.data() + length_ - 3, "...", 3);
}

ValueText& ValueText::word(std::string_view word) {
  if (!is_first_) put(" ");
  is_first_ = false;
  put(word);
  return *this;
}

template <class Number>
ValueText& ValueText::put_number(Number value) {
  char text[32];
  const auto result = std::to_chars(text, text + sizeof text, value);
  return word({text, static_cast<size_t>(result.ptr - text)});
}

ValueText& ValueText::number(int32_t value) { return put_number(value); }
ValueText& ValueText::number(uint64_t value) { return put_number(value); }
ValueText& ValueText::number(float value) { return put_number(value); }

ValueText& ValueText::numbers(std::span<const float> values) {
  for (const float value : values) number(value);
  return *this;
}

}  // namespace orb::config
