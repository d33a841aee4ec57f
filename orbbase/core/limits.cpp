// The limits on what a file or a caller may ask for, and the check against them.
#include "orbbase/core/limits.h"

#include <array>
#include <atomic>
#include <charconv>
#include <cstring>

#include "orbbase/core.h"
#include "orbbase/driver.h"
#include "orbbase/support/err/internal.h"

namespace orb {
namespace {

struct LimitRule {
  int32_t which;
  uint64_t built_in;
  const char* name;
  const char* unit;   // follows a number, with its blank
  const char* raise;  // the call that raises it
};

constexpr LimitRule kRules[] = {
    {ORB_LIMIT_BUFFER, uint64_t{1} << 30, "a single buffer", " bytes", "ORB_limit(ORB_LIMIT_BUFFER, bytes)"},
    {ORB_LIMIT_HANDLE, uint64_t{2} << 30, "one handle's buffers together", " bytes",
     "ORB_limit(ORB_LIMIT_HANDLE, bytes)"},
    {ORB_LIMIT_IMAGES, 65536, "sub-images in a file", "", "ORB_limit(ORB_LIMIT_IMAGES, count)"},
    {ORB_LIMIT_CHANNELS, 65536, "channels in an image", "", "ORB_limit(ORB_LIMIT_CHANNELS, count)"},
    {ORB_LIMIT_PIXELS, uint64_t{1} << 36, "pixels in an image", "", "ORB_limit(ORB_LIMIT_PIXELS, count)"},
};

struct State {
  // In force; in step with kRules. Each stands alone, so relaxed access is enough.
  std::array<std::atomic<uint64_t>, std::size(kRules)> limits = {
      kRules[0].built_in, kRules[1].built_in, kRules[2].built_in, kRules[3].built_in, kRules[4].built_in};
} state;

// Numbered from 1 without gaps: the rule of a limit is found by its number.
constexpr bool rules_are_in_order() {
  for (size_t i = 0; i < std::size(kRules); ++i) {
    if (kRules[i].which != static_cast<int32_t>(i) + 1) return false;
  }
  return true;
}
static_assert(rules_are_in_order());

bool is_limit(int32_t which) { return which >= 1 && which <= static_cast<int32_t>(std::size(kRules)); }

// A 64-bit number with its unit as text. Not printf's work: its 64-bit directive differs between systems.
struct Amount {
  Amount(uint64_t number, const char* unit) {
    char* end = std::to_chars(text, text + kDigits, number).ptr;
    std::strcpy(end, unit);
  }
  static constexpr size_t kDigits = 20;
  char text[kDigits + 12];  // and a unit of kRules
};

}  // namespace

uint64_t built_in_limit(int32_t which) { return kRules[which - 1].built_in; }

}  // namespace orb

uint64_t ORB_limit(int32_t which, uint64_t value) {
  if (!orb::is_limit(which)) {
    orb::set_error(ORB_E_HANDLE);
    return 0;
  }
  std::atomic<uint64_t>& limit = orb::state.limits[static_cast<size_t>(which - 1)];
  return value == 0 ? limit.load(std::memory_order_relaxed)
                    : limit.exchange(value, std::memory_order_relaxed);
}

int32_t orb__within_limit(int32_t which, uint64_t need, const char* call) {
  const uint64_t allowed = ORB_limit(which, 0);
  if (!orb::is_limit(which)) return 0;  // the code is set
  if (need <= allowed) return 1;
  const orb::LimitRule& rule = orb::kRules[which - 1];
  orb__report(ORB_MSG_OVER_LIMIT, call ? call : "", rule.name, orb::Amount(need, rule.unit).text,
              orb::Amount(allowed, rule.unit).text, rule.raise);
  orb::set_error(ORB_E_MEMORY);
  return 0;
}
