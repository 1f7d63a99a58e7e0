#include "platform/orb/packed_reference.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/orb/cdr_writer.h"
#include "platform/orb/ior_impl.h"
#include "tests/support/test_orb.h"

namespace {

using QZ_CORBA::PackedReference;
using Octets = std::vector<unsigned char>;

CORBA::Object_var object_of(const std::string& text) {
  return test_orb::orb()->string_to_object(text.c_str());
}
std::string text_of(const CORBA::Object_var& object) {
  const CORBA::String_var text = test_orb::orb()->object_to_string(object);
  return text.in();
}
const std::string REFERENCE = "corbaloc::1.2@127.0.0.1:4711/some%20key";

Octets begin(bool little_endian) {
  return {static_cast<unsigned char>(little_endian), 0, 0, 0};
}

// Type id and one profile of a kind that nobody knows.
Octets opaque(bool little_endian) {
  Octets octets = begin(little_endian);
  QZ_CORBA::CdrWriter writer(octets, little_endian);
  writer.write_string("IDL:A:1.0");
  writer.write_ulong(1);
  writer.write_ulong(0x51510002);
  writer.write_octet_seq(Octets{1, 2, 3});
  return octets;
}

Octets body_of(const PackedReference& reference, bool little_endian) {
  const QZ_IOR::IOR_var ior = reference.ior();
  Octets octets = begin(little_endian);
  dynamic_cast<QZ_IOR::IORImpl&>(*ior.in()).append_to(octets, little_endian);
  return octets;
}

TEST(PackedReference, gives_back_the_object_that_it_was_made_of) {
  const CORBA::Object_var object = object_of(REFERENCE);
  const PackedReference packed(object.in());
  EXPECT_FALSE(packed.is_nil());
  const CORBA::Object_var first = packed.object();
  const CORBA::Object_var second = packed.object();
  EXPECT_EQ(text_of(first), text_of(object));
  EXPECT_EQ(text_of(second), text_of(object));
}

TEST(PackedReference, gives_the_object_s_reference_as_a_value) {
  const CORBA::Object_var object = object_of(REFERENCE);
  const QZ_IOR::IOR_var ior = PackedReference(object.in()).ior();
  const auto key = dynamic_cast<QZ_IOR::IORImpl&>(*ior.in()).object_key();
  EXPECT_EQ(std::string(key.begin(), key.end()), "some key");
  const CORBA::Object_var back = QZ_IOR::to_object(ior);
  EXPECT_EQ(text_of(back), text_of(object));
}

TEST(PackedReference, is_nil_when_it_is_made_of_nothing) {
  for (const PackedReference& packed : {PackedReference(), PackedReference(CORBA::Object::_nil())}) {
    EXPECT_TRUE(packed.is_nil());
    EXPECT_TRUE(CORBA::is_nil(CORBA::Object_var(packed.object())));
    EXPECT_TRUE(CORBA::is_nil(QZ_IOR::IOR_var(packed.ior())));
  }
}

TEST(PackedReference, reads_either_byte_order) {
  test_orb::orb();
  for (const bool little_endian : {false, true}) {
    const PackedReference packed{PackedReference::Octets(opaque(little_endian))};
    EXPECT_EQ(body_of(packed, little_endian), opaque(little_endian));
    const CORBA::Object_var object = packed.object();
    EXPECT_EQ(text_of(object), text_of(CORBA::Object_var(PackedReference(object.in()).object())));
  }
}

TEST(PackedReference, makes_the_same_object_of_either_byte_order) {
  const CORBA::Object_var object = object_of(REFERENCE);
  for (const bool little_endian : {false, true}) {
    const Octets octets = body_of(PackedReference(object.in()), little_endian);
    const CORBA::Object_var again = PackedReference{PackedReference::Octets(octets)}.object();
    EXPECT_EQ(text_of(again), text_of(object));
  }
}

// Its holder was told that it is registered, and must be so after a restart as well.
TEST(PackedReference, keeps_what_nobody_can_call) {
  Octets octets = begin(true);
  QZ_CORBA::CdrWriter writer(octets, true);
  writer.write_string("IDL:A:1.0");
  writer.write_ulong(1);
  writer.write_ulong(0);  // IIOP, in a byte order that there is not
  writer.write_octet_seq(Octets{5, 1, 2, 0});
  const PackedReference packed{PackedReference::Octets(octets)};
  EXPECT_FALSE(packed.is_nil());
  EXPECT_THROW(packed.ior(), CORBA::MARSHAL);
}

TEST(PackedReference, refuses_octets_that_are_no_reference) {
  EXPECT_THROW(PackedReference{PackedReference::Octets()}, CORBA::MARSHAL);

  Octets without_profile = begin(true);
  QZ_CORBA::CdrWriter writer(without_profile, true);
  writer.write_string("IDL:A:1.0");
  writer.write_ulong(0);
  EXPECT_THROW(PackedReference{PackedReference::Octets(without_profile)}, CORBA::INV_OBJREF);

  for (const Octets& whole : {opaque(true), body_of(PackedReference(object_of(REFERENCE).in()), true)})
    for (std::size_t size = 0; size < whole.size(); ++size)
      EXPECT_THROW(PackedReference{PackedReference::Octets(whole).first(size)}, CORBA::MARSHAL) << size;
}

}  // namespace
