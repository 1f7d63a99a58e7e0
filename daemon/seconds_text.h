#pragma once

#include <string>

#include "daemon/settings.h"

namespace poalocd {

// In seconds, without needless decimals.
std::string seconds_text(Milliseconds time);

}  // namespace poalocd
