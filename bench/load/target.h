#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace bench {

// Where requests go, and for which object.
struct Target {
  std::string host;
  std::uint16_t port = 0;
  std::vector<unsigned char> key;
};

// An IOR or a corbaloc. std::runtime_error when it is neither, or has no IIOP address.
Target parse_target(const std::string& reference);

// A line each; the same address in all of them. std::runtime_error as above, and for an empty file.
std::vector<Target> read_targets(const std::string& path);

}  // namespace bench
