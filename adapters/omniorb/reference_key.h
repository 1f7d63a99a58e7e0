// Object keys of references. No state; safe from any thread.
#pragma once

#include <omniORB4/CORBA.h>

namespace PoaLocator {

// The base of CORBA::OctetSeq and PortableServer::ObjectId.
using Octets = _CORBA_Unbounded_Sequence_Octet;

// The key of the reference's first IIOP profile. INV_OBJREF when there is none.
Octets key_of(CORBA::Object_ptr reference);

// The reference with tail appended to its key in every IIOP profile, and with another type id. The caller releases it.
CORBA::Object_ptr with_longer_key(CORBA::Object_ptr reference, const Octets& tail, const char* type_id);

// What key has after prefix. INV_OBJREF when it does not begin with it.
Octets rest_after(const Octets& prefix, const Octets& key);

}  // namespace PoaLocator
