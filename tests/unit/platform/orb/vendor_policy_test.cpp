#include "platform/orb/vendor_policy.h"

#include <gtest/gtest.h>

#include "platform/orb/ior_impl.h"
#include "tests/support/test_orb.h"

namespace {

using QZ_PortableServer::create_poa;
using QZ_PortableServer::create_policy;
using QZ_PortableServer::VendorPolicy;

template <class Value>
CORBA::Any any_of(const Value& value) {
  CORBA::Any any;
  any <<= value;
  return any;
}

// The reason of the PolicyError that making the policy raises; -1 when it raises none.
int refusal(CORBA::PolicyType type, const CORBA::Any& value) {
  try {
    CORBA::Policy_var policy = create_policy(test_orb::orb(), type, value);
    return -1;
  } catch (const CORBA::PolicyError& error) {
    return error.reason;
  }
}

CORBA::PolicyList vendor_policies(const char* scope, QZ_PortableServer::PersistenceModePolicyValue mode) {
  CORBA::PolicyList list;
  list.length(6);
  list[0] = test_orb::root_poa()->create_lifespan_policy(PortableServer::PERSISTENT);
  list[1] = test_orb::root_poa()->create_id_assignment_policy(PortableServer::USER_ID);
  list[2] = create_policy(test_orb::orb(), PortableServer::THREAD_POLICY_ID, any_of(PortableServer::ORB_CTRL_MODEL));
  list[3] = create_policy(test_orb::orb(), 0x515A5F42, any_of(scope));
  list[4] = create_policy(test_orb::orb(), 0x515A5F50, any_of(mode));
  list[5] = create_policy(test_orb::orb(), 36, any_of(CORBA::UShort{0}));
  return list;
}

PortableServer::POA_ptr poa_with(const char* name, const char* scope,
                                 QZ_PortableServer::PersistenceModePolicyValue mode) {
  PortableServer::POAManager_var manager = test_orb::root_poa()->the_POAManager();
  return create_poa(test_orb::root_poa(), name, manager, vendor_policies(scope, mode));
}

TEST(CreatePolicy, makes_vendor_policies_that_keep_their_value) {
  CORBA::Policy_var policy = create_policy(test_orb::orb(), 0x515A5F42, any_of("plugins:locator"));
  EXPECT_EQ(policy->policy_type(), 0x515A5F42u);
  const auto* vendor = dynamic_cast<VendorPolicy*>(policy.in());
  ASSERT_NE(vendor, nullptr);
  const char* scope = nullptr;
  ASSERT_TRUE(vendor->value() >>= scope);
  EXPECT_STREQ(scope, "plugins:locator");

  CORBA::Policy_var copy = policy->copy();
  policy->destroy();
  EXPECT_NE(copy.in(), policy.in());
  EXPECT_EQ(copy->policy_type(), 0x515A5F42u);
}

TEST(CreatePolicy, leaves_standard_types_to_the_orb) {
  CORBA::Policy_var policy =
      create_policy(test_orb::orb(), PortableServer::LIFESPAN_POLICY_ID, any_of(PortableServer::PERSISTENT));
  PortableServer::LifespanPolicy_var lifespan = PortableServer::LifespanPolicy::_narrow(policy);
  ASSERT_FALSE(CORBA::is_nil(lifespan));
  EXPECT_EQ(lifespan->value(), PortableServer::PERSISTENT);
}

TEST(CreatePolicy, refuses_values_of_another_type) {
  EXPECT_EQ(refusal(0x515A5F42, any_of(CORBA::ULong{1})), CORBA::BAD_POLICY_VALUE);
  EXPECT_EQ(refusal(0x515A5F42, CORBA::Any()), CORBA::BAD_POLICY_VALUE);
  EXPECT_EQ(refusal(0x515A5F50, any_of(CORBA::UShort{0})), CORBA::BAD_POLICY_VALUE);
  EXPECT_EQ(refusal(36, any_of(CORBA::ULong{0})), CORBA::BAD_POLICY_VALUE);
  EXPECT_EQ(refusal(0x515A5F50, any_of(QZ_PortableServer::DIRECT_PERSISTENCE)), -1);
  EXPECT_EQ(refusal(36, any_of(CORBA::UShort{0})), -1);
}

TEST(CreatePolicy, refuses_unknown_types_as_the_orb_does) {
  EXPECT_EQ(refusal(0x12345678, any_of(CORBA::ULong{1})), CORBA::BAD_POLICY);
  EXPECT_THROW(create_policy(CORBA::ORB::_nil(), 0x12345678, CORBA::Any()), CORBA::BAD_PARAM);
}

TEST(CreatePoa, takes_vendor_policies_beside_standard_ones) {
  PortableServer::POA_var poa = poa_with("mixed", "plugins:locator", QZ_PortableServer::DIRECT_PERSISTENCE);
  const CORBA::String_var name = poa->the_name();
  EXPECT_STREQ(name, "mixed");

  // Persistent and with user ids, as the list asks.
  PortableServer::ObjectId_var id = PortableServer::string_to_ObjectId("the id");
  CORBA::Object_var reference = poa->create_reference_with_id(id, "IDL:A:1.0");
  const QZ_IOR::IOR_var ior = QZ_IOR::from_object(reference);
  const auto key = dynamic_cast<QZ_IOR::IORImpl&>(*ior.operator->()).object_key();
  const std::string text(key.begin(), key.end());
  EXPECT_NE(text.find("mixed"), std::string::npos);
  EXPECT_TRUE(text.ends_with("the id"));
  poa->destroy(true, true);
}

TEST(CreatePoa, refuses_vendor_policies_that_it_cannot_keep) {
  try {
    poa_with("indirect", "plugins:locator", QZ_PortableServer::INDIRECT_PERSISTENCE);
    FAIL() << "created";
  } catch (const PortableServer::POA::InvalidPolicy& invalid) {
    EXPECT_EQ(invalid.index, 4);
  }
  try {
    poa_with("elsewhere", "plugins:other", QZ_PortableServer::DIRECT_PERSISTENCE);
    FAIL() << "created";
  } catch (const PortableServer::POA::InvalidPolicy& invalid) {
    EXPECT_EQ(invalid.index, 3);
  }
}

TEST(CreatePoa, raises_what_the_parent_raises) {
  PortableServer::POA_var poa = poa_with("taken", "plugins:locator", QZ_PortableServer::DIRECT_PERSISTENCE);
  EXPECT_THROW(poa_with("taken", "plugins:locator", QZ_PortableServer::DIRECT_PERSISTENCE),
               PortableServer::POA::AdapterAlreadyExists);
  poa->destroy(true, true);
}

}  // namespace
