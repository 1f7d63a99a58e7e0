// The table of active endpoints.
#include <gmock/gmock.h>

#include <thread>

#include "poa_locator/locator/active_endpoint_rep.h"
#include "tests/unit/poa_locator/active_fixture.h"
#include "tests/unit/poa_locator/imr_store_fault.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class ActiveEndpointRegistryTest : public ActiveFixture {
 protected:
  const Names m_bank{"Bank"};

  // An ORB that awaits its activator, so that creation on demand succeeds.
  void start_with_activator() {
    start();
    add_entry(m_bank, "orb");
    activator_registry()->add("orb", make_activator(m_activator), QZ_POA_PersistentServer::EndpointIdList_var().out());
  }
  bool activated(std::size_t times) {
    return support::wait_until([&] { return m_activator->calls().size() >= times; });
  }
  TestActivator* m_activator = nullptr;
};

TEST_F(ActiveEndpointRegistryTest, AnEmptyStoreGivesAnEmptyTableAndNoMessages) {
  start();
  EXPECT_EQ(endpoints().number_of_entries(), 0u);
  EXPECT_THAT(endpoints().list(), IsEmpty());
  EXPECT_TRUE(find(m_bank).is_null());
  core().impl_validate_persistent_data();
  EXPECT_THAT(log().events(), IsEmpty());
}

TEST_F(ActiveEndpointRegistryTest, CreatesAndActivatesOnDemandOnce) {
  start_with_activator();
  const ActiveEndpoint first = endpoints().create(core(), *id_of(m_bank));
  const ActiveEndpoint second = endpoints().create(core(), *id_of(m_bank));
  EXPECT_TRUE(first.same_as(second));
  EXPECT_EQ(endpoints().number_of_entries(), 1u);
  ASSERT_TRUE(activated(1));
  EXPECT_THAT(m_activator->calls(), ElementsAre(ElementsAre(m_bank)));
}

TEST_F(ActiveEndpointRegistryTest, SeveralThreadsCreateOneEndpoint) {
  start_with_activator();
  const auto id = id_of(m_bank);
  std::vector<ActiveEndpoint> made(8);
  {
    std::vector<std::jthread> threads;
    for (ActiveEndpoint& endpoint : made) threads.emplace_back([&] { endpoint = endpoints().create(core(), *id); });
  }
  for (const ActiveEndpoint& endpoint : made) EXPECT_TRUE(endpoint.same_as(made[0]));
  EXPECT_EQ(endpoints().number_of_entries(), 1u);
  EXPECT_THAT(find_orb("orb")->impl_endpoints(), SizeIs(1));
  EXPECT_EQ(stored_endpoints(), 1u);
  EXPECT_THAT(log().events(36), IsEmpty());
  EXPECT_THAT(log().events(62), IsEmpty());
  ASSERT_TRUE(activated(1));
  EXPECT_THAT(m_activator->calls(), SizeIs(1));
}

TEST_F(ActiveEndpointRegistryTest, SeveralThreadsRegisterOneEndpoint) {
  start();
  const auto id = id_of(m_bank);
  std::vector<ActiveEndpoint> made(8);
  {
    std::vector<std::jthread> threads;
    for (ActiveEndpoint& endpoint : made)
      threads.emplace_back([&] { endpoint = endpoints().create(core(), *id, "orb"); });
  }
  for (const ActiveEndpoint& endpoint : made) EXPECT_TRUE(endpoint.same_as(made[0]));
  EXPECT_EQ(stored_endpoints(), 1u);
  EXPECT_THAT(find_orb("orb")->impl_endpoints(), SizeIs(1));
}

TEST_F(ActiveEndpointRegistryTest, AnActivationThatFailsAtOnceLeavesNothingAndTellsEveryone) {
  config().add_process({"process", {"/no/such/program"}, {}});
  config().add_orb("orb", "process");
  start();
  add_entry(m_bank, "orb");
  const auto first = send_to(m_bank);
  EXPECT_EQ(first->outcome().exception, "TRANSIENT");
  EXPECT_EQ(first->outcome().minor, 0x515A0C01u);
  EXPECT_TRUE(find(m_bank).is_null());
  EXPECT_TRUE(find_orb("orb").is_null());
  EXPECT_EQ(stored_endpoints(), 0u);
  EXPECT_EQ(stored_orbs(), 0u);
  // And the next one tries again.
  EXPECT_EQ(send_to(m_bank)->outcome().minor, 0x515A0C01u);
  EXPECT_THAT(log().events(19), SizeIs(2));
}

TEST_F(ActiveEndpointRegistryTest, ARequestForAPoaThatNothingCanStartWritesNothing) {
  configure_living_process("process", {"startable"});
  start();
  add_entry(m_bank, "by hand");
  add_entry({"Nobody's"}, "");
  add_entry({"Startable"}, "startable");
  add({"Runs"}, "by hand too");
  add_entry({"Withdrawn"}, "by hand too");
  const StoreFault fault(store_file());
  for (const Names& poa : {m_bank, Names{"Nobody's"}, Names{"Withdrawn"}}) {
    const auto request = send_to(poa);
    EXPECT_EQ(request->outcome().exception, "TRANSIENT");
    EXPECT_EQ(request->outcome().minor, 0x515A0C00u);
    EXPECT_TRUE(request->outcome().completed_no);
    EXPECT_TRUE(find(poa).is_null());
  }
  EXPECT_THAT(log().events(63), IsEmpty());
  // The store does refuse what is written.
  EXPECT_EQ(send_to({"Startable"})->outcome().exception, "PERSIST_STORE");
}

TEST_F(ActiveEndpointRegistryTest, AnUnknownPoaLeavesTheTableAsItIs) {
  start();
  EXPECT_THROW(endpoints().create(core(), *id_of(m_bank)), CORBA::OBJECT_NOT_EXIST);
  EXPECT_EQ(endpoints().number_of_entries(), 0u);
}

TEST_F(ActiveEndpointRegistryTest, RegistrationAsksForNoActivation) {
  start_with_activator();
  endpoints().create(core(), *id_of(m_bank), "orb");
  EXPECT_THAT(m_activator->calls(), IsEmpty());
}

TEST_F(ActiveEndpointRegistryTest, RegistrationUnderAnotherOrbNameIsRefused) {
  start();
  const ActiveEndpoint endpoint = endpoints().create(core(), *id_of(m_bank), "A");
  try {
    endpoints().create(core(), *id_of(m_bank), "B");
    FAIL() << "no exception";
  } catch (const QZ_POA_PersistentServer::EndpointRegistry::InvalidOrbName& ex) {
    EXPECT_STREQ(ex.orb_name, "B");
  }
  EXPECT_TRUE(find(m_bank).same_as(endpoint));
}

TEST_F(ActiveEndpointRegistryTest, RegistrationOfAnEndpointWithoutAnOrbGivesTheOneThatIsThere) {
  start();
  add_entry(m_bank, "");
  ActiveEndpoint endpoint(core(), *id_of(m_bank));
  {
    QZ_MutexLock lock(endpoints().m_mutex);
    endpoints().impl_insert(endpoint);
  }
  EXPECT_TRUE(endpoints().create(core(), *id_of(m_bank), "B").same_as(endpoint));
}

TEST_F(ActiveEndpointRegistryTest, InsertingKeepsTheEntryThatIsThere) {
  start();
  const ActiveEndpoint endpoint = endpoints().create(core(), *id_of(m_bank), "orb");
  ActiveEndpoint other;
  other.m_rep = QZ_Handle<ActiveEndpointRep>(new ActiveEndpointRep(core(), *id_of(m_bank)));
  QZ_MutexLock lock(endpoints().m_mutex);
  endpoints().impl_insert(other);
  EXPECT_TRUE(endpoints().impl_find(*id_of(m_bank)).same_as(endpoint));
}

TEST_F(ActiveEndpointRegistryTest, FindsByNameAndGivesNullForUnknownNames) {
  start();
  endpoints().create(core(), *id_of(m_bank), "orb");
  EXPECT_FALSE(endpoints().find(*fqpn_of(m_bank)).is_null());
  EXPECT_TRUE(endpoints().find(*fqpn_of({"Bank", "Accounts"})).is_null());
  EXPECT_TRUE(endpoints().find(*fqpn_of({})).is_null());
}

TEST_F(ActiveEndpointRegistryTest, AListIsASnapshot) {
  start();
  endpoints().create(core(), *id_of({"A"}), "orb");
  endpoints().create(core(), *id_of({"B"}), "orb");
  auto list = endpoints().list();
  ASSERT_THAT(list, SizeIs(2));
  EXPECT_EQ(endpoints().number_of_entries(), 2u);
  list[0].destroy();
  EXPECT_THAT(list, SizeIs(2));
  EXPECT_EQ(endpoints().number_of_entries(), 1u);
}

TEST_F(ActiveEndpointRegistryTest, RemovingTwiceIsReportedTheSecondTime) {
  start();
  ActiveEndpoint endpoint = endpoints().create(core(), *id_of(m_bank), "orb");
  endpoints().remove(endpoint);
  EXPECT_THAT(log().events(45), IsEmpty());
  EXPECT_EQ(stored_endpoints(), 0u);
  endpoints().remove(endpoint);
  ASSERT_THAT(log().events(45), SizeIs(1));
  EXPECT_THAT(log().events(45)[0].parameters,
              ElementsAre(EndpointIdUtils::id_to_string(*id_of(m_bank)).c_str(), "Bank"));
  EXPECT_THAT(log().events(46), SizeIs(1));
  endpoint.detach();  // nobody else knows it any more
}

TEST_F(ActiveEndpointRegistryTest, ValidationDropsRestoredEndpointsThatWereNotRunning) {
  start();
  add({"Runs"}, "orb");
  endpoints().create(core(), *id_of({"Idle"}), "orb");
  endpoints().create(core(), *id_of({"Alone"}), "other");
  stop();
  start();
  EXPECT_EQ(endpoints().number_of_entries(), 3u);
  core().impl_validate_persistent_data();
  EXPECT_EQ(endpoints().number_of_entries(), 1u);
  EXPECT_FALSE(find({"Runs"}).is_null());
  EXPECT_EQ(stored_endpoints(), 1u);
  // An ORB that has lost its last endpoint goes with it.
  EXPECT_TRUE(find_orb("other").is_null());
  EXPECT_EQ(stored_orbs(), 1u);
  EXPECT_THAT(log().events(41), SizeIs(1));
  EXPECT_THAT(log().events(42), SizeIs(2));
}

TEST_F(ActiveEndpointRegistryTest, UsesTheConfiguredHome) {
  config().append("\n[plugins.locator]\nactive_endpoint_home_type_id = \"PSDL:Other/Home:1.0\"\n");
  start();
  EXPECT_STREQ(endpoints().home_type_id(), "PSDL:Other/Home:1.0");
  add(m_bank, "orb");
  EXPECT_EQ(stored("PSDL:Other/Home:1.0"), 1u);
}

TEST_F(ActiveEndpointRegistryTest, DefaultHome) {
  start();
  EXPECT_STREQ(endpoints().home_type_id(), "PSDL:QZ_PoaLocatorStoreImpl/ActiveEndpointHomeImpl:1.0");
  EXPECT_STREQ(orbs().home_type_id(), "PSDL:QZ_PoaLocatorStoreImpl/PoaActiveOrbHomeImpl:1.0");
}

}  // namespace
