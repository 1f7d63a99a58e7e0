#pragma once

#include <map>
#include <string>
#include <variant>

namespace poalocd {

// A value as QZ_Config::Configuration serves it; durations are whole milliseconds. Lists have no form there.
using FlatValue = std::variant<std::monostate, std::string, long long, bool>;
// By key, scopes separated with ":".
using FlatValues = std::map<std::string, FlatValue, std::less<>>;

}  // namespace poalocd
