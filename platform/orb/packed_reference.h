// An object reference as its octets, for those who keep many and seldom call one: the ORB's own object takes several
// times as much memory, and time to be made.
#pragma once

#include <omniORB4/CORBA.h>

#include <qz_ior.hh>
#include <span>
#include <vector>

namespace QZ_CORBA {

// A value. Both conversions back make a new object, which the caller releases; object() needs the process's ORB.
class PackedReference {
 public:
  using Octets = std::span<const unsigned char>;

  // Nil.
  PackedReference() = default;
  // MARSHAL for an object that has no reference outside of this process.
  explicit PackedReference(CORBA::Object_ptr object);
  // What a stringified reference holds: an encapsulation of type id and profiles. MARSHAL when it is none, INV_OBJREF
  // when it has no profile at all.
  explicit PackedReference(Octets encapsulation);

  bool is_nil() const { return m_octets.empty(); }
  // Nil for nil. INV_OBJREF or MARSHAL when the ORB cannot use the reference.
  CORBA::Object_ptr object() const;
  QZ_IOR::IOR_ptr ior() const;

 private:
  bool little_endian() const { return m_octets[0] != 0; }
  // The reference itself, which alignment allows to be read from there on.
  Octets body() const;

  std::vector<unsigned char> m_octets;  // empty for nil
};

}  // namespace QZ_CORBA
