#pragma once

#include <cstddef>

namespace poalocd {

// Lets this process open as many files as so many connections and what it needs beside them take, as far as the system
// permits it. Returns for how many connections that is enough.
std::size_t allow_connections(std::size_t wanted);

}  // namespace poalocd
