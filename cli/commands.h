// The groups of verbs, each in a file of its own. Each function adds its group to the tree.
#pragma once

#include <CLI/CLI.hpp>

#include "cli/context.h"

namespace poaloc {

void add_poa_commands(CLI::App& app, Context& context);
void add_active_commands(CLI::App& app, Context& context);
void add_orb_commands(CLI::App& app, Context& context);
void add_process_commands(CLI::App& app, Context& context);
void add_ref_commands(CLI::App& app, Context& context);
void add_locator_commands(CLI::App& app, Context& context);
void add_repository_commands(CLI::App& app, Context& context);
void add_shell_commands(CLI::App& app, Context& context);

}  // namespace poaloc
