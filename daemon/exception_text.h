#pragma once

#include <string>

namespace poalocd {

// The exception that is being handled, for people.
std::string current_exception_text();

}  // namespace poalocd
