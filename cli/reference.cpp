#include "cli/reference.h"

#include <cstring>

#include "cli/failure.h"
#include "cli/poa_name.h"
#include "cli/text.h"
#include "platform/binding/key_segments.h"
#include "platform/orb/cdr_reader.h"
#include "platform/orb/iiop_profile.h"

namespace poaloc {

namespace {

using QZ_CORBA::CdrReader;

constexpr const char* PERSISTENT_FORMAT = "QP";

Octets to_octets(CdrReader::Octets octets) {
  return {octets.begin(), octets.end()};
}

void append(CORBA::StringSeq& names, const std::string& name) {
  names.length(names.length() + 1);
  names[names.length() - 1] = name.c_str();
}

const char* profile_name(std::uint32_t tag) {
  switch (tag) {
    case 0:
      return "TAG_INTERNET_IOP";
    case 1:
      return "TAG_MULTIPLE_COMPONENTS";
    case 2:
      return "TAG_SCCP_IOP";
    default:
      return nullptr;
  }
}

const char* component_name(std::uint32_t tag) {
  switch (tag) {
    case 0:
      return "TAG_ORB_TYPE";
    case 1:
      return "TAG_CODE_SETS";
    case 2:
      return "TAG_POLICIES";
    case 3:
      return "TAG_ALTERNATE_IIOP_ADDRESS";
    case 20:
      return "TAG_SSL_SEC_TRANS";
    case 33:
      return "TAG_CSI_SEC_MECH_LIST";
    default:
      return nullptr;
  }
}

Json tag_json(std::uint32_t tag, const char* name) {
  return name ? Json(name) : Json(tag);
}

ReferenceProfile parse_profile(std::uint32_t tag, CdrReader::Octets data) {
  ReferenceProfile profile;
  profile.tag = tag;
  profile.data = to_octets(data);
  if (tag != QZ_IOR::TAG_INTERNET_IOP) return profile;
  std::optional<QZ_IOR::IIOPProfile> known;
  try {
    known.emplace(data);
  } catch (const QZ_CORBA::CdrError&) {
    // Of another version, or broken; the reference may have others.
    return profile;
  }
  const auto& body = *known;
  profile.iiop = true;
  profile.version = std::to_string(body.major()) + "." + std::to_string(body.minor());
  profile.host = body.host();
  profile.port = body.port();
  profile.object_key = to_octets(body.object_key());
  for (const auto& component : body.components())
    profile.components.push_back({component.tag, to_octets(component.data)});
  return profile;
}

Reference read_reference(CdrReader& reader) {
  Reference reference;
  reference.type_id = reader.read_string();
  const std::uint32_t count = reader.read_ulong();
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::uint32_t tag = reader.read_ulong();
    reference.profiles.push_back(parse_profile(tag, reader.read_octet_seq()));
  }
  return reference;
}

template <class Read>
Reference checked(Read read) {
  try {
    return read();
  } catch (const QZ_CORBA::CdrError& error) {
    throw Failure(USAGE, std::string("That is no reference, because ") + error.what() +
                             ": give it whole, from \"IOR:\" to its last digit.");
  }
}

Json to_json(const ReferenceProfile& profile) {
  Json result{{"profile", tag_json(profile.tag, profile_name(profile.tag))}};
  if (!profile.iiop) {
    result["data"] = to_hex(profile.data);
    return result;
  }
  result["iiop"] = profile.version;
  result["host"] = profile.host;
  result["port"] = profile.port;
  result["object_key"] = octets_text(profile.object_key);
  if (const auto key = parse_persistent_key(profile.object_key)) {
    result["domain"] = key->domain;
    result["poa"] = poa_name_text(key->poa);
    result["object_id"] = octets_text(key->object_id);
  }
  Json components = Json::array();
  for (const auto& component : profile.components)
    components.push_back(
        {{"component", tag_json(component.tag, component_name(component.tag))}, {"data", to_hex(component.data)}});
  result["components"] = std::move(components);
  return result;
}

}  // namespace

const ReferenceProfile* Reference::keyed() const {
  for (const auto& profile : profiles)
    if (profile.iiop) return &profile;
  return nullptr;
}

Reference parse_ior(const std::string& text) {
  constexpr const char* PREFIX = "IOR:";
  if (!text.starts_with(PREFIX) && !text.starts_with("ior:"))
    throw Failure(USAGE, "\"" + printable(text) + "\" is no reference: give an IOR, which begins with \"IOR:\".");
  const Octets octets = from_hex(text.substr(std::strlen(PREFIX)));
  return checked([&] {
    auto reader = CdrReader::encapsulation(octets);
    return read_reference(reader);
  });
}

Reference parse_ior(const Octets& octets, bool little_endian) {
  return checked([&] {
    CdrReader reader(octets, little_endian);
    return read_reference(reader);
  });
}

std::optional<PersistentKey> parse_persistent_key(const Octets& key) {
  PersistentKey result;
  std::string segments[3];
  std::size_t position = 0;
  for (std::string& segment : segments) {
    const auto found = QZ_Binding::key_segment_at(key, position);
    if (!found) return std::nullopt;
    segment.assign(reinterpret_cast<const char*>(key.data()) + found->offset, found->length);
    position = found->end();
  }
  if (segments[0] != PERSISTENT_FORMAT) return std::nullopt;
  result.domain = segments[1];
  std::size_t begin = 0;
  for (std::size_t end; (end = segments[2].find('\0', begin)) != std::string::npos; begin = end + 1)
    append(result.poa, segments[2].substr(begin, end - begin));
  result.object_id.assign(key.begin() + static_cast<std::ptrdiff_t>(position), key.end());
  return result;
}

Json to_json(const Reference& reference) {
  Json profiles = Json::array();
  for (const auto& profile : reference.profiles) profiles.push_back(to_json(profile));
  return {{"type_id", reference.type_id}, {"profiles", std::move(profiles)}};
}

}  // namespace poaloc
