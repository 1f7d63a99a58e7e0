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

const IOREndpointImpl* IOREndpointImpl::of(QZ_IOR::IOREndpoint_ptr endpoint) {
  const auto* const impl = dynamic_cast<const IOREndpointImpl*>(endpoint);
  if (!impl && !CORBA::is_nil(endpoint)) throw CORBA::BAD_PARAM(0, CORBA::COMPLETED_NO);
  return impl;
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

  std::vector<unsigned char> profiles;
  ProfileList::append(profiles, {TAG_INTERNET_IOP, true, LITTLE_ENDIAN_BODY, head, key_prefix, tail});
  return new IOREndpointImpl(std::move(profiles));
}

IOREndpointImpl* IOREndpointImpl::extended(Octets remaining_key) const {
  std::vector<unsigned char> longer;
  profiles().for_each([&](Profile profile) {
    std::vector<unsigned char> key;
    if (profile.keyed) {
      key.assign(profile.key_prefix.begin(), profile.key_prefix.end());
      key.insert(key.end(), remaining_key.begin(), remaining_key.end());
      profile.key_prefix = key;
    }
    ProfileList::append(longer, profile);
  });
  return new IOREndpointImpl(std::move(longer));
}

QZ_IOR::IOR_ptr IOREndpointImpl::make_ior(const CORBA::OctetSeq& remaining_key, const char* type_id) {
  return new IORImpl(*this, type_id, {remaining_key.get_buffer(), remaining_key.length()});
}

}  // namespace QZ_IOR
