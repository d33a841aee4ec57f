// JSON as the tool writes it: keys in the order given, text that is no UTF-8 replaced.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace orb::tool {

using Json = nlohmann::ordered_json;

inline std::string to_text(const Json& json) {
  return json.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

}  // namespace orb::tool
