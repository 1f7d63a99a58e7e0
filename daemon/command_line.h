#pragma once

#include <optional>
#include <string>
#include <vector>

namespace poalocd {

// Exit codes of poalocd, beside those of a second signal during its stop (128 + signal).
enum ExitCode {
  EXIT_STOPPED = 0,        // asked to stop, and did so in order; or nothing else was asked
  EXIT_START_FAILED = 1,   // port, store, plug-in, log
  EXIT_CONFIGURATION = 2,  // mistakes in the command line or the configuration
};

struct CommandLine {
  std::string config_file;               // empty: defaults
  std::vector<std::string> assignments;  // key=value
  bool check_config = false;

  // Sets exit_code, and has said everything, when there is nothing more to do.
  static CommandLine parse(int argc, char** argv, std::optional<int>& exit_code);
};

}  // namespace poalocd
