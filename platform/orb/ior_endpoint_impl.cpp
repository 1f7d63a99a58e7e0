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

IOREndpointImpl::Profile::Profile(std::uint32_t tag, bool keyed, bool little_endian, Octets head, Octets key_prefix,
                                  Octets tail)
    : m_tag(tag),
      m_keyed(keyed),
      m_little_endian(little_endian),
      m_head_size(static_cast<std::uint32_t>(head.size())),
      m_key_size(static_cast<std::uint32_t>(key_prefix.size())) {
  m_octets.reserve(head.size() + key_prefix.size() + tail.size());
  for (const Octets part : {head, key_prefix, tail}) m_octets.insert(m_octets.end(), part.begin(), part.end());
}

IOREndpointImpl::IOREndpointImpl(std::vector<Profile> profiles) : m_profiles(std::move(profiles)) {
  for (const Profile& profile : m_profiles) {
    if (!profile.keyed()) continue;
    m_keyed = &profile;
    break;
  }
}

IOREndpointImpl* IOREndpointImpl::of_addresses(const std::vector<Address>& addresses, Octets key_prefix) {
  if (addresses.empty()) throw CORBA::BAD_PARAM(0, CORBA::COMPLETED_NO);

  std::vector<unsigned char> head;
  auto head_writer = begin_encapsulation(head);
  head_writer.write_octet(1);
  head_writer.write_octet(2);
  head_writer.write_string(addresses.front().host);
  head_writer.write_ushort(addresses.front().port);
  head_writer.align(4);

  std::vector<unsigned char> tail;
  CdrWriter tail_writer(tail, LITTLE_ENDIAN_BODY);
  tail_writer.write_ulong(static_cast<std::uint32_t>(addresses.size()));
  tail_writer.write_ulong(TAG_CODE_SETS);
  tail_writer.write_octet_seq(code_sets());
  for (std::size_t i = 1; i < addresses.size(); ++i) {
    tail_writer.write_ulong(TAG_ALTERNATE_IIOP_ADDRESS);
    tail_writer.write_octet_seq(alternate_address(addresses[i]));
  }

  std::vector<Profile> profiles;
  profiles.emplace_back(TAG_INTERNET_IOP, LITTLE_ENDIAN_BODY, head, key_prefix, tail);
  return new IOREndpointImpl(std::move(profiles));
}

IOREndpointImpl* IOREndpointImpl::extended(Octets remaining_key) const {
  std::vector<Profile> profiles;
  for (const Profile& profile : m_profiles) {
    if (!profile.keyed()) {
      profiles.push_back(profile);
      continue;
    }
    std::vector<unsigned char> key(profile.key_prefix().begin(), profile.key_prefix().end());
    key.insert(key.end(), remaining_key.begin(), remaining_key.end());
    profiles.emplace_back(profile.tag(), profile.little_endian(), profile.head(), key, profile.tail());
  }
  return new IOREndpointImpl(std::move(profiles));
}

QZ_IOR::IOR_ptr IOREndpointImpl::make_ior(const CORBA::OctetSeq& remaining_key, const char* type_id) {
  return new IORImpl(*this, type_id, {remaining_key.get_buffer(), remaining_key.length()});
}

IOREndpointImpl::Octets IOREndpointImpl::key_prefix() const {
  return m_keyed ? m_keyed->key_prefix() : Octets();
}

void IOREndpointImpl::append_ior(std::vector<unsigned char>& out, bool little_endian, std::string_view type_id,
                                 Octets remaining_key) const {
  CdrWriter writer(out, little_endian);
  writer.write_string(type_id);
  writer.write_ulong(static_cast<std::uint32_t>(m_profiles.size()));
  for (const Profile& profile : m_profiles) {
    writer.write_ulong(profile.tag());
    if (!profile.keyed()) {
      writer.write_octet_seq(profile.head());
      continue;
    }
    const std::size_t key_size = profile.key_prefix().size() + remaining_key.size();
    writer.write_ulong(static_cast<std::uint32_t>(IIOPProfile::body_size(profile.head(), key_size, profile.tail())));
    IIOPProfile::append_body(out, profile.little_endian(), profile.head(), profile.key_prefix(), remaining_key,
                             profile.tail());
  }
}

}  // namespace QZ_IOR
