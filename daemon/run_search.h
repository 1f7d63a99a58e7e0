// Finds the processes that a killed daemon had started and had no time to record.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "daemon/process_instance.h"

namespace poalocd {

// The variable by which a process is known: "RUN/NAME", with the run as StoreLock names it.
extern const char* const RUN_VARIABLE;
std::string run_mark(const std::string& run, const std::string& process_name);

// By the name of the process. What the processes have started themselves does not count, although it carries the mark
// too. The environment of processes of other users is hidden from a daemon that is not root.
std::map<std::string, ProcessIdentity> find_runs(const std::vector<std::string>& runs);

}  // namespace poalocd
