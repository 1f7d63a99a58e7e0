// A LocateRequest of its own, because no ORB tells where it was forwarded to.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "cli/reference.h"

namespace poaloc {

// Where the front door at that address forwards to for the object key; nothing when it does not forward. Failure
// (UNREACHABLE) when it does not answer in time.
std::optional<Reference> locate(const std::string& host, unsigned port, const Octets& key,
                                std::chrono::milliseconds limit);

}  // namespace poaloc
