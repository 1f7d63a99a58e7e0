// IOR endpoints: where objects of one POA are reached. Their octets are prepared once, so that putting an IOR
// together costs a few copies.
#pragma once

#include <qz_ior.hh>

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "platform/orb/ref_counted_local_object.h"

namespace QZ_IOR {

struct Address {
  std::string host;
  std::uint16_t port;
};
// HOST:PORT, an IPv6 host in brackets.
std::string to_text(const Address& address);

// Immutable; safe from any thread.
class IOREndpointImpl : public virtual QZ_IOR::IOREndpoint, public QZ_CORBA::RefCountedLocalObject {
 public:
  using Octets = std::span<const unsigned char>;

  // One profile, its octets in one piece. A profile that is not IIOP (keyed false) is kept as it is in head.
  class Profile {
   public:
    static Profile unkeyed(std::uint32_t tag, Octets body) { return {tag, false, false, body, {}, {}}; }
    // little_endian: of the body. head: up to the key's length. key_prefix: with which every object key begins. tail:
    // from the number of components on.
    Profile(std::uint32_t tag, bool little_endian, Octets head, Octets key_prefix, Octets tail)
        : Profile(tag, true, little_endian, head, key_prefix, tail) {}

    std::uint32_t tag() const { return m_tag; }
    bool keyed() const { return m_keyed; }
    bool little_endian() const { return m_little_endian; }
    Octets head() const { return Octets(m_octets).first(m_head_size); }
    Octets key_prefix() const { return Octets(m_octets).subspan(m_head_size, m_key_size); }
    Octets tail() const { return Octets(m_octets).subspan(m_head_size + m_key_size); }
    bool operator==(const Profile&) const = default;

   private:
    Profile(std::uint32_t tag, bool keyed, bool little_endian, Octets head, Octets key_prefix, Octets tail);

    std::uint32_t m_tag;
    bool m_keyed;
    bool m_little_endian;
    std::uint32_t m_head_size;
    std::uint32_t m_key_size;
    std::vector<unsigned char> m_octets;
  };

  explicit IOREndpointImpl(std::vector<Profile> profiles);

  // One IIOP 1.2 profile of the first address; the others become alternate addresses of it. BAD_PARAM when there is no
  // address. Code sets are declared, so that clients may send wide characters: requests here are only forwarded.
  static IOREndpointImpl* of_addresses(const std::vector<Address>& addresses, Octets key_prefix);

  // The same addresses with each key prefix made longer.
  IOREndpointImpl* extended(Octets remaining_key) const;

  // Nothing of it is kept by reference.
  QZ_IOR::IOR_ptr make_ior(const CORBA::OctetSeq& remaining_key, const char* type_id) override;

  // The key prefix of the first profile that has an object key; has_key() says whether there is one.
  Octets key_prefix() const;
  bool has_key() const { return m_keyed != nullptr; }
  const std::vector<Profile>& profiles() const { return m_profiles; }

  // Appends an IOR as CDR: type id and tagged profiles, aligned from where it begins. It may end anywhere.
  void append_ior(std::vector<unsigned char>& out, bool little_endian, std::string_view type_id,
                  Octets remaining_key) const;

 protected:
  ~IOREndpointImpl() override = default;

 private:
  const std::vector<Profile> m_profiles;
  const Profile* m_keyed = nullptr;  // the first with an object key
};

}  // namespace QZ_IOR
