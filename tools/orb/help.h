// The text of --help.
#pragma once

#include <string>

#include "option_table.h"

namespace orb::tool {

[[nodiscard]] std::string help_text(const VerbEntry& entry);

}  // namespace orb::tool
