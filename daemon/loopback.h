#pragma once

#include <string_view>

namespace poalocd {

// Whether only this machine reaches that host, an address or a name.
inline bool is_loopback(std::string_view host) {
  const bool numeric = host.find_first_not_of("0123456789.") == std::string_view::npos;
  return (numeric && host.starts_with("127.")) || host == "::1" || host == "localhost";
}

}  // namespace poalocd
