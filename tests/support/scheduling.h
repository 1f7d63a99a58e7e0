// What the kernel says of the scheduling of threads.
#pragma once

#include <sys/utsname.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

namespace support {

// In nanoseconds, of a folder such as /proc/thread-self; nothing where the kernel does not tell.
inline std::optional<long> slice_of(const std::string& folder) {
  std::ifstream file(folder + "/sched");
  for (std::string word; file >> word;) {
    long value = 0;
    if (word == "se.slice" && file >> word >> value) return value;
  }
  return std::nullopt;
}

// How many threads of this process have slices so long.
inline int threads_with_slice(long nanoseconds) {
  int count = 0;
  for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task"))
    count += slice_of(thread.path()) == nanoseconds ? 1 : 0;
  return count;
}

// From Linux 6.12 on, and where the kernel tells slices.
inline bool kernel_gives_slices() {
  utsname system{};
  int major = 0;
  int minor = 0;
  uname(&system);
  return std::sscanf(system.release, "%d.%d", &major, &minor) == 2 && (major > 6 || (major == 6 && minor >= 12)) &&
         slice_of("/proc/thread-self").has_value();
}

}  // namespace support
