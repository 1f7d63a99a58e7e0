#pragma once

#include <stdexcept>

namespace poalocd {

// The host cannot start. what() says in one sentence what is wrong and what to do about it.
class StartError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

}  // namespace poalocd
