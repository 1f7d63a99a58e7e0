// Active ORBs: starting POAs through the server's activator or its process, and changes of the activator.
#include <gmock/gmock.h>

#include "poa_locator/locator/endpoint_activator_thread.h"
#include "tests/unit/poa_locator/active_orb_test.h"
#include "tests/unit/poa_locator/imr_store_fault.h"

namespace {

using QZ_POA_PersistentServer::EndpointActivator;
using testing::ElementsAre;
using testing::SizeIs;

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

}  // namespace
