// The settings of the family's modules, and the modules.
#pragma once

#include "tests/plugins/common/formats.h"

namespace orb::testing {

constexpr uint16_t kEncoding = 2;
constexpr uint16_t kKind = 3;

inline const std::vector<const char*> kModules = {pnm_MODULE, pbm_MODULE, pgm_MODULE,
                                                  ppm_MODULE, pam_MODULE, pfm_MODULE};

}  // namespace orb::testing
