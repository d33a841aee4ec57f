// White space, and the words between it.
#include <array>
#include <cctype>

#include "orbbase/str/internal.h"

namespace orb {
namespace {

constexpr size_t kWordsAtOnce = 64;

bool is_space(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }

// Cuts off the text's next words, as many as there is room for; moves *text behind them.
size_t cut_words(char** text, std::span<char*> words) {
  size_t count = 0;
  char* at = STR_skip_space(*text);
  while (*at && count < words.size()) {
    words[count++] = at;
    at = STR_find_space(at);
    if (*at) *at++ = '\0';
    at = STR_skip_space(at);
  }
  *text = at;
  return count;
}

}  // namespace
}  // namespace orb

using namespace orb;

char* STR_skip_space(const char* s) {
  while (is_space(*s)) ++s;
  return const_cast<char*>(s);
}

char* STR_find_space(const char* s) {
  if (s && *s) {
    do ++s;
    while (*s && !is_space(*s));
  }
  return const_cast<char*>(s);
}

char** STR_parse(char* text) {
  std::array<char*, kWordsAtOnce> words;
  malloced<char*> array(array_grow(nullptr, 0));
  if (!array) return nullptr;
  for (size_t count = 0;;) {
    const size_t cut = cut_words(&text, words);
    if (cut == 0) return array.release();
    char** grown = array_append(array.get(), count, std::span(words).first(cut));
    if (!grown) return nullptr;
    (void)array.release();  // it is where grown is now
    array.reset(grown);
    count += cut;
  }
}
