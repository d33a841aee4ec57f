// What an application may choose of a format: the lists of names in its capability table, and its settings read
// back.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>
#include <utility>

#include "orbbase/core.h"
#include "orbbase/registry.h"
#include "reports.h"

namespace orb::plugin {

// The list of a capability whose values are names, numbered from 0. The library writes into it (names from its
// catalogue, the number of entries), so it stays where it was made.
template <size_t kCount>
struct Choices {
  template <class... Names>
  constexpr explicit Choices(uint16_t default_code, Names... names)
      : Choices(std::make_index_sequence<kCount>(), default_code, names...) {}
  Choices(const Choices&) = delete;
  Choices& operator=(const Choices&) = delete;

  ORB_CAP_ENTRY entries[kCount + 1];
  ORB_CAP_LIST list;

 private:
  template <size_t... kCodes, class... Names>
  constexpr Choices(std::index_sequence<kCodes...>, uint16_t default_code, Names... names)
      : entries{{static_cast<uint16_t>(kCodes), names, 0, nullptr}..., {}},
        list{default_code, kCount, entries} {}
};
template <class... Names>
Choices(int, Names...) -> Choices<sizeof...(Names)>;

// The rows of a capability table: one of these names, or a plain value. ident is the setting's code.
template <size_t kCount>
constexpr ORB_CAPABILITY choice(uint16_t ident, const char* name, Choices<kCount>& choices) {
  return {ident, name, 0, nullptr, 0, &choices.list, 0};
}
constexpr ORB_CAPABILITY value(uint16_t ident, const char* name) {
  return {ident, name, 0, nullptr, 1, nullptr, 0};
}

// One setting of a format, into its own record of settings.
template <class Settings>
struct Setting {
  uint16_t code;
  bool (*take)(Settings& settings, const ORB_CAP_SETTING& setting);  // false: out of its range
};

// For Setting::take: a whole number, or the number of a choice.
template <auto kMember, int32_t kLeast, int32_t kMost, class Settings>
bool take_between(Settings& settings, const ORB_CAP_SETTING& setting) {
  const int32_t number = setting.value.integer;
  if (number < kLeast || number > kMost) return false;
  settings.*kMember = static_cast<std::remove_reference_t<decltype(settings.*kMember)>>(number);
  return true;
}

// A setting that the format does not know: reported as a WARNING, unless nobody filled it in.
void pass_over(const ORB_CAP_SETTING& setting);

// Reads the handle's settings list. A code that is not among the known ones is passed over; a known one with a
// value out of its range is refused: false, reported with the format's key, orb__err -16.
template <class Settings>
[[nodiscard]] bool read_settings(const char* key, const ORB_INFO& info,
                                 std::type_identity_t<std::span<const Setting<Settings>>> known,
                                 Settings& out) {
  for (ORB_CAP_SETTING* const* given = info.settings; given && *given; ++given) {
    const Setting<Settings>* row = nullptr;
    for (const Setting<Settings>& candidate : known) {
      if (candidate.code == (*given)->code) row = &candidate;
    }
    if (!row) {
      pass_over(**given);
    } else if (!row->take(out, **given)) {
      return refuse(ORB_MSG_CANNOT_HANDLE, key);
    }
  }
  return true;
}

}  // namespace orb::plugin
