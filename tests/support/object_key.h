// Endpoint ids and object keys, framed by hand: each segment is a 4-octet big-endian length and its octets.
#pragma once

#include <string>
#include <vector>

#include "tests/support/cdr.h"

namespace support {

// The id of the POA of that path in a locator domain.
Octets endpoint_id(const std::string& domain, const std::vector<std::string>& path);
// The names of an id, joined by "/", as the event log shows them.
std::string path_of(const Octets& id);
std::vector<std::string> split_path(const std::string& path);

}  // namespace support
