// The manual page, written from the tree of verbs.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace poaloc {

// In the language of man(7). The date is left out, so that the same source always gives the same page.
std::string manual_page(const CLI::App& app, const std::string& version);

}  // namespace poaloc
