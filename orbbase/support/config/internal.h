// What the configuration databases lend to the rest of the library beyond fmt.h.
#pragma once

#include <cstdint>

#include "orbbase/support/config/setting.h"

namespace orb::fmt {

// The format key and base name of the configuration file, or "rla" and "im". ORB_def_key and
// ORB_def_base_name do not ask them: these always answer with the built-in ones.
const char* configured_key();
const char* configured_name();

// The settings and aspects, for ORB_setting: starts the database like a query.
int32_t listed_count();
bool list(int32_t index, config::ListedSetting* out);

// Ends the database and puts every setting back to its built-in value.
void reset_for_test();

}  // namespace orb::fmt
