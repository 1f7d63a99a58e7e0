// Completion scripts, written from the tree of verbs.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace poaloc {

std::string bash_completion(const CLI::App& app);
std::string zsh_completion(const CLI::App& app);

}  // namespace poaloc
