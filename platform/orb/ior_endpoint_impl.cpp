#include "platform/orb/ior_endpoint_impl.h"

#include <utility>

#include "platform/orb/cdr_writer.h"
#include "platform/orb/iiop_profile.h"
#include "platform/orb/ior_impl.h"

namespace QZ_IOR {

namespace {

using QZ_CORBA::CdrWriter;

// What an encapsulation begins with here; readers take either byte order.
constexpr bool LITTLE_ENDIAN_BODY = true;

CdrWriter begin_encapsulation(std::vector<unsigned char>& out) {
  CdrWriter writer(out, LITTLE_ENDIAN_BODY);
  writer.write_octet(LITTLE_ENDIAN_BODY);
  return writer;
}

std::vector<unsigned char> alternate_address(const Address& address) {
  std::vector<unsigned char> data;
  auto writer = begin_encapsulation(data);
  writer.write_string(address.host);
  writer.write_ushort(address.port);
  return data;
}

std::vector<unsigned char> code_sets() {
  constexpr std::uint32_t ISO_8859_1 = 0x00010001;
  constexpr std::uint32_t UTF_8 = 0x05010001;
  constexpr std::uint32_t UTF_16 = 0x00010109;
  std::vector<unsigned char> data;
  auto writer = begin_encapsulation(data);
  writer.write_ulong(ISO_8859_1);
  writer.write_ulong(1);
  writer.write_ulong(UTF_8);
  writer.write_ulong(UTF_16);
  writer.write_ulong(0);
  return data;
}

}  // namespace

std::string to_text(const Address& address) {
  const bool ipv6 = address.host.find(':') != std::string::npos;
  return (ipv6 ? "[" + address.host + "]" : address.host) + ":" + std::to_string(address.port);
}

IOREndpointImpl::IOREndpointImpl(std::vector<Profile> profiles) : m_profiles(std::move(profiles)) {
  for (const Profile& profile : m_profiles) {
    if (!profile.keyed) continue;
    m_keyed = &profile;
    break;
  }
}

IOREndpointImpl* IOREndpointImpl::of_addresses(const std::vector<Address>& addresses, Octets key_prefix) {
  if (addresses.empty()) throw CORBA::BAD_PARAM(0, CORBA::COMPLETED_NO);

  Profile profile{TAG_INTERNET_IOP, true, LITTLE_ENDIAN_BODY, {}, {key_prefix.begin(), key_prefix.end()}, {}};
  auto head = begin_encapsulation(profile.head);
  head.write_octet(1);
  head.write_octet(2);
  head.write_string(addresses.front().host);
  head.write_ushort(addresses.front().port);
  head.align(4);

  CdrWriter tail(profile.tail, LITTLE_ENDIAN_BODY);
  tail.write_ulong(static_cast<std::uint32_t>(addresses.size()));
  tail.write_ulong(TAG_CODE_SETS);
  tail.write_octet_seq(code_sets());
  for (std::size_t i = 1; i < addresses.size(); ++i) {
    tail.write_ulong(TAG_ALTERNATE_IIOP_ADDRESS);
    tail.write_octet_seq(alternate_address(addresses[i]));
  }

  std::vector<Profile> profiles;
  profiles.push_back(std::move(profile));
  return new IOREndpointImpl(std::move(profiles));
}

IOREndpointImpl* IOREndpointImpl::extended(Octets remaining_key) const {
  std::vector<Profile> profiles = m_profiles;
  for (Profile& profile : profiles) {
    if (profile.keyed) profile.key_prefix.insert(profile.key_prefix.end(), remaining_key.begin(), remaining_key.end());
  }
  return new IOREndpointImpl(std::move(profiles));
}

QZ_IOR::IOR_ptr IOREndpointImpl::make_ior(const CORBA::OctetSeq& remaining_key, const char* type_id) {
  return new IORImpl(*this, type_id, {remaining_key.get_buffer(), remaining_key.length()});
}

IOREndpointImpl::Octets IOREndpointImpl::key_prefix() const {
  return m_keyed ? Octets(m_keyed->key_prefix) : Octets();
}

void IOREndpointImpl::append_ior(std::vector<unsigned char>& out, bool little_endian, std::string_view type_id,
                                 Octets remaining_key) const {
  if (out.size() % 4 != 0) throw CORBA::BAD_PARAM(0, CORBA::COMPLETED_NO);
  CdrWriter writer(out, little_endian);
  writer.write_string(type_id);
  writer.write_ulong(static_cast<std::uint32_t>(m_profiles.size()));
  for (const Profile& profile : m_profiles) {
    writer.write_ulong(profile.tag);
    if (!profile.keyed) {
      writer.write_octet_seq(profile.head);
      continue;
    }
    const std::size_t key_size = profile.key_prefix.size() + remaining_key.size();
    writer.write_ulong(static_cast<std::uint32_t>(IIOPProfile::body_size(profile.head, key_size, profile.tail)));
    IIOPProfile::append_body(out, profile.little_endian, profile.head, profile.key_prefix, remaining_key, profile.tail);
  }
}

}  // namespace QZ_IOR
