#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace poaloc {

// Keeps the order in which members are written.
using Json = nlohmann::ordered_json;

// One line. Octets that are no UTF-8 become U+FFFD.
inline std::string to_line(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace poaloc
