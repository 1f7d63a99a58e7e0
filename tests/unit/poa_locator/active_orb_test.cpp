// Active ORBs: their endpoints, their end, what the store keeps of them and what they tell the host.
#include <gmock/gmock.h>

#include "tests/unit/poa_locator/active_orb_test.h"
#include "tests/unit/poa_locator/imr_store_fault.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

TEST_F(ActiveOrbTest, ManyEndpointsOfADeadServerGoWithTheirMirrors) {
  start();
  for (int i = 0; i < 20; ++i) endpoints().create(core(), *id_of({"Poa" + std::to_string(i)}), "orb");
  find({"Poa3"}).destroy_persistent_data();
  log().clear();
  find_orb("orb")->process_died();
  EXPECT_EQ(endpoints().number_of_entries(), 0u);
  EXPECT_EQ(stored_endpoints(), 0u);
  EXPECT_THAT(log().events(30), SizeIs(20));
  // Only the one whose mirror had gone before.
  ASSERT_THAT(log().events(46), SizeIs(1));
  EXPECT_THAT(log().events(46)[0].parameters, ElementsAre("Poa3"));
}

TEST_F(ActiveOrbTest, TheDeathOfAProcessEndsEveryEndpointOfItsOrb) {
  start();
  add(m_bank, "orb");
  add({"Other"}, "other");
  endpoints().create(core(), *id_of(m_shop), "orb");
  const auto waiting = send_to(m_shop);
  add_activator("orb");
  const auto orb = find_orb("orb");
  orb->process_died();
  EXPECT_EQ(waiting->wait().minor, 0x515A0C03u);
  EXPECT_TRUE(find(m_bank).is_null());
  EXPECT_TRUE(find(m_shop).is_null());
  EXPECT_TRUE(find_orb("orb").is_null());
  EXPECT_FALSE(find({"Other"}).is_null());
  EXPECT_EQ(stored_endpoints(), 1u);
  EXPECT_EQ(stored_orbs(), 1u);
  EXPECT_THAT(log().events(38), IsEmpty());
}

TEST_F(ActiveOrbTest, ADestructionIsNotBegunTwice) {
  start();
  add(m_bank, "orb");
  const auto orb = find_orb("orb");
  orb->impl_destroy();
  const std::size_t events = log().events().size();
  orb->impl_destroy();
  orb->destroy();
  orb->process_died();
  EXPECT_THAT(log().events(), SizeIs(events));
}

TEST_F(ActiveOrbTest, ADestroyedOrbTakesNobodyAnyMore) {
  start();
  add(m_bank, "orb");
  const auto orb = find_orb("orb");
  orb->impl_destroy();
  ActiveEndpoint endpoint = endpoints().create(core(), *id_of(m_shop), "other");
  EXPECT_FALSE(orb->impl_add_active_endpoint(endpoint));
  TestActivator* unused = nullptr;
  EXPECT_FALSE(orb->impl_endpoint_activator(make_activator(unused)));
  EXPECT_EQ(stored_orbs(), 1u);
  EXPECT_FALSE(orb->registered());
}

TEST_F(ActiveOrbTest, ATableThatHasLostTheOrbIsReportedAndDestructionGoesOn) {
  start();
  add(m_bank, "orb");
  const auto orb = find_orb("orb");
  const QZ_LocatorInternal::ActiveORBRegistry_var table = host().locator().active_orb_registry();
  table->remove("orb");
  orb->impl_destroy();
  ASSERT_THAT(log().events(51), SizeIs(1));
  EXPECT_EQ(log().events(51)[0].priority, 16u);
  EXPECT_THAT(log().events(51)[0].parameters, ElementsAre("orb"));
  EXPECT_TRUE(find(m_bank).is_null());
  EXPECT_EQ(stored_orbs(), 0u);
}

TEST_F(ActiveOrbTest, AMissingMirrorIsReportedAndDestructionGoesOn) {
  start();
  add(m_bank, "orb");
  const auto orb = find_orb("orb");
  orb->impl_destroy_persistent_data();
  orb->impl_destroy();
  ASSERT_THAT(log().events(52), SizeIs(1));
  EXPECT_THAT(log().events(52)[0].parameters, ElementsAre("orb"));
  EXPECT_TRUE(find_orb("orb").is_null());
}

TEST_F(ActiveOrbTest, AStoreFailureDuringDestructionIsReportedAndDestructionGoesOn) {
  start();
  add(m_bank, "orb");
  {
    const StoreFault fault(store_file());
    find_orb("orb")->impl_destroy();
  }
  ASSERT_THAT(log().events(53), SizeIs(1));
  EXPECT_EQ(log().events(53)[0].parameters[0], "orb");
  EXPECT_THAT(log().events(53)[0].parameters[1], testing::HasSubstr("PERSIST_STORE"));
  EXPECT_TRUE(find_orb("orb").is_null());
  EXPECT_TRUE(find(m_bank).is_null());
  // What was left in the store is taken over by the next one of that name.
  add(m_bank, "orb");
  EXPECT_EQ(stored_orbs(), 1u);
}

TEST_F(ActiveOrbTest, ADuplicateEndpointIsReportedAndTheFirstKept) {
  start();
  ActiveEndpoint endpoint = endpoints().create(core(), *id_of(m_bank), "orb");
  EXPECT_TRUE(find_orb("orb")->impl_add_active_endpoint(endpoint));
  ASSERT_THAT(log().events(36), SizeIs(1));
  EXPECT_EQ(log().events(36)[0].priority, 16u);
  EXPECT_THAT(log().events(36)[0].parameters, ElementsAre("orb", "Bank"));
  EXPECT_THAT(find_orb("orb")->impl_endpoints(), SizeIs(1));
}

TEST_F(ActiveOrbTest, RemovingAnEndpointThatIsNotThereIsReported) {
  start();
  add(m_bank, "orb");
  find_orb("orb")->impl_remove_active_endpoint(*id_of(m_shop));
  find_orb("orb")->impl_remove_active_endpoint(*fqpn_of(m_shop));
  ASSERT_THAT(log().events(38), SizeIs(2));
  EXPECT_EQ(log().events(38)[0].priority, 16u);
  EXPECT_THAT(log().events(38)[0].parameters, ElementsAre("orb", "Shop"));
  EXPECT_FALSE(find_orb("orb").is_null());
}

TEST_F(ActiveOrbTest, GoesWithItsLastEndpointUnlessItHasAnActivator) {
  start();
  add(m_bank, "plain");
  add(m_shop, "active");
  add_activator("active");
  remove(m_bank, "plain");
  remove(m_shop, "active");
  EXPECT_TRUE(find_orb("plain").is_null());
  EXPECT_FALSE(find_orb("active").is_null());
  EXPECT_EQ(stored_orbs(), 1u);
}

TEST_F(ActiveOrbTest, GoesWithItsActivatorWhenItHasNoEndpoints) {
  start();
  add_activator("orb");
  ASSERT_FALSE(find_orb("orb").is_null());
  activator_registry()->remove("orb");
  EXPECT_TRUE(find_orb("orb").is_null());
  EXPECT_EQ(stored_orbs(), 0u);
}

TEST_F(ActiveOrbTest, StaysWithoutItsActivatorWhileItHasEndpoints) {
  start();
  add(m_bank, "orb");
  add_activator("orb");
  activator_registry()->remove("orb");
  EXPECT_FALSE(find_orb("orb").is_null());
  EXPECT_TRUE(CORBA::is_nil(find_orb("orb")->impl_endpoint_activator_nc()));
}

TEST_F(ActiveOrbTest, IsRestoredWithItsActivatorAndCountsAsValid) {
  start();
  TestActivator* unused = nullptr;
  const auto activator = make_activator(unused);
  const CORBA::String_var text = orb()->object_to_string(activator);
  add_activator("orb", activator);
  stop();
  log().clear();
  start();
  const auto orb = find_orb("orb");
  ASSERT_FALSE(orb.is_null());
  ASSERT_THAT(log().events(39), SizeIs(1));
  EXPECT_THAT(log().events(39)[0].parameters, ElementsAre("orb"));
  const CORBA::String_var restored = this->orb()->object_to_string(orb->impl_endpoint_activator_nc());
  EXPECT_STREQ(restored, text);
  EXPECT_TRUE(orb->validate());
  ASSERT_THAT(log().events(43), SizeIs(1));
  EXPECT_THAT(log().events(43)[0].parameters, ElementsAre("orb"));
}

TEST_F(ActiveOrbTest, CountsAsValidWithOneEndpointThatRuns) {
  start();
  endpoints().create(core(), *id_of({"Idle"}), "orb");
  EXPECT_FALSE(find_orb("orb")->impl_validate());
  ASSERT_THAT(log().events(44), SizeIs(1));
  EXPECT_THAT(log().events(44)[0].parameters, ElementsAre("orb"));
  add(m_bank, "orb");
  EXPECT_TRUE(find_orb("orb")->impl_validate());
}

TEST_F(ActiveOrbTest, TellsTheHostWhatItIs) {
  configure_living_process("process", {"orb"});
  start();
  add(m_bank, "orb");
  add(m_shop, "unknown to the host");
  const QZ_LocatorInternal::ActiveORB_var entry = host_entry("orb");
  EXPECT_STREQ(CORBA::String_var(entry->name()), "orb");
  const QZ_LocationCommon::ORBInfo_var info = entry->orb_info();
  EXPECT_STREQ(info->name, "orb");
  EXPECT_STREQ(info->process, "process");
  const QZ_LocatorInternal::ActiveProcess_var process = entry->process();
  EXPECT_STREQ(CORBA::String_var(process->name()), "process");
  const QZ_LocatorAdmin::ActiveORB_var reference = entry->external_reference();
  EXPECT_STREQ(CORBA::String_var(reference->name()), "orb");
}

TEST_F(ActiveOrbTest, WithoutAnEntryOfTheHostItsInformationIsItsName) {
  start();
  POAActiveORBImpl* made = new POAActiveORBImpl(core(), "stranger", nullptr);
  const RefCountHandle<POAActiveORBImpl> orb(made);
  const QZ_LocationCommon::ORBInfo_var info = orb->orb_info();
  EXPECT_STREQ(info->name, "stranger");
  EXPECT_STREQ(info->process, "");
  EXPECT_TRUE(CORBA::is_nil(QZ_LocatorInternal::ActiveProcess_var(orb->process())));
}

TEST_F(ActiveOrbTest, AProbeAsksTheActivator) {
  start();
  TestActivator* servant = nullptr;
  const auto activator = make_activator(servant);
  add_activator("orb", activator);
  EXPECT_TRUE(find_orb("orb")->probe());
  EXPECT_TRUE(find_orb("orb")->registered());
  die(activator);
  EXPECT_FALSE(find_orb("orb")->probe());
  EXPECT_TRUE(find_orb("orb")->registered());
}

TEST_F(ActiveOrbTest, AProbeWithoutAnActivatorAsksTheEndpointsUntilOneAnswers) {
  start();
  const auto state = make_state();
  add(m_bank, "orb", dead_state());
  EXPECT_FALSE(find_orb("orb")->probe());
  add(m_shop, "orb", state);
  EXPECT_TRUE(find_orb("orb")->probe());
  die(state);
  EXPECT_FALSE(find_orb("orb")->probe());
}

TEST_F(ActiveOrbTest, AProbeWithNothingToAskSucceeds) {
  start();
  endpoints().create(core(), *id_of(m_bank), "orb");
  EXPECT_TRUE(find_orb("orb")->probe());
  EXPECT_FALSE(find_orb("orb")->registered());
}

TEST_F(ActiveOrbTest, AnOrbThatTheHostKeepsBeyondTheCoreIsHarmless) {
  start();
  add(m_bank, "orb");
  const QZ_LocatorInternal::ActiveORB_var entry = host_entry("orb");
  stop_host();
  core().impl_shutdown();
  m_core = {};
  entry->process_died();
  entry->destroy();
  EXPECT_FALSE(entry->validate());
  EXPECT_TRUE(entry->probe());
  EXPECT_FALSE(entry->registered());
  EXPECT_STREQ(CORBA::String_var(entry->name()), "orb");
  EXPECT_THROW(entry->external_reference(), CORBA::OBJECT_NOT_EXIST);
  EXPECT_TRUE(CORBA::is_nil(host_entry("orb")));
}

}  // namespace
