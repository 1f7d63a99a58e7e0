#include "adapters/omniorb/reference_key.h"

#include <algorithm>

namespace PoaLocator {

namespace {

IOP::IOR ior_of(CORBA::Object_ptr reference) {
  cdrMemoryStream stream;
  CORBA::Object::_marshalObjRef(reference, stream);
  IOP::IOR ior;
  ior <<= stream;
  return ior;
}

void append(Octets& octets, const Octets& more) {
  const CORBA::ULong length = octets.length();
  octets.length(length + more.length());
  std::copy_n(more.get_buffer(), more.length(), octets.get_buffer() + length);
}

}  // namespace

Octets key_of(CORBA::Object_ptr reference) {
  const IOP::IOR ior = ior_of(reference);
  for (CORBA::ULong i = 0; i < ior.profiles.length(); ++i) {
    if (ior.profiles[i].tag != IOP::TAG_INTERNET_IOP) continue;
    IIOP::ProfileBody body;
    IIOP::unmarshalProfile(ior.profiles[i], body);
    return body.object_key;
  }
  throw CORBA::INV_OBJREF(0, CORBA::COMPLETED_NO);
}

CORBA::Object_ptr with_longer_key(CORBA::Object_ptr reference, const Octets& tail, const char* type_id) {
  IOP::IOR ior = ior_of(reference);
  ior.type_id = CORBA::string_dup(type_id);
  for (CORBA::ULong i = 0; i < ior.profiles.length(); ++i) {
    if (ior.profiles[i].tag != IOP::TAG_INTERNET_IOP) continue;
    IIOP::ProfileBody body;
    IIOP::unmarshalProfile(ior.profiles[i], body);
    append(body.object_key, tail);
    IIOP::encodeProfile(body, ior.profiles[i]);
  }
  cdrMemoryStream stream;
  ior >>= stream;
  return CORBA::Object::_unmarshalObjRef(stream);
}

Octets rest_after(const Octets& prefix, const Octets& key) {
  const CORBA::Octet* const begin = key.get_buffer();
  if (key.length() < prefix.length() || !std::equal(begin, begin + prefix.length(), prefix.get_buffer())) {
    throw CORBA::INV_OBJREF(0, CORBA::COMPLETED_NO);
  }
  Octets rest;
  rest.length(key.length() - prefix.length());
  std::copy_n(begin + prefix.length(), rest.length(), rest.get_buffer());
  return rest;
}

}  // namespace PoaLocator
