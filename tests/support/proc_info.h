// What the kernel tells about a process.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <vector>

namespace support {

// A number of /proc/PID/status, in the unit given there; 0 when the process is gone.
std::size_t status_number(pid_t pid, const char* field);

inline std::size_t resident_kib(pid_t pid) {
  return status_number(pid, "VmRSS");
}
inline std::size_t thread_count(pid_t pid) {
  return status_number(pid, "Threads");
}
std::size_t open_files(pid_t pid);

// True while it runs: a process that has ended and waits to be reaped does not.
bool runs(pid_t pid);

// Direct children of this process.
std::vector<pid_t> children();

}  // namespace support
