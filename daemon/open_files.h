#pragma once

#include <sys/resource.h>

#include <cstddef>

namespace poalocd {

// Lets this process open as many files as so many connections and what it needs beside them take, as far as the system
// permits it. Returns for how many connections that is enough.
std::size_t allow_connections(std::size_t wanted);

// What this process was permitted before that, which is what its servers are to have; null while it is the same. Not
// for several threads at once with allow_connections.
const rlimit* files_limit_of_servers();

}  // namespace poalocd
