// Starting a configured program.
#pragma once

#include <sys/types.h>

#include <map>
#include <string>

#include "daemon/settings.h"

namespace poalocd {

// Runs the program in a process group of its own with standard input empty, standard output and error appended to its
// log file (or the daemon's standard error), signals as a fresh program has them, no other descriptor, and the
// daemon's environment, the configured one and extra_environment, later ones winning. What the service manager tells
// the daemon (NOTIFY_SOCKET and such) is left out.
// Returns when the program runs, which takes milliseconds; the caller owns the child.
// QZ_LocatorInternal::StartFailed with one sentence when it cannot run.
pid_t spawn(const ProcessSettings& process, const std::map<std::string, std::string>& extra_environment);

}  // namespace poalocd
