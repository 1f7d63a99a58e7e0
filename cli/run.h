#pragma once

#include <string>
#include <vector>

#include "cli/context.h"

namespace poaloc {

// The whole command: returns its exit code (exit_code.h). arguments: without the program's name.
int run(std::vector<std::string> arguments, const Streams& streams);

}  // namespace poaloc
