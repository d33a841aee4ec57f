// A driver's own settings as they are typed, NAME=VALUE, against what the driver says that it offers.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "orbbase/core.h"
#include "orbbase/registry.h"

namespace orb::tool {

// What a format offers; empty when it has no settings.
[[nodiscard]] std::span<const ORB_CAPABILITY> capabilities_of(const ORB_FORMAT& format);

class DriverSettings {
 public:
  // Throws Failure(kUsage) for a setting or a choice that the format does not have, naming those it has.
  DriverSettings(const ORB_FORMAT& format, const std::vector<std::string>& typed);

  // Opens what the record describes with these settings. Null when the library refused, reported.
  [[nodiscard]] ORB_IMAGE* open(ORB_INFO& record, const char* mode) const;

 private:
  // A fresh list for ORB_INFO.settings; null when nothing was set.
  [[nodiscard]] ORB_CAP_SETTING** list() const;

  std::vector<ORB_CAP_SETTING> settings_;
};

}  // namespace orb::tool
