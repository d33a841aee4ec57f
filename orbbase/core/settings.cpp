// Capability settings: what an application chooses among a driver's capabilities. What the registry knows of
// capabilities is not here.
#include <algorithm>

#include "orbbase/core/internal.h"
#include "orbbase/driver.h"

namespace orb {
namespace {

static_assert(sizeof(ORB_CAP_SETTING) == 8 && offsetof(ORB_CAP_SETTING, value) == 4);
static_assert(offsetof(ORB_CAPABILITY, list) == 40 && offsetof(ORB_CAPABILITY, flags) == 48);
static_assert(sizeof(ORB_CAP_ENTRY) == 32 && sizeof(ORB_CAP_LIST) == 16);

constexpr uint16_t kNotChosen = 0xffff;

// The code of a setting is its kind of value as well.
enum : uint16_t { kInteger = 0, kReal = 1 };

bool is_empty(ORB_CAP_SETTING* const* list) { return !list || !*list; }

uint64_t count_settings(ORB_CAP_SETTING* const* list) {
  uint64_t count = 0;
  while (list && list[count]) ++count;
  return count;
}

bool values_are_equal(const ORB_CAP_SETTING& a, const ORB_CAP_SETTING& b) {
  switch (a.code) {
    case kInteger:
      return a.value.integer == b.value.integer;
    case kReal:
      return a.value.real == b.value.real;
    default:
      orb__report(ORB_MSG_CAPABILITY_CODE, static_cast<int32_t>(a.code));
      return false;
  }
}

}  // namespace

void free_settings(ORB_CAP_SETTING** list) {
  for (ORB_CAP_SETTING** setting = list; setting && *setting; ++setting) ERR_free(*setting);
  ERR_free(list);
}

bool is_whole_copy(ORB_CAP_SETTING* const* list, ORB_CAP_SETTING* const* copy) {
  return count_settings(list) == count_settings(copy);
}

}  // namespace orb

ORB_CAP_SETTING* ORB_cap_setting_alloc(int32_t count) {
  const uint64_t settings = count > 0 ? static_cast<uint64_t>(count) : 0;
  const uint64_t bytes = std::max<uint64_t>(settings, 1) * sizeof(ORB_CAP_SETTING);
  if (!orb__within_limit(ORB_LIMIT_BUFFER, bytes, "ORB_cap_setting_alloc")) return nullptr;
  auto* list = static_cast<ORB_CAP_SETTING*>(orb::allocate(bytes));
  if (!list) {
    orb::set_error(ORB_E_MEMORY);
    return nullptr;
  }
  std::fill_n(list, settings, ORB_CAP_SETTING{orb::kNotChosen, {0}});
  return list;
}

ORB_CAP_SETTING** ORB_cap_setting_copy(ORB_CAP_SETTING* const* list) {
  const uint64_t count = orb::count_settings(list);
  if (count == 0) return nullptr;
  orb::owned<ORB_CAP_SETTING*> copy = orb::make_zeroed<ORB_CAP_SETTING*>(count + 1);
  for (uint64_t i = 0; copy && i < count; ++i) {
    ORB_CAP_SETTING* setting = ORB_cap_setting_alloc(1);
    copy.get()[i] = setting;
    if (!setting) break;
    *setting = *list[i];
  }
  if (!copy || !copy.get()[count - 1]) {
    orb__report(ORB_MSG_NO_MEMORY);
    orb::set_error(ORB_E_MEMORY);
  }
  return copy.release();  // a list cut short is given out as it stands, on purpose
}

int32_t ORB_cap_setting_compare(ORB_CAP_SETTING* const* a, ORB_CAP_SETTING* const* b) {
  if (orb::is_empty(a) || orb::is_empty(b)) return orb::is_empty(a) && orb::is_empty(b);
  for (; *a; ++a) {
    // b is not searched from its start again, on purpose: both lists are in one order.
    while (*b && (*b)->code != (*a)->code) ++b;
    if (!*b || !orb::values_are_equal(**a, **b)) return 0;
  }
  return 1;
}

int32_t ORB_set_available(ORB_CAPABILITY* capability, int32_t available) {
  if (!capability) return 0;
  const bool is_available = (capability->flags & ORB_CAP_UNAVAILABLE) == 0;
  if (is_available == (available != 0)) return 0;
  capability->flags ^= ORB_CAP_UNAVAILABLE;
  return 1;
}
