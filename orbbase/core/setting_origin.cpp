// Every setting of the library with its value and where that came from: one walk over the databases, the
// environment and the limits.
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "orbbase/colour/internal.h"
#include "orbbase/core.h"
#include "orbbase/core/limits.h"
#include "orbbase/support/config/fb.h"
#include "orbbase/support/config/internal.h"
#include "orbbase/support/config/setting.h"

namespace orb {
namespace {

constexpr char kBuiltIn[] = "built-in";
constexpr char kApplication[] = "application";

struct Variable {
  const char* name;
  const char* when_unset;  // what the library then uses
};
constexpr Variable kVariables[] = {
    {"HOME", ""},         {"QV_ROOT", "/usr/zt/"}, {"QV_ORB_MULTIFRAME_OPEN", "15"},
    {"QV_JOB_NUM", "-1"}, {"QV_IMG_DIR", ""},      {"QV_TEX_DIR", ""},
    {"QV_BIN_DIR", ""},
};

struct Limit {
  const char* name;
  int32_t which;
};
constexpr Limit kLimits[] = {
    {"ORB_LIMIT_BUFFER", ORB_LIMIT_BUFFER}, {"ORB_LIMIT_HANDLE", ORB_LIMIT_HANDLE},
    {"ORB_LIMIT_IMAGES", ORB_LIMIT_IMAGES}, {"ORB_LIMIT_CHANNELS", ORB_LIMIT_CHANNELS},
    {"ORB_LIMIT_PIXELS", ORB_LIMIT_PIXELS},
};

int32_t variable_count() { return static_cast<int32_t>(std::size(kVariables)); }
int32_t limit_count() { return static_cast<int32_t>(std::size(kLimits)); }

using ListDatabase = bool (*)(int32_t index, config::ListedSetting* out);

template <ListDatabase list>
bool database_setting(int32_t index, ORB_SETTING* out) {
  config::ListedSetting listed;
  if (!list(index, &listed)) return false;
  static_assert(sizeof listed.value == sizeof out->value);
  out->name = listed.name;
  std::memcpy(out->value, listed.value, sizeof out->value);
  out->origin = listed.origin.path ? listed.origin.path : kBuiltIn;
  out->line = listed.origin.line;
  return true;
}

bool variable_setting(int32_t index, ORB_SETTING* out) {
  const Variable& variable = kVariables[index];
  const char* const value = std::getenv(variable.name);
  out->name = variable.name;
  config::ValueText(out->value).word(value ? value : variable.when_unset);
  out->origin = value ? variable.name : kBuiltIn;
  out->line = 0;
  return true;
}

bool limit_setting(int32_t index, ORB_SETTING* out) {
  const Limit& limit = kLimits[index];
  const uint64_t value = ORB_limit(limit.which, 0);
  out->name = limit.name;
  config::ValueText(out->value).number(value);
  out->origin = value == built_in_limit(limit.which) ? kBuiltIn : kApplication;
  out->line = 0;
  return true;
}

struct Source {
  int32_t (*count)();
  bool (*setting)(int32_t index, ORB_SETTING* out);
};
constexpr Source kSources[] = {
    {fmt::listed_count, database_setting<fmt::list>},
    {fb::listed_count, database_setting<fb::list>},
    {clr::listed_count, database_setting<clr::list>},
    {variable_count, variable_setting},
    {limit_count, limit_setting},
};

}  // namespace
}  // namespace orb

int32_t ORB_setting(int32_t index, ORB_SETTING* setting_out) {
  if (index < 0) return 0;
  for (const orb::Source& source : orb::kSources) {
    const int32_t count = source.count();
    if (index < count) return source.setting(index, setting_out) ? 1 : 0;
    index -= count;
  }
  return 0;
}
