// The command line as a whole. Help, manual page and shell completion are written from this tree.
#pragma once

#include <CLI/CLI.hpp>
#include <memory>

#include "cli/context.h"

namespace poaloc {

// Verbs run while the arguments are parsed; they use the context, which must live as long.
std::unique_ptr<CLI::App> make_app(Context& context);

}  // namespace poaloc
