// Words, numbers and file names from a stranger, in buffers of exactly the promised sizes.
#include <algorithm>
#include <charconv>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "input_file.h"
#include "orbbase/str.h"
#include "orbbase/support/config/integer.h"
#include "orbbase/support/config/real.h"
#include "orbbase/support/config/tokens.h"

namespace {

using orb::fuzz::require;

// A text in a block of its own, for the address sanitizer to watch.
class Text {
 public:
  explicit Text(std::string_view text, size_t room = 0) {
    bytes_.reserve(std::max(room, text.size() + 1));
    bytes_.assign(text.begin(), text.end());
    bytes_.resize(bytes_.capacity());
  }
  [[nodiscard]] char* get() const { return bytes_.data(); }

 private:
  mutable std::vector<char> bytes_;
};

void read_numbers(const char* text) {
  const std::string_view all = text;
  int32_t wanted = 0;
  const bool has_plus = all.starts_with('+');
  const char* first = text + (has_plus ? 1 : 0);
  const auto [stopped, error] = std::from_chars(first, text + all.size(), wanted);
  const bool is_number = error == std::errc() && *stopped == '\0' && !(has_plus && *first == '-');
  int32_t value = 0;
  require(orb::config::parse_integer(text, &value) == is_number, "two readers differ on a whole number");
  require(!is_number || (value == wanted && orb::config::leading_integer(text) == wanted),
          "a number is wrong");
  const size_t digits = std::count_if(all.begin(), all.end(), orb::config::is_digit);
  require((STR_is_integer(text) != 0) == (is_number && digits <= 10), "STR_is_integer is wrong");
  require(!STR_is_numeric(text) || (digits > 0 && digits == all.size()), "STR_is_numeric is wrong");
  static_cast<void>(STR_is_real(text));
  float real = -1;
  static_cast<void>(orb::config::parse_real(text, &real));
}

void split(std::string_view all) {
  const Text line(all);
  char* tokens[orb::config::kMostTokens + 1] = {};
  const int32_t count = orb::config::split_tokens(line.get(), tokens);
  require(count >= 0 && count <= orb::config::kMostTokens && !tokens[count], "too many words");
  for (int32_t i = 0; i < count; ++i) {
    require(tokens[i] >= line.get() && tokens[i] + std::strlen(tokens[i]) <= line.get() + all.size(),
            "a word lies outside its line");
  }
  const Text words(all);
  char** parsed = STR_parse(words.get());
  STR_sort(parsed);
  for (char** word = parsed; word && *word; ++word) {
    require(**word != '\0', "a word is empty");
    require(word == parsed || STR_compare(word[-1], *word) <= 0, "words are not in order");
  }
  ERR_free(parsed);
}

void cut_names(std::string_view all) {
  for (char* (*cut)(char*) : {STR_root, STR_head, STR_host}) {
    const Text name(all);
    static_cast<void>(cut(name.get()));
  }
  const Text name(all);
  const Text host(all);
  require(STR_tail(name.get()) <= name.get() + all.size(), "the tail lies outside the name");
  static_cast<void>(STR_extension(name.get()));
  static_cast<void>(STR_host_remove(name.get()));
  static_cast<void>(STR_filename_host(host.get(), name.get()));
}

void form_names(std::string_view all, std::string_view base) {
  const Text clean(all, 2);
  STR_filename_clean(clean.get());
  const Text again(clean.get(), 2);
  STR_filename_clean(again.get());
  require(std::strcmp(clean.get(), again.get()) == 0, "a clean name can be cleaned");
  const Text path(all);
  const Text folder(base);
  const Text absolute("", all.size() + base.size() + 2);
  STR_filename_absolute(absolute.get(), folder.get(), path.get());
  const Text relative("", all.size() + 7);
  STR_filename_relative(relative.get(), folder.get(), path.get());
  char* expanded = nullptr;
  static_cast<void>(STR_expand_filename(path.get(), &expanded));
  ERR_free(expanded);
}

void change(std::string_view all, std::string_view other, uint8_t at) {
  const Text text(all);
  const int64_t index = at - 128;
  STR_remove_reverse(text.get(), static_cast<char>(at));
  STR_n_remove_index(text.get(), index, index / 2);
  STR_remove_index(text.get(), index);
  STR_remove_all(text.get(), ' ');
  STR_toupper(text.get());
  const Text second(other);
  char* owned = STR_save(text.get());
  owned = STR_n_insert(owned, second.get(), index, at);
  owned = STR_n_append(owned, second.get(), index);
  if (owned) STR_tolower(owned);
  ERR_free(owned);
  static_cast<void>(STR_abbr(text.get(), second.get()));
  static_cast<void>(STR_abbr_compare(text.get(), second.get()));
  char* const shared = STR_define(second.get());
  require(STR_define(second.get()) == shared, "equal texts are shared twice");
  STR_undefine(shared);
  STR_undefine(shared);
}

}  // namespace

// A byte, then two texts with a zero between them.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const std::string_view input(reinterpret_cast<const char*>(data) + 1, size - 1);
  const std::string_view first = input.substr(0, input.find('\0'));
  const std::string_view rest = input.substr(std::min(first.size() + 1, input.size()));
  const std::string_view second = rest.substr(0, rest.find('\0'));
  read_numbers(Text(first).get());
  split(first);
  cut_names(first);
  form_names(first, second);
  change(first, second, data[0]);
  return 0;
}
