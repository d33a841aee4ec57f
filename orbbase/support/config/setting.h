// What a database tells about one of its settings: the value as text and where it came from.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace orb::config {

struct Origin {
  const char* path = nullptr;  // of the configuration file; null for a built-in value
  int32_t line = 0;
};

struct ListedSetting {
  const char* name;
  char value[256];
  Origin origin;
};

// Puts words and numbers, separated by spaces, into a text of fixed size, always terminated. What does not
// fit is cut and ends in "...".
class ValueText {
 public:
  explicit ValueText(std::span<char> out) : out_(out) { out_[0] = '\0'; }
  ValueText& word(std::string_view word);
  ValueText& number(int32_t value);
  ValueText& number(uint64_t value);
  ValueText& number(float value);
  ValueText& numbers(std::span<const float> values);

 private:
  template <class Number>
  ValueText& put_number(Number value);
  void put(std::string_view text);

  std::span<char> out_;
  size_t length_ = 0;
  bool is_first_ = true;
};

}  // namespace orb::config
