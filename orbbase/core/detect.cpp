// Which format a file is in, by asking each driver's imageIsFile.
#include <cstring>

#include "orbbase/core/internal.h"

namespace orb {
namespace {

constexpr const char* kOfNoFormat = "__none_";

// What the file-type queries count as a caller for the report of a start on demand.
constexpr const char* kQuery = "ORB_find";

// The first registration for which the claim holds; the registry's cursor is left behind it, and where it was
// when there is none. Walks the nodes themselves: a driver that is asked may use the cursor.
template <class Claim>
FormatNode* find_format(Claim holds) {
  ListOf<FormatNode>& formats = registry().formats;
  ListNode* const position = formats.position();
  for (ListNode* at = formats.head(); at; at = at->next) {
    auto* node = static_cast<FormatNode*>(at);
    if (!holds(node->format)) continue;
    formats.set_position(node->next);
    return node;
  }
  formats.set_position(position);
  return nullptr;
}

bool is_of_last_match(const char* name, std::FILE* stream, const char* key) {
  const FormatNode* last = registry().last_match;
  return last && std::strcmp(last->format.key, key) == 0 && last->format.is_file(name, stream) != 0;
}

const char* file_type(const char* name, std::FILE* stream, int32_t& is_known) {
  is_known = 1;
  const FormatNode* node = find_format([&](const ORB_FORMAT& format) {
    if (!format.is_file) is_known = 0;
    // Exactly 1, on purpose; asked for one format, any other answer than 0 is a yes.
    return format.is_file && format.is_file(name, stream) == 1;
  });
  if (node) return node->format.key;
  return is_known ? kOfNoFormat : nullptr;
}

const char* is_file_type(const char* name, std::FILE* stream, const char* key, int32_t& is_known) {
  Registry& state = registry();
  ListNode* const position = state.formats.position();
  is_known = 1;
  state.formats.rewind();  // and there it stays after an answer by the format of the last match
  if (is_of_last_match(name, stream, key)) return state.last_match->format.key;
  state.formats.set_position(position);
  state.last_match = find_format([&](const ORB_FORMAT& format) {
    if (std::strcmp(format.key, key) != 0) return false;
    if (!format.is_file) is_known = 0;
    return format.is_file && format.is_file(name, stream) != 0;
  });
  return state.last_match ? state.last_match->format.key : nullptr;
}

}  // namespace
}  // namespace orb

const char* ORB_get_file_type(const char* name, FILE* stream, int32_t* known_out) {
  int32_t ignored = 0;
  int32_t& is_known = known_out ? *known_out : ignored;
  is_known = 0;
  if (!orb::start_on_demand(orb::kQuery)) return nullptr;
  orb::platform::Lock lock(orb::library_mutex());
  const orb::platform::BinaryFileMode binary;
  return orb::file_type(name, stream, is_known);
}

const char* ORB_is_file_type(const char* name, FILE* stream, const char* key, int32_t* known_out) {
  int32_t ignored = 0;
  int32_t& is_known = known_out ? *known_out : ignored;
  is_known = 0;
  if (!orb::start_on_demand(orb::kQuery)) return nullptr;
  if (!key) return ORB_get_file_type(name, stream, known_out);
  return orb::is_file_type(name, stream, key, is_known);
}
