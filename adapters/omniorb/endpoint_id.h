// Endpoint ids: the framed octets that name one POA of one domain (docs/protocol.md). No state; safe from any thread.
#pragma once

#include <omniORB4/CORBA.h>

#include <optional>
#include <string>
#include <vector>

namespace PoaLocator {

// The names of a path, which are joined by "/". RegistrationError when one of them is empty.
std::vector<std::string> names_of(const std::string& path);

CORBA::OctetSeq endpoint_id_of(const std::string& domain, const std::string& path);

// Nothing when the id does not name a POA of that domain.
std::optional<std::string> path_of(const std::string& domain, const CORBA::OctetSeq& id);

}  // namespace PoaLocator
