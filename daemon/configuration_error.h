#pragma once

#include <stdexcept>

namespace poalocd {

// The configuration cannot be used. what() has one line for each mistake: where, what, and what is allowed.
class ConfigurationError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

}  // namespace poalocd
