// What may stand behind every verb.
#pragma once

#include <chrono>
#include <string>

namespace poaloc {

struct Options {
  std::string locator = "corbaloc::127.0.0.1:2809";
  double timeout = 10;  // seconds
  bool timeout_given = false;
  bool json = false;
  bool yes = false;
};

}  // namespace poaloc
