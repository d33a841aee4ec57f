// Expansion of environment variables in a text.
#include <algorithm>
#include <cctype>
#include <cstring>
#include <utility>

#include "orbbase/str/internal.h"

namespace orb {
namespace {

// An owned string that grows as it must.
class GrowingText {
 public:
  // False when memory runs out.
  [[nodiscard]] bool append(std::string_view text) {
    if (text.size() >= room_ - length_ && !make_room(text.size())) return false;
    std::memcpy(text_.get() + length_, text.data(), text.size());
    length_ += text.size();
    text_.get()[length_] = '\0';
    return true;
  }
  char* release() { return text_.release(); }

 private:
  static constexpr size_t kFirstRoom = 256;

  bool make_room(size_t more) {
    if (more > SIZE_MAX / 4 || room_ > SIZE_MAX / 4) return false;
    const size_t room = std::max({kFirstRoom, 2 * room_, length_ + more + 1});
    auto* grown = static_cast<char*>(std::realloc(text_.get(), room));
    if (!grown) return false;
    (void)text_.release();  // it is where grown is now
    text_.reset(grown);
    room_ = room;
    return true;
  }

  malloced<char> text_;
  size_t room_ = 0;
  size_t length_ = 0;
};

// Reads a variable's name, braced or not, behind a "$"; moves *text behind it.
std::string_view take_name(const char** text) {
  const char* at = *text;
  const bool is_braced = *at == '{';
  const char* name = is_braced ? ++at : at;
  while (std::isalnum(static_cast<unsigned char>(*at)) || *at == '_') ++at;
  const std::string_view taken(name, static_cast<size_t>(at - name));
  *text = is_braced && *at == '}' ? at + 1 : at;
  return taken;
}

// The result of a look-up: the value, or null with the name in *missing (null too when memory ran out).
const char* look_up(std::string_view name, malloced<char>* missing) {
  malloced<char> copy(STR_n_save(name.data(), static_cast<int64_t>(name.size())));
  const char* value = copy ? std::getenv(copy.get()) : nullptr;
  if (!value) *missing = std::move(copy);
  return value;
}

}  // namespace
}  // namespace orb

using namespace orb;

int32_t STR_expand_filename(const char* text, char** out) {
  *out = nullptr;
  GrowingText result;
  text = STR_skip_space(text);
  for (;;) {
    const size_t plain = std::strcspn(text, "$");
    if (!result.append({text, plain})) return 0;
    text += plain;
    if (!*text) break;
    ++text;
    malloced<char> missing;
    const char* value = look_up(take_name(&text), &missing);
    if (!value) {
      *out = missing.release();
      return 0;
    }
    if (!result.append(value)) return 0;
  }
  *out = result.release();
  return 1;
}
