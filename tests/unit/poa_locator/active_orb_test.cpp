// Active ORBs and their registry.
#include <gmock/gmock.h>

#include "poa_locator/locator/endpoint_activator_thread.h"
#include "tests/unit/poa_locator/active_fixture.h"
#include "tests/unit/poa_locator/imr_store_fault.h"

namespace {

using QZ_POA_PersistentServer::EndpointActivator;
using QZ_POA_PersistentServer::EndpointIdList_var;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class ActiveOrbTest : public ActiveFixture {
 protected:
  const Names m_bank{"Bank"};
  const Names m_shop{"Shop"};
  TestActivator* m_activator = nullptr;

  void add_activator(const std::string& orb_name, QZ_POA_PersistentServer::EndpointActivator_ptr activator) {
    activator_registry()->add(orb_name.c_str(), activator, EndpointIdList_var().out());
  }
  void add_activator(const std::string& orb_name, TestActivator::Function function = nullptr) {
    add_activator(orb_name, make_activator(m_activator, std::move(function)));
  }
  bool activated(std::size_t times) {
    return support::wait_until([&] { return m_activator->calls().size() >= times; });
  }
  std::vector<unsigned> event_ids() {
    std::vector<unsigned> ids;
    for (const support::Event& event : log().events()) ids.push_back(event.id);
    return ids;
  }
  std::size_t number_awaiting(const POAActiveORBRegistry::Handle& orb) {
    QZ_RecursiveMutexLock lock(orb->impl_mutex());
    return orb->m_awaiting_activation.size();
  }
  QZ_LocatorInternal::ActiveORB_var host_entry(const char* name) {
    const QZ_LocatorInternal::ActiveORBRegistry_var table = host().locator().active_orb_registry();
    return table->find(name);
  }
};

TEST_F(ActiveOrbTest, AnOrbWithoutActivatorAndProcessCannotActivate) {
  start();
  ActiveEndpoint endpoint = endpoints().create(core(), *id_of(m_bank), "orb");
  try {
    endpoint.activate();
    FAIL() << "no exception";
  } catch (const CORBA::TRANSIENT& ex) {
    EXPECT_EQ(ex.minor(), 0x515A0C00u);
    EXPECT_EQ(ex.completed(), CORBA::COMPLETED_NO);
  }
}

TEST_F(ActiveOrbTest, TheActivatorIsCalledForThePoaThatARequestAsksFor) {
  start();
  add_entry(m_bank, "orb");
  add_activator("orb", [this](const std::vector<Names>& poas) {
    for (const Names& poa : poas) add(poa, "orb");
  });
  const auto request = send_to(m_bank);
  EXPECT_EQ(request->wait().forwarded_key, server_key(m_bank) + "object");
  EXPECT_THAT(m_activator->calls(), ElementsAre(ElementsAre(m_bank)));
}

TEST_F(ActiveOrbTest, APoaThatTheServerDoesNotKnowDoesNotExistForItsClients) {
  start();
  add_entry(m_bank, "orb");
  std::mutex gate;
  gate.lock();
  add_activator("orb", [&gate](const std::vector<Names>&) {
    const std::lock_guard wait(gate);
    throw EndpointActivator::EndpointNonExistent();
  });
  const auto request = send_to(m_bank);
  const auto locate = send_to(m_bank, "object", FakeRequest::LOCATE);
  gate.unlock();
  EXPECT_EQ(request->wait().exception, "OBJECT_NOT_EXIST");
  EXPECT_EQ(request->outcome().minor, 0x515A0C06u);
  EXPECT_TRUE(request->outcome().completed_no);
  EXPECT_EQ(locate->wait().kind, Outcome::UNKNOWN_OBJECT);
  EXPECT_TRUE(support::wait_until([&] { return find(m_bank).is_null(); }));
  EXPECT_EQ(stored_endpoints(), 0u);
  // The server's activator stays.
  EXPECT_FALSE(find_orb("orb").is_null());
}

TEST_F(ActiveOrbTest, AnActivatorThatFailsOtherwiseIsTransient) {
  start();
  add_entry(m_bank, "orb");
  add_activator("orb", [](const std::vector<Names>&) { throw CORBA::NO_MEMORY(7, CORBA::COMPLETED_NO); });
  const auto request = send_to(m_bank);
  EXPECT_EQ(request->wait().exception, "TRANSIENT");
  EXPECT_EQ(request->outcome().minor, 0x515A0C04u);
  EXPECT_TRUE(request->outcome().completed_no);
}

TEST_F(ActiveOrbTest, AnActivatorThatCannotBeReachedIsTransient) {
  start();
  add_entry(m_bank, "orb");
  add_activator("orb", dead_activator());
  EXPECT_EQ(send_to(m_bank)->wait().minor, 0x515A0C04u);
}

TEST_F(ActiveOrbTest, AFailedActivationSkipsPoasWithoutAnActiveEndpointAndThoseThatRun) {
  start();
  add({"Runs"}, "orb");
  const ActiveEndpoint idle = endpoints().create(core(), *id_of(m_bank), "orb");
  const auto request = send_to(m_bank);
  QZ_POA_PersistentServer::EndpointIdList ids;
  ids.length(3);
  ids[0] = *id_of({"Unknown"});
  ids[1] = *id_of({"Runs"});
  ids[2] = *id_of(m_bank);
  EndpointActivatorThread::start(core(), EndpointActivator::_nil(), ids, *find_orb("orb"));
  EXPECT_EQ(request->wait().minor, 0x515A0C04u);
  EXPECT_TRUE(support::wait_until([&] { return find(m_bank).is_null(); }));
  EXPECT_EQ(send_to({"Runs"})->outcome().kind, Outcome::FORWARD);
}

TEST_F(ActiveOrbTest, TwoPoasOfAStoppedServerAreActivatedTogetherWhenItRegistersItsActivator) {
  configure_living_process("process", {"orb"});
  start();
  add_entry(m_bank, "orb");
  add_entry(m_shop, "orb");
  const auto bank = send_to(m_bank);
  const auto shop = send_to(m_shop);
  EXPECT_EQ(number_awaiting(find_orb("orb")), 2u);
  EXPECT_FALSE(bank->answered() || shop->answered());
  add_activator("orb", [this](const std::vector<Names>& poas) {
    for (const Names& poa : poas) add(poa, "orb");
  });
  EXPECT_EQ(bank->wait().forwarded_key, server_key(m_bank) + "object");
  EXPECT_EQ(shop->wait().forwarded_key, server_key(m_shop) + "object");
  EXPECT_THAT(m_activator->calls(), ElementsAre(ElementsAre(m_bank, m_shop)));
  EXPECT_EQ(number_awaiting(find_orb("orb")), 0u);
}

TEST_F(ActiveOrbTest, APoaThatTheStartingServerRegistersByItselfIsNotActivatedAgain) {
  configure_living_process("process", {"orb"});
  start();
  add_entry(m_bank, "orb");
  add_entry(m_shop, "orb");
  const auto bank = send_to(m_bank);
  const auto shop = send_to(m_shop);
  add(m_bank, "orb");
  EXPECT_EQ(bank->wait().kind, Outcome::FORWARD);
  add_activator("orb");
  ASSERT_TRUE(activated(1));
  EXPECT_THAT(m_activator->calls(), ElementsAre(ElementsAre(m_shop)));
  EXPECT_FALSE(shop->answered());
}

TEST_F(ActiveOrbTest, APoaThatIsDestroyedWhileTheServerStartsIsNotActivated) {
  configure_living_process("process", {"orb"});
  start();
  add_entry(m_bank, "orb");
  add_entry(m_shop, "orb");
  const auto bank = send_to(m_bank);
  const auto shop = send_to(m_shop);
  find(m_bank).destroy();
  add_activator("orb");
  ASSERT_TRUE(activated(1));
  EXPECT_THAT(m_activator->calls(), ElementsAre(ElementsAre(m_shop)));
  EXPECT_EQ(bank->wait().minor, 0x515A0C03u);
}

TEST_F(ActiveOrbTest, AProcessThatCannotBeStartedIsReportedAndTransient) {
  config().add_process({"process", {"/no/such/program"}, {}});
  config().add_orb("orb", "process");
  start();
  add_entry(m_bank, "orb");
  const auto request = send_to(m_bank);
  EXPECT_EQ(request->outcome().exception, "TRANSIENT");
  EXPECT_EQ(request->outcome().minor, 0x515A0C01u);
  EXPECT_TRUE(request->outcome().completed_no);
  ASSERT_THAT(log().events(21), SizeIs(1));
  EXPECT_EQ(log().events(21)[0].priority, 32u);
  ASSERT_THAT(log().events(21)[0].parameters, SizeIs(4));
  EXPECT_EQ(log().events(21)[0].parameters[0], "process");
  EXPECT_EQ(log().events(21)[0].parameters[1], "orb");
  EXPECT_EQ(log().events(21)[0].parameters[2], "Bank");
  EXPECT_THAT(log().events(21)[0].parameters[3], testing::HasSubstr("/no/such/program"));
  EXPECT_TRUE(find(m_bank).is_null());
}

// A process of the host whose start does what the test says.
class OddProcess : public virtual QZ_LocatorInternal::ActiveProcess, public QZ_CORBA::RefCountedLocalObject {
 public:
  explicit OddProcess(std::function<void()> start) : m_start(std::move(start)) {}
  char* name() override { return CORBA::string_dup("odd"); }
  void start() override { m_start(); }
  void add_orb(QZ_LocatorInternal::ActiveORB_ptr) override {}
  void remove_orb(const char*) override {}
  QZ_LocatorAdmin::ActiveProcess_ptr external_reference() override { return QZ_LocatorAdmin::ActiveProcess::_nil(); }

 private:
  const std::function<void()> m_start;
};

TEST_F(ActiveOrbTest, EveryKindOfStartFailureIsTransientAndDiffersOnlyInItsReason) {
  start();
  ActiveEndpoint endpoint = endpoints().create(core(), *id_of(m_bank), "orb");
  const auto orb = find_orb("orb");
  const std::vector<std::function<void()>> failures = {
      [] { throw QZ_LocatorInternal::StartFailed("the disk is full"); },
      [] { throw CORBA::NO_RESOURCES(5, CORBA::COMPLETED_NO); }, [] { throw 1; }};
  for (const auto& failure : failures) {
    {
      QZ_RecursiveMutexLock lock(orb->impl_mutex());
      orb->m_active_process = new OddProcess(failure);
    }
    EXPECT_THROW(
        {
          try {
            endpoint.activate();
          } catch (const CORBA::TRANSIENT& ex) {
            EXPECT_EQ(ex.minor(), 0x515A0C01u);
            throw;
          }
        },
        CORBA::TRANSIENT);
    EXPECT_EQ(number_awaiting(orb), 0u);
  }
  const auto events = log().events(21);
  ASSERT_THAT(events, SizeIs(3));
  EXPECT_EQ(events[0].parameters[3], "the disk is full");
  EXPECT_THAT(events[1].parameters[3], testing::HasSubstr("NO_RESOURCES"));
  EXPECT_EQ(events[2].parameters[3], "unknown exception");
}

TEST_F(ActiveOrbTest, RequestsOfAServerThatDiesWhileItStartsAreTransient) {
  configure_living_process("process", {"orb"});
  start();
  add_entry(m_bank, "orb");
  const auto request = send_to(m_bank);
  EXPECT_FALSE(request->answered());
  end_process("process");
  EXPECT_EQ(request->wait().minor, 0x515A0C03u);
  EXPECT_TRUE(support::wait_until([&] { return find_orb("orb").is_null(); }));
  EXPECT_EQ(stored_orbs(), 0u);
}

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

TEST_F(ActiveOrbTest, ASecondActivatorTakesThePlaceOfOneThatAnswers) {
  start();
  add_activator("orb");
  log().clear();
  TestActivator* second = nullptr;
  const auto reference = make_activator(second);
  EXPECT_TRUE(find_orb("orb")->impl_endpoint_activator(reference));
  EXPECT_TRUE(reference->_is_equivalent(find_orb("orb")->impl_endpoint_activator_nc()));
  EXPECT_THAT(event_ids(), ElementsAre(12u, 14u));
  EXPECT_EQ(log().events(12)[0].priority, 16u);
  EXPECT_THAT(log().events(12)[0].parameters, ElementsAre("orb"));
  EXPECT_EQ(log().events(14)[0].priority, 1u);
}

TEST_F(ActiveOrbTest, ASecondActivatorTakesThePlaceOfOneThatAnswersNoMore) {
  start();
  add_activator("orb", dead_activator());
  log().clear();
  TestActivator* second = nullptr;
  const auto reference = make_activator(second);
  EXPECT_TRUE(find_orb("orb")->impl_endpoint_activator(reference));
  EXPECT_TRUE(reference->_is_equivalent(find_orb("orb")->impl_endpoint_activator_nc()));
  EXPECT_THAT(event_ids(), ElementsAre(14u));
}

TEST_F(ActiveOrbTest, EachChangeOfTheActivatorHasItsMessage) {
  start();
  add(m_bank, "orb");
  const auto orb = find_orb("orb");
  TestActivator* unused = nullptr;
  const auto activator = make_activator(unused);
  log().clear();
  orb->impl_endpoint_activator(EndpointActivator::_nil());
  orb->impl_endpoint_activator(activator);
  orb->impl_endpoint_activator(EndpointActivator::_nil());
  EXPECT_THAT(event_ids(), ElementsAre(10u, 10u, 11u));
  for (const support::Event& event : log().events()) EXPECT_THAT(event.parameters, ElementsAre("orb"));
}

TEST_F(ActiveOrbTest, AnActivatorThatCannotBeStoredIsNotTaken) {
  start();
  add(m_bank, "orb");
  TestActivator* unused = nullptr;
  const auto activator = make_activator(unused);
  {
    const StoreFault fault(store_file());
    EXPECT_THROW(find_orb("orb")->impl_endpoint_activator(activator), CORBA::SystemException);
  }
  EXPECT_TRUE(CORBA::is_nil(find_orb("orb")->impl_endpoint_activator_nc()));
}

TEST_F(ActiveOrbTest, WithdrawingTheActivatorThatNobodyRegisteredFailsThoseWhoAwaitIt) {
  configure_living_process("process", {"orb"});
  start();
  add_entry(m_bank, "orb");
  const auto request = send_to(m_bank);
  activator_registry()->remove("orb");
  EXPECT_EQ(request->wait().minor, 0x515A0C04u);
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
  POAActiveORBImpl* made = new POAActiveORBImpl(core(), "stranger", true);
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

TEST_F(ActiveOrbTest, ANameThatIsAnotherObjectAdaptersIsRefused) {
  start();
  // Another object adapter's record has the name in the host's table.
  class Foreign : public virtual QZ_LocatorInternal::ActiveORB, public QZ_CORBA::RefCountedLocalObject {
   public:
    char* name() override { return CORBA::string_dup("orb"); }
    QZ_LocationCommon::ORBInfo* orb_info() override { return new QZ_LocationCommon::ORBInfo; }
    QZ_LocatorInternal::ActiveProcess_ptr process() override { return QZ_LocatorInternal::ActiveProcess::_nil(); }
    void process_died() override {}
    QZ_LocatorAdmin::ActiveORB_ptr external_reference() override { return QZ_LocatorAdmin::ActiveORB::_nil(); }
    CORBA::Boolean validate() override { return true; }
    CORBA::Boolean probe() override { return true; }
    CORBA::Boolean registered() override { return true; }
    void destroy() override {}
  };
  const QZ_LocatorInternal::ActiveORB_var foreign = new Foreign;
  const QZ_LocatorInternal::ActiveORBRegistry_var table = host().locator().active_orb_registry();
  table->insert(foreign);
  EXPECT_TRUE(find_orb("orb").is_null());
  EXPECT_THAT(orbs().list(), IsEmpty());
  EXPECT_EQ(orbs().number_of_entries(), 1u);
  EXPECT_THROW(orbs().find_or_create("orb", true), CORBA::BAD_PARAM);
  EXPECT_EQ(host_entry("orb").in(), foreign.in());
  EXPECT_EQ(stored_orbs(), 0u);
  table->remove("orb");
}

// A host locator that cannot give its processes.
class BrokenHost : public virtual QZ_LocatorInternal::Locator, public QZ_CORBA::RefCountedLocalObject {
 public:
  explicit BrokenHost(QZ_LocatorInternal::Locator_ptr whole)
      : m_whole(QZ_LocatorInternal::Locator::_duplicate(whole)) {}
  CORBA::ORB_ptr _qz_get_orb() override { return QZ_CORBA::orb_of(m_whole); }
  char* domain_name() override { return m_whole->domain_name(); }
  QZ_IMRInternal::IMR_ptr imr() override { return m_whole->imr(); }
  QZ_LocatorInternal::ActiveORBRegistry_ptr active_orb_registry() override { return m_whole->active_orb_registry(); }
  QZ_LocatorInternal::ActiveProcessRegistry_ptr active_process_registry() override {
    throw CORBA::NO_RESOURCES(9, CORBA::COMPLETED_NO);
  }
  QZ_LocatorInternal::OALocatorRegistry_ptr oa_locator_registry() override { return m_whole->oa_locator_registry(); }
  void make_known(const char* name, CORBA::Object_ptr reference, CORBA::Long role) override {
    m_whole->make_known(name, reference, role);
  }

 private:
  const QZ_LocatorInternal::Locator_var m_whole;
};

TEST_F(ActiveOrbTest, AProcessRecordThatCannotBeJoinedEndsTheConstruction) {
  configure_living_process("process", {"orb"});
  start();
  add_entry(m_bank, "orb");
  const QZ_LocatorInternal::Locator_var whole = QZ_LocatorInternal::Locator::_duplicate(core().impl_locator_nc());
  core().m_locator = new BrokenHost(whole);
  try {
    orbs().find_or_create("orb", true);
    ADD_FAILURE() << "no exception";
  } catch (const CORBA::INTERNAL& ex) {
    EXPECT_EQ(ex.minor(), 0x515A0C04u);
    EXPECT_EQ(ex.completed(), CORBA::COMPLETED_NO);
  }
  EXPECT_EQ(send_to(m_bank)->outcome().exception, "INTERNAL");
  core().m_locator = whole;
  ASSERT_THAT(log().events(65), SizeIs(2));
  EXPECT_EQ(log().events(65)[0].priority, 32u);
  EXPECT_EQ(log().events(65)[0].parameters[0], "orb");
  EXPECT_THAT(log().events(65)[0].parameters[1], testing::HasSubstr("NO_RESOURCES"));
  EXPECT_TRUE(find_orb("orb").is_null());
  EXPECT_TRUE(find(m_bank).is_null());
  EXPECT_EQ(stored_orbs(), 0u);
}

TEST_F(ActiveOrbTest, TheRegistryListsItsOrbsInOrderAndByProcess) {
  configure_living_process("process", {"first", "second"});
  start();
  add({"A"}, "first");
  add({"B"}, "other");
  add({"C"}, "second");
  const auto names = [](const auto& list) {
    std::vector<std::string> result;
    for (const auto& orb : list) result.emplace_back(orb->impl_name());
    return result;
  };
  EXPECT_THAT(names(orbs().list()), ElementsAre("first", "other", "second"));
  EXPECT_THAT(names(orbs().list_by_process("process")), ElementsAre("first", "second"));
  EXPECT_THAT(names(orbs().list_by_process("no such process")), IsEmpty());
  EXPECT_EQ(orbs().number_of_entries(), 3u);
  EXPECT_TRUE(orbs().find("unknown").is_null());
}

TEST_F(ActiveOrbTest, TheRegistryKeepsOneRecordOfAName) {
  start();
  const auto first = orbs().find_or_create("orb", true);
  EXPECT_EQ(orbs().find_or_create("orb", false).get(), first.get());
  EXPECT_THROW(orbs().insert(first.get()), CORBA::BAD_PARAM);
  EXPECT_EQ(stored_orbs(), 1u);
  orbs().validate();
  EXPECT_FALSE(find_orb("orb").is_null());
}

TEST_F(ActiveOrbTest, AnEmptyStoreLoadsNoOrb) {
  start();
  EXPECT_EQ(orbs().number_of_entries(), 0u);
  EXPECT_THAT(log().events(39), IsEmpty());
}

TEST_F(ActiveOrbTest, UsesTheConfiguredHome) {
  config().append("\n[plugins.locator]\nactive_orb_home_type_id = \"PSDL:Other/OrbHome:1.0\"\n");
  start();
  EXPECT_STREQ(orbs().home_type_id(), "PSDL:Other/OrbHome:1.0");
  add(m_bank, "orb");
  EXPECT_EQ(stored("PSDL:Other/OrbHome:1.0"), 1u);
  stop();
  start();
  EXPECT_FALSE(find_orb("orb").is_null());
}

}  // namespace
