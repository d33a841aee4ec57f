// The folders where plug-ins are looked for, as the verbs list them.
#pragma once

#include <string>

#include "json.h"

namespace orb::tool {

// One line a folder, in the order of the search.
[[nodiscard]] std::string plugin_folders_text();
[[nodiscard]] Json plugin_folders_json();

}  // namespace orb::tool
