// One active endpoint: how it is made, registered, mirrored and restored.
#include <gmock/gmock.h>

#include "platform/orb/cdr_writer.h"
#include "platform/orb/iiop_profile.h"
#include "poa_locator/locator/active_endpoint_rep.h"
#include "tests/unit/poa_locator/active_endpoint_test.h"
#include "tests/unit/poa_locator/imr_store_fault.h"

namespace {

using ServerRegistry = QZ_POA_PersistentServer::EndpointRegistry;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

TEST_F(ActiveEndpointTest, ADefaultConstructedHandleIsNull) {
  EXPECT_TRUE(ActiveEndpoint().is_null());
  start();
  const ActiveEndpoint endpoint = idle_endpoint(m_bank);
  EXPECT_FALSE(endpoint.is_null());
  EXPECT_FALSE(endpoint.same_as(ActiveEndpoint()));
  EXPECT_TRUE(endpoint.same_as(ActiveEndpoint(endpoint)));
}

TEST_F(ActiveEndpointTest, TellsWhoItIs) {
  start();
  const ActiveEndpoint endpoint = idle_endpoint(m_bank);
  EXPECT_EQ(octets(endpoint.id()), octets(*id_of(m_bank)));
  EXPECT_EQ(endpoint.name(), "Bank");
  const QZ_POAIMRAdmin::FullyQualifiedName_var name = endpoint.full_name();
  EXPECT_EQ(texts(name), m_bank);
  EXPECT_EQ(octets(endpoint.endpoint().id()), octets(*id_of(m_bank)));
  const RefCountHandle<POAActiveORBImpl> orb(endpoint.orb());
  EXPECT_STREQ(orb->impl_name(), "orb");
}

TEST_F(ActiveEndpointTest, RegistrationUnderAnotherOrbNameLeavesNothingBehind) {
  start();
  add_entry(m_bank, "A");
  try {
    idle_endpoint(m_bank, "B");
    FAIL() << "no exception";
  } catch (const ServerRegistry::InvalidOrbName& ex) {
    EXPECT_STREQ(ex.orb_name, "B");
  }
  EXPECT_TRUE(find(m_bank).is_null());
  EXPECT_TRUE(find_orb("B").is_null());
  EXPECT_EQ(stored_endpoints(), 0u);
  EXPECT_EQ(stored_orbs(), 0u);
}

TEST_F(ActiveEndpointTest, RegistrationMakesAnEntryWhereThereIsNone) {
  start();
  const ActiveEndpoint endpoint = idle_endpoint(m_bank, "orb");
  ASSERT_FALSE(registry().find(*id_of(m_bank)).is_null());
  EXPECT_TRUE(endpoint.endpoint().persistent());
  EXPECT_EQ(endpoint.endpoint().orb_name(), "orb");
}

TEST_F(ActiveEndpointTest, RegistrationAcceptsAnyOrbForAPersistentEntryWithoutOne) {
  start();
  add_entry(m_bank, "");
  const ActiveEndpoint endpoint = idle_endpoint(m_bank, "any");
  EXPECT_STREQ(RefCountHandle<POAActiveORBImpl>(endpoint.orb())->impl_name(), "any");
  EXPECT_EQ(endpoint.endpoint().orb_name(), "");
}

TEST_F(ActiveEndpointTest, ARequestForAPoaThatTheRepositoryDoesNotKnowIsRefused) {
  start();
  EXPECT_EQ(minor_of<CORBA::OBJECT_NOT_EXIST>([&] { ActiveEndpoint(core(), *id_of(m_bank)); }), 0x515A0C04u);
  EXPECT_EQ(stored_endpoints(), 0u);
}

TEST_F(ActiveEndpointTest, ARequestForATransientEntryIsRefused) {
  start();
  registry().root().add("Bank", false, true, "");
  EXPECT_EQ(minor_of<CORBA::OBJECT_NOT_EXIST>([&] { ActiveEndpoint(core(), *id_of(m_bank)); }), 0x515A0C04u);
  EXPECT_EQ(stored_endpoints(), 0u);
}

TEST_F(ActiveEndpointTest, AnOldMirrorDoesNotStopARegistration) {
  start();
  ActiveEndpoint lost = idle_endpoint(m_bank, "first");
  {
    const StoreFault fault(store_file());
    lost.destroy();
  }
  ASSERT_EQ(stored_endpoints(), 1u);
  registry().find(*id_of(m_bank)).orb_name("second");
  ActiveEndpoint endpoint = idle_endpoint(m_bank, "second");
  ASSERT_THAT(log().events(62), SizeIs(1));
  EXPECT_EQ(log().events(62)[0].priority, 32u);
  EXPECT_THAT(log().events(62)[0].parameters, ElementsAre("Bank"));
  EXPECT_THAT(log().events(63), IsEmpty());
  run(endpoint, m_bank);
  stop();
  start();
  EXPECT_STREQ(RefCountHandle<POAActiveORBImpl>(find(m_bank).orb())->impl_name(), "second");
}

TEST_F(ActiveEndpointTest, AMirrorThatCannotBeWrittenIsReportedAndTheRecordStaysUsable) {
  start();
  add_entry(m_bank, "orb");
  idle_endpoint({"Other"});
  const auto id = id_of(m_bank);
  ActiveEndpoint endpoint;
  {
    const StoreFault fault(store_file());
    endpoint = ActiveEndpoint(core(), *id);
  }
  ASSERT_THAT(log().events(63), SizeIs(1));
  EXPECT_EQ(log().events(63)[0].priority, 32u);
  EXPECT_THAT(log().events(62), IsEmpty());
  const auto request = send_to(m_bank);
  EXPECT_FALSE(request->answered());
  // Without its mirror it cannot be registered.
  EXPECT_EQ(minor_of<CORBA::OBJECT_NOT_EXIST>([&] { run(endpoint, m_bank); }), 0x515A0C05u);
  EXPECT_FALSE(endpoint.is_dynamic_state_set());
  endpoint.destroy();
  EXPECT_EQ(request->wait().minor, 0x515A0C03u);
}

TEST_F(ActiveEndpointTest, AMirrorThatCannotBeUpdatedKeepsTheStateOut) {
  start();
  ActiveEndpoint endpoint = idle_endpoint(m_bank);
  const auto request = send_to(m_bank);
  {
    const StoreFault fault(store_file());
    EXPECT_EQ(minor_of<CORBA::OBJECT_NOT_EXIST>([&] { run(endpoint, m_bank); }), 0x515A0C05u);
  }
  EXPECT_FALSE(endpoint.is_dynamic_state_set());
  EXPECT_FALSE(request->answered());
  run(endpoint, m_bank);
  EXPECT_EQ(request->wait().kind, Outcome::FORWARD);
}

TEST_F(ActiveEndpointTest, AnInterceptorThatCannotBeRegisteredEndsTheConstruction) {
  start();
  add_entry(m_bank, "orb");
  const auto id = id_of(m_bank);
  const QZ_Binding::ServerRequestInterceptor_var other = interceptor_of(key_of(m_bank));
  const QZ_Binding::ServerBinding_var taken = host().binding_manager().register_interceptor(
      *id, other, QZ_Binding::DISPATCH_WORKER, QZ_IOR::IOREndpoint::_nil());
  EXPECT_THROW(ActiveEndpoint(core(), *id), CORBA::BAD_INV_ORDER);
  ASSERT_THAT(log().events(64), SizeIs(1));
  EXPECT_EQ(log().events(64)[0].priority, 32u);
  EXPECT_EQ(log().events(64)[0].parameters[0], "Bank");
  EXPECT_THAT(log().events(64)[0].parameters[1], HasSubstr("BAD_INV_ORDER"));
  EXPECT_TRUE(find_orb("orb").is_null());
  EXPECT_EQ(stored_endpoints(), 0u);
  EXPECT_EQ(stored_orbs(), 0u);
  taken->destroy();
}

TEST_F(ActiveEndpointTest, IsRestoredWithItsStateAndForwardsAgain) {
  start();
  ActiveEndpoint endpoint = idle_endpoint(m_bank);
  run(endpoint, m_bank);
  endpoint = ActiveEndpoint();
  stop();
  log().clear();
  start();
  ASSERT_FALSE(find(m_bank).is_null());
  EXPECT_TRUE(find(m_bank).is_dynamic_state_set());
  EXPECT_THAT(log().events(31), SizeIs(1));
  EXPECT_EQ(send_to(m_bank)->outcome().forwarded_key, server_key(m_bank) + "object");
  EXPECT_TRUE(find(m_bank).validate());
  EXPECT_THAT(log().events(41), SizeIs(1));
}

TEST_F(ActiveEndpointTest, IsRestoredWithoutAStateAsNotValid) {
  start();
  idle_endpoint(m_bank);
  stop();
  log().clear();
  start();
  ActiveEndpoint endpoint = find(m_bank);
  ASSERT_FALSE(endpoint.is_null());
  EXPECT_FALSE(endpoint.validate());
  ASSERT_THAT(log().events(42), SizeIs(1));
  EXPECT_THAT(log().events(42)[0].parameters, ElementsAre("Bank"));
  EXPECT_EQ(log().events(42)[0].priority, 1u);
  const auto request = send_to(m_bank);
  EXPECT_FALSE(request->answered());
}

TEST_F(ActiveEndpointTest, IsRestoredWhenTheRepositoryHasLostItsEntry) {
  start();
  ActiveEndpoint endpoint = idle_endpoint(m_bank);
  run(endpoint, m_bank);
  endpoint = ActiveEndpoint();
  registry().find(*id_of(m_bank)).destroy();
  stop();
  start();
  ASSERT_FALSE(find(m_bank).is_null());
  EXPECT_TRUE(find(m_bank).endpoint().is_null());
  EXPECT_EQ(send_to(m_bank)->outcome().kind, Outcome::FORWARD);
}

TEST_F(ActiveEndpointTest, ReportsNameThePoaInFull) {
  start();
  const Names accounts{"Bank", "Accounts"};
  add_entry(accounts, "orb");
  idle_endpoint(accounts);
  stop();
  log().clear();
  start();
  ActiveEndpoint endpoint = find(accounts);
  EXPECT_FALSE(endpoint.validate());
  endpoint.destroy();
  endpoint.destroy();
  for (const unsigned id : {31, 42, 30, 46}) {
    ASSERT_FALSE(log().events(id).empty()) << id;
    EXPECT_THAT(log().events(id)[0].parameters, ElementsAre("Bank/Accounts")) << id;
  }
}

// A reference may be one that the ORB cannot use; its server is as good as gone, and may register again.
TEST_F(ActiveEndpointTest, AServerWhoseReferenceCannotBeUsedDoesNotAnswer) {
  start();
  ActiveEndpoint endpoint = idle_endpoint(m_bank);
  run(endpoint, m_bank);
  EXPECT_TRUE(endpoint.server_answers(2000));
  std::vector<unsigned char> octets{1, 0, 0, 0};
  QZ_CORBA::CdrWriter writer(octets, true);
  writer.write_string("IDL:A:1.0");
  writer.write_ulong(1);
  writer.write_ulong(QZ_IOR::TAG_INTERNET_IOP);
  writer.write_octet_seq(std::vector<unsigned char>{1, 1, 2, 0});
  const QZ_IOR::IOREndpoint_var address = endpoint.m_rep->requests.ior_endpoint();
  endpoint.m_rep->requests.publish(QZ_CORBA::PackedReference{QZ_CORBA::PackedReference::Octets(octets)}, address);
  EXPECT_TRUE(endpoint.is_dynamic_state_set());
  EXPECT_FALSE(endpoint.server_answers(2000));
}

}  // namespace
