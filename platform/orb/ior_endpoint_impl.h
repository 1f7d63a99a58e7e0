// IOR endpoints: where objects of one POA are reached. Their octets are prepared once, so that putting an IOR
// together costs a few copies.
#pragma once

#include <qz_ior.hh>

#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "platform/orb/profile_list.h"
#include "platform/orb/ref_counted_local_object.h"

namespace QZ_IOR {

struct Address {
  std::string host;
  std::uint16_t port;
};
// HOST:PORT, an IPv6 host in brackets.
std::string to_text(const Address& address);

// Immutable; safe from any thread.
class IOREndpointImpl final : public virtual QZ_IOR::IOREndpoint, public QZ_CORBA::RefCountedLocalObject {
 public:
  using Octets = std::span<const unsigned char>;

  // Takes what ProfileList::append has put together.
  explicit IOREndpointImpl(std::vector<unsigned char> profiles) : m_profiles(std::move(profiles)) {}

  // Null for nil. BAD_PARAM for an endpoint that is not of this process's making.
  static const IOREndpointImpl* of(QZ_IOR::IOREndpoint_ptr endpoint);
  // One IIOP 1.2 profile of the first address; the others become alternate addresses of it. BAD_PARAM when there is no
  // address. Code sets are declared, so that clients may send wide characters: requests here are only forwarded.
  static IOREndpointImpl* of_addresses(const std::vector<Address>& addresses, Octets key_prefix);

  // The same addresses with each key prefix made longer.
  IOREndpointImpl* extended(Octets remaining_key) const;

  // Nothing of it is kept by reference.
  QZ_IOR::IOR_ptr make_ior(const CORBA::OctetSeq& remaining_key, const char* type_id) override;

  ProfileList profiles() const { return ProfileList(m_profiles); }
  // profiles(), as octets to be kept elsewhere.
  Octets packed_profiles() const { return m_profiles; }

 private:
  ~IOREndpointImpl() override = default;

  const std::vector<unsigned char> m_profiles;
};

}  // namespace QZ_IOR
