#include "tests/support/loopback.h"

#include <unistd.h>

namespace support {

std::string own_address(int which) {
  // Process ids have at most 22 bits.
  const int pid = getpid();
  const int first = 64 * (which + 1) + ((pid >> 16) & 63);
  return "127." + std::to_string(first) + "." + std::to_string((pid >> 8) & 255) + "." + std::to_string(pid & 255);
}

}  // namespace support
