// Object references taken apart.
#pragma once

#include <omniORB4/CORBA.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cli/json.h"

namespace poaloc {

using Octets = std::vector<unsigned char>;

struct ReferenceComponent {
  std::uint32_t tag;
  Octets data;
};

// iiop: one that this knows; otherwise only tag and data say something.
struct ReferenceProfile {
  std::uint32_t tag = 0;
  bool iiop = false;
  std::string version;  // "1.2"
  std::string host;
  unsigned port = 0;
  Octets object_key;
  std::vector<ReferenceComponent> components;
  Octets data;
};

struct Reference {
  std::string type_id;
  std::vector<ReferenceProfile> profiles;

  // The first profile with an object key; null when there is none.
  const ReferenceProfile* keyed() const;
};

// What the key of a persistent reference through a locator names.
struct PersistentKey {
  std::string domain;
  CORBA::StringSeq poa;
  Octets object_id;  // what follows the POA's endpoint id
};

// "IOR:" and hexadecimal digits. Failure (USAGE) when it is no reference.
Reference parse_ior(const std::string& text);
// An IOR as CDR, aligned from the first octet. The same failure.
Reference parse_ior(const Octets& octets, bool little_endian);

std::optional<PersistentKey> parse_persistent_key(const Octets& key);

Json to_json(const Reference& reference);

}  // namespace poaloc
