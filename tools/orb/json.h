// JSON as the tool writes it: keys in the order given, text that is no UTF-8 replaced.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace orb::tool {

using Json = nlohmann::ordered_json;

inline std::string to_text(const Json& json) {
  return json.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

// Between processes: as it stands, whatever the texts are made of.
inline std::string packed(const Json& json) {
  const std::vector<uint8_t> bytes = Json::to_cbor(json);
  return {bytes.begin(), bytes.end()};
}
inline Json unpacked(const std::string& bytes) { return Json::from_cbor(bytes, true, false); }

}  // namespace orb::tool
