#include "platform/orb/packed_reference.h"

#include <bit>
#include <cstdint>

#include "platform/orb/cdr_reader.h"
#include "platform/orb/ior_impl.h"

namespace QZ_CORBA {

namespace {

// The octet of the byte order, with what fills it up to the type id's length.
constexpr std::size_t HEADER_SIZE = 4;

// Looks at the outer form alone: who was registered with a reference is kept even if it turns out that nobody can call
// it. CdrError when it is not that of a reference.
std::uint32_t count_profiles(PackedReference::Octets encapsulation) {
  CdrReader reader = CdrReader::encapsulation(encapsulation);
  reader.read_octet_seq();  // type id
  const std::uint32_t count = reader.read_ulong();
  for (std::uint32_t i = 0; i < count; ++i) {
    reader.read_ulong();  // tag
    reader.read_octet_seq();
  }
  return count;
}

}  // namespace

PackedReference::PackedReference(CORBA::Object_ptr object) {
  if (CORBA::is_nil(object)) return;
  cdrMemoryStream stream;
  CORBA::Object::_marshalObjRef(object, stream);
  const auto* octets = static_cast<const unsigned char*>(stream.bufPtr());
  m_octets.reserve(HEADER_SIZE + stream.bufSize());
  m_octets.resize(HEADER_SIZE);
  m_octets[0] = std::endian::native == std::endian::little;
  m_octets.insert(m_octets.end(), octets, octets + stream.bufSize());
}

PackedReference::PackedReference(Octets encapsulation) {
  try {
    if (count_profiles(encapsulation) == 0) throw CORBA::INV_OBJREF(0, CORBA::COMPLETED_NO);
  } catch (const CdrError&) {
    throw CORBA::MARSHAL(0, CORBA::COMPLETED_NO);
  }
  m_octets.assign(encapsulation.begin(), encapsulation.end());
}

PackedReference::Octets PackedReference::body() const {
  return Octets(m_octets).subspan(HEADER_SIZE);
}

CORBA::Object_ptr PackedReference::object() const {
  if (is_nil()) return CORBA::Object::_nil();
  cdrMemoryStream stream(const_cast<unsigned char*>(body().data()), body().size());
  stream.setByteSwapFlag(little_endian());
  return CORBA::Object::_unmarshalObjRef(stream);
}

QZ_IOR::IOR_ptr PackedReference::ior() const {
  return is_nil() ? QZ_IOR::IOR::_nil() : QZ_IOR::IORImpl::from_octets(body(), little_endian());
}

}  // namespace QZ_CORBA
