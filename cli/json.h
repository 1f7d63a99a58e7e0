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

inline Json text_or_null(const char* text) {
  return *text ? Json(text) : Json();
}

// A sequence of strings.
template <class List>
Json list_json(const List& list) {
  Json result = Json::array();
  for (unsigned i = 0; i < list.length(); ++i) result.push_back(list[i].in());
  return result;
}

}  // namespace poaloc
