// The library with all modules of the family.
#pragma once

#include "tests/plugins/common/formats.h"

namespace orb::testing {

class PnmTest : public FormatTest {
 protected:
  PnmTest() : FormatTest({pnm_MODULE, pbm_MODULE, pgm_MODULE, ppm_MODULE, pam_MODULE, pfm_MODULE}) {}
};

// Settings of the modules.
constexpr uint16_t kEncoding = 2;
constexpr uint16_t kKind = 3;

}  // namespace orb::testing
