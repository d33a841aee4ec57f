#include "settings.h"

namespace orb::plugin {

void pass_over(const ORB_CAP_SETTING& setting) {
  constexpr uint16_t kUnset = 65535;  // the code of a setting that nobody filled in
  if (setting.code != kUnset) orb__report(ORB_MSG_CAPABILITY_CODE, static_cast<int32_t>(setting.code));
}

}  // namespace orb::plugin
