#pragma once

#include <toml++/toml.h>

#include "daemon/flat_values.h"
#include "daemon/settings.h"

namespace poalocd {

// Checks the document and fills in defaults; flat receives every scalar. ConfigurationError names all mistakes.
Settings read_settings(const toml::table& document, FlatValues& flat);

}  // namespace poalocd
