#include "adapters/omniorb/reference_key.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/test_orb.h"

namespace {

using PoaLocator::key_of;
using PoaLocator::Octets;
using PoaLocator::rest_after;
using PoaLocator::with_longer_key;

std::string text_of(const Octets& octets) {
  return {reinterpret_cast<const char*>(octets.get_buffer()), octets.length()};
}

Octets octets_of(const std::string& text) {
  Octets octets;
  octets.length(static_cast<CORBA::ULong>(text.size()));
  for (CORBA::ULong i = 0; i < octets.length(); ++i) octets[i] = static_cast<CORBA::Octet>(text[i]);
  return octets;
}

IIOP::ProfileBody profile_of(CORBA::Object_ptr reference, CORBA::String_out type_id) {
  cdrMemoryStream stream;
  CORBA::Object::_marshalObjRef(reference, stream);
  IOP::IOR ior;
  ior <<= stream;
  IIOP::ProfileBody body;
  IIOP::unmarshalProfile(ior.profiles[0], body);
  type_id = CORBA::string_dup(ior.type_id);
  return body;
}

TEST(ReferenceKey, is_the_references_object_key) {
  const CORBA::Object_var object = test_orb::orb()->string_to_object("corbaloc::1.2@127.0.0.1:1/some%20key");
  EXPECT_EQ(text_of(key_of(object)), "some key");
}

TEST(ReferenceKey, becomes_longer_and_leaves_the_addresses) {
  const CORBA::Object_var object =
      test_orb::orb()->string_to_object("corbaloc::1.2@one.example:11,:1.2@two.example:22/key");
  for (const std::string tail : {"", "1", "12", "123", "1234", "a much longer tail"}) {
    const CORBA::Object_var longer = with_longer_key(object, octets_of(tail), "IDL:Bank/Account:1.0");
    EXPECT_EQ(text_of(key_of(longer)), "key" + tail);

    CORBA::String_var type_id;
    CORBA::String_var old_type_id;
    const IIOP::ProfileBody body = profile_of(longer, type_id.out());
    const IIOP::ProfileBody old_body = profile_of(object, old_type_id.out());
    EXPECT_STREQ(type_id, "IDL:Bank/Account:1.0");
    EXPECT_STREQ(body.address.host, "one.example");
    EXPECT_EQ(body.address.port, 11);
    ASSERT_EQ(body.components.length(), old_body.components.length());
    for (CORBA::ULong i = 0; i < body.components.length(); ++i) {
      EXPECT_EQ(body.components[i].tag, old_body.components[i].tag);
      EXPECT_EQ(text_of(body.components[i].component_data), text_of(old_body.components[i].component_data));
    }
  }
}

TEST(ReferenceKey, has_a_rest_only_after_its_own_prefix) {
  EXPECT_EQ(text_of(rest_after(octets_of("pre"), octets_of("prefix"))), "fix");
  EXPECT_EQ(text_of(rest_after(octets_of("pre"), octets_of("pre"))), "");
  EXPECT_EQ(text_of(rest_after(octets_of(""), octets_of("x"))), "x");
  EXPECT_THROW(rest_after(octets_of("pre"), octets_of("pr")), CORBA::INV_OBJREF);
  EXPECT_THROW(rest_after(octets_of("pre"), octets_of("post")), CORBA::INV_OBJREF);
}

}  // namespace
