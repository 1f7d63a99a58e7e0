#pragma once

#include <string>

#include "bench/load/request_set.h"

namespace bench {

struct LoadOptions {
  std::string target;   // an IOR or a corbaloc
  std::string targets;  // or a file of them
  RequestForm form;
  std::size_t threads = 1;
  std::size_t connections = 1;
  std::size_t depth = 1;
  double rate = 0;
  double warmup = 1;
  double duration = 5;
  double patience = 30;
  std::uint64_t requests = 0;
  bool fixed_replies = false;
  bool hold = false;
  bool json = false;
  std::string save_reply;
};

// Ends the program for --help and mistakes.
LoadOptions parse_load_options(int argc, char** argv);

}  // namespace bench
