// Object references as values, and the way between them and the ORB's objects.
#pragma once

#include <omniORB4/CORBA.h>
#include <qz_ior.hh>

#include <span>
#include <string>
#include <vector>

#include "platform/orb/ior_endpoint_impl.h"
#include "platform/orb/ref_counted_local_object.h"

namespace QZ_IOR {

// An endpoint, shared, and the rest of the object key. Immutable; safe from any thread.
class IORImpl final : public virtual QZ_IOR::IOR, public QZ_CORBA::RefCountedLocalObject {
 public:
  using Octets = std::span<const unsigned char>;

  // Adds a reference to the endpoint; copies the key. A type id that is null or empty says nothing of the type.
  IORImpl(IOREndpointImpl& endpoint, const char* type_id, Octets remaining_key);

  // From CDR: type id and tagged profiles, aligned from the first octet. MARSHAL when the octets are no IOR,
  // INV_OBJREF when it has no profile at all.
  static IORImpl* from_octets(Octets octets, bool little_endian);

  char* type_id() override;
  QZ_IOR::IOREndpoint_ptr split(CORBA::OctetSeq_out remaining_key) override;

  // The key of the first profile that has one; empty when none has.
  std::vector<unsigned char> object_key() const;

  // Appends type id and tagged profiles as CDR, aligned from where they begin.
  void append_to(std::vector<unsigned char>& out, bool little_endian) const {
    m_endpoint->profiles().append_ior(out, little_endian, m_type_id, m_remaining_key);
  }
  const IOREndpointImpl& endpoint() const { return *m_endpoint; }

 private:
  ~IORImpl() override;

  IOREndpointImpl* const m_endpoint;  // one reference
  const std::string m_type_id;
  const std::vector<unsigned char> m_remaining_key;
};

// Both conversions need the process's ORB to be initialised.

// The reference as a value, with all profiles and components; null for nil. The caller releases it.
// MARSHAL for an object that has no reference outside of this process.
IORImpl* from_object(CORBA::Object_ptr object);

// Nil for nil. INV_OBJREF or MARSHAL when the ORB cannot use the reference, BAD_PARAM for a foreign implementation of
// QZ_IOR::IOR. The caller releases it.
CORBA::Object_ptr to_object(QZ_IOR::IOR_ptr ior);

}  // namespace QZ_IOR
