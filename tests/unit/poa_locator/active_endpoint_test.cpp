// One active endpoint: what it does with requests, how it is made, registered, mirrored and destroyed.
#include <gmock/gmock.h>

#include "tests/unit/poa_locator/active_fixture.h"
#include "tests/unit/poa_locator/imr_store_fault.h"

namespace {

using ServerRegistry = QZ_POA_PersistentServer::EndpointRegistry;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

template <class Exception, class Work>
CORBA::ULong minor_of(Work&& work) {
  try {
    work();
  } catch (const Exception& ex) {
    EXPECT_EQ(ex.completed(), CORBA::COMPLETED_NO);
    return ex.minor();
  }
  ADD_FAILURE() << "no exception";
  return 0;
}

class ActiveEndpointTest : public ActiveFixture {
 protected:
  const Names m_bank{"Bank"};

  QZ_IOR::IOR_var ior_of(const Names& names) {
    return host().binding_manager().object_to_ior(prototype(server_key(names)));
  }
  // In the table, and not activated.
  ActiveEndpoint idle_endpoint(const Names& names, const char* orb_name = "orb") {
    return endpoints().create(core(), *id_of(names), orb_name);
  }
  void run(ActiveEndpoint& endpoint, const Names& names) { endpoint.set_dynamic_state(make_state(), ior_of(names)); }
};

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
  EXPECT_STREQ(endpoint.name(), "Bank");
  const QZ_POAIMRAdmin::FullyQualifiedName_var name = endpoint.full_name();
  EXPECT_EQ(texts(name), m_bank);
  EXPECT_EQ(octets(endpoint.endpoint().id()), octets(*id_of(m_bank)));
  const RefCountHandle<POAActiveORBImpl> orb(endpoint.orb());
  EXPECT_STREQ(orb->impl_name(), "orb");
}

TEST_F(ActiveEndpointTest, KeepsRequestsWhileThePoaDoesNotRun) {
  start();
  ActiveEndpoint endpoint = idle_endpoint(m_bank);
  const auto request = send_to(m_bank);
  EXPECT_FALSE(request->answered());
  EXPECT_EQ(endpoint.number_of_pending_requests(), 1u);
}

TEST_F(ActiveEndpointTest, RequestsForWhichNobodyWaitsDoNotAddUp) {
  start();
  ActiveEndpoint endpoint = idle_endpoint(m_bank);
  std::vector<std::shared_ptr<FakeRequest>> waiting, gone;
  for (int i = 0; i < 2000; ++i) {
    gone.push_back(send_to(m_bank));
    gone.back()->abandon();
    if (i % 100 == 0) waiting.push_back(send_to(m_bank, "object" + std::to_string(i)));
  }
  EXPECT_LT(endpoint.number_of_pending_requests(), 200u);
  for (const auto& request : waiting) EXPECT_FALSE(request->answered());
  run(endpoint, m_bank);
  for (std::size_t i = 0; i < waiting.size(); ++i) {
    const Outcome outcome = waiting[i]->wait();
    EXPECT_EQ(outcome.forwarded_key, server_key(m_bank) + "object" + std::to_string(100 * i));
    EXPECT_EQ(outcome.outcomes, 1u);
  }
  // Each is finished once, however it ended.
  for (const auto& request : gone) EXPECT_EQ(request->wait().outcomes, 1u);
}

TEST_F(ActiveEndpointTest, ForwardsRequestsOfARunningPoaToTheServersKey) {
  start();
  ActiveEndpoint endpoint = idle_endpoint(m_bank);
  run(endpoint, m_bank);
  for (const auto kind : {FakeRequest::REQUEST, FakeRequest::LOCATE}) {
    const Outcome outcome = send_to(m_bank, "object", kind)->outcome();
    EXPECT_EQ(outcome.kind, Outcome::FORWARD);
    EXPECT_EQ(outcome.forwarded_key, server_key(m_bank) + "object");
    EXPECT_EQ(outcome.type_id, "");
    EXPECT_EQ(outcome.outcomes, 1u);
  }
}

TEST_F(ActiveEndpointTest, RefusesAKeyWithoutAnObjectOnlyWhileThePoaRuns) {
  start();
  ActiveEndpoint endpoint = idle_endpoint(m_bank);
  const auto early = send_to(m_bank, "");
  EXPECT_FALSE(early->answered());
  run(endpoint, m_bank);
  const Outcome late = send_to(m_bank, "")->outcome();
  EXPECT_EQ(late.exception, "INV_OBJREF");
  EXPECT_EQ(late.minor, 0x515A0C00u);
  EXPECT_TRUE(late.completed_no);
  const Outcome replayed = early->wait();
  EXPECT_EQ(replayed.exception, "INV_OBJREF");
  EXPECT_EQ(replayed.minor, 0x515A0C00u);
}

TEST_F(ActiveEndpointTest, AnswersThoseWhoWaitInOrderOfArrivalOnAnotherThread) {
  start();
  ActiveEndpoint endpoint = idle_endpoint(m_bank);
  std::vector<std::shared_ptr<FakeRequest>> requests;
  for (int i = 0; i < 50; ++i) requests.push_back(send_to(m_bank, "object" + std::to_string(i)));
  run(endpoint, m_bank);
  unsigned before = 0;
  for (int i = 0; i < 50; ++i) {
    const Outcome outcome = requests[static_cast<std::size_t>(i)]->wait();
    EXPECT_EQ(outcome.kind, Outcome::FORWARD);
    EXPECT_EQ(outcome.forwarded_key, server_key(m_bank) + "object" + std::to_string(i));
    EXPECT_EQ(outcome.outcomes, 1u);
    EXPECT_GT(outcome.sequence, before);
    before = outcome.sequence;
  }
  EXPECT_EQ(endpoint.number_of_pending_requests(), 0u);
}

TEST_F(ActiveEndpointTest, OneRequestThatCannotBeForwardedDoesNotHoldUpTheOthers) {
  start();
  ActiveEndpoint endpoint = idle_endpoint(m_bank);
  const auto first = send_to(m_bank);
  ThrowingRequest bad;
  bad.m_object_key = []() -> const CORBA::OctetSeq* { throw std::runtime_error("no key today"); };
  endpoint.handle_request(bad);
  const auto last = send_to(m_bank);
  run(endpoint, m_bank);
  EXPECT_EQ(first->wait().kind, Outcome::FORWARD);
  EXPECT_EQ(last->wait().kind, Outcome::FORWARD);
}

TEST_F(ActiveEndpointTest, ASecondStateIsRefusedAndTheFirstStays) {
  start();
  ActiveEndpoint endpoint = idle_endpoint(m_bank);
  run(endpoint, m_bank);
  try {
    run(endpoint, {"Other"});
    FAIL() << "no exception";
  } catch (const ServerRegistry::EntryAlreadyExists& ex) {
    EXPECT_EQ(octets(ex.id), octets(*id_of(m_bank)));
  }
  EXPECT_EQ(send_to(m_bank)->outcome().forwarded_key, server_key(m_bank) + "object");
}

TEST_F(ActiveEndpointTest, AClearedStateMakesItKeepRequestsAgain) {
  start();
  ActiveEndpoint endpoint = idle_endpoint(m_bank);
  run(endpoint, m_bank);
  EXPECT_TRUE(endpoint.is_dynamic_state_set());
  EXPECT_FALSE(CORBA::is_nil(QZ_POA_PersistentServer::EndpointDynamicState_var(endpoint.dynamic_state())));
  endpoint.clear_dynamic_state();
  EXPECT_FALSE(endpoint.is_dynamic_state_set());
  EXPECT_TRUE(CORBA::is_nil(QZ_POA_PersistentServer::EndpointDynamicState_var(endpoint.dynamic_state())));
  const auto request = send_to(m_bank);
  EXPECT_FALSE(request->answered());
  run(endpoint, m_bank);
  EXPECT_EQ(request->wait().kind, Outcome::FORWARD);
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

TEST_F(ActiveEndpointTest, AnEntryWithoutAnOrbNameCannotBeActivated) {
  start();
  add_entry(m_bank, "");
  ActiveEndpoint endpoint(core(), *id_of(m_bank));
  EXPECT_EQ(endpoint.orb(), nullptr);
  EXPECT_EQ(minor_of<CORBA::TRANSIENT>([&] { endpoint.activate(); }), 0x515A0C00u);
  endpoint.destroy();
}

TEST_F(ActiveEndpointTest, ARunningPoaIsNotActivatedAgain) {
  start();
  ActiveEndpoint endpoint = idle_endpoint(m_bank);
  run(endpoint, m_bank);
  EXPECT_NO_THROW(endpoint.activate());
}

TEST_F(ActiveEndpointTest, DestroyingAnswersThoseWhoWaitAndThoseWhoComeLater) {
  start();
  ActiveEndpoint endpoint = idle_endpoint(m_bank);
  const auto interceptor = interceptor_of(key_of(m_bank));
  const auto waiting = send_to(m_bank);
  endpoint.destroy();
  FakeRequest late(key_of(m_bank));
  late.give_to(interceptor);
  for (const Outcome& outcome : {waiting->wait(), late.wait()}) {
    EXPECT_EQ(outcome.exception, "TRANSIENT");
    EXPECT_EQ(outcome.minor, 0x515A0C03u);
    EXPECT_TRUE(outcome.completed_no);
    EXPECT_EQ(outcome.outcomes, 1u);
  }
  EXPECT_EQ(endpoint.number_of_pending_requests(), 0u);
  EXPECT_TRUE(endpoint.has_ended());
  EXPECT_THAT(log().events(30), SizeIs(1));
}

TEST_F(ActiveEndpointTest, DestroyingTakesItOutOfEverything) {
  start();
  idle_endpoint({"Other"});
  ActiveEndpoint endpoint = idle_endpoint(m_bank);
  run(endpoint, m_bank);
  EXPECT_STREQ(CORBA::String_var(interceptor_of(key_of(m_bank))->name()), "POALocationEndpoint");
  endpoint.destroy();
  EXPECT_TRUE(find(m_bank).is_null());
  EXPECT_THAT(find_orb("orb")->impl_endpoints(), SizeIs(1));
  EXPECT_EQ(stored_endpoints(), 1u);
  EXPECT_STREQ(CORBA::String_var(interceptor_of(key_of(m_bank))->name()), "POALocation");
  EXPECT_FALSE(endpoint.is_dynamic_state_set());
}

TEST_F(ActiveEndpointTest, ASecondDestructionFindsNothingToRemove) {
  start();
  ActiveEndpoint endpoint = idle_endpoint(m_bank);
  endpoint.destroy();
  EXPECT_THAT(log().events(45), IsEmpty());
  endpoint.destroy();
  ASSERT_THAT(log().events(45), SizeIs(1));
  EXPECT_EQ(log().events(45)[0].priority, 16u);
  EXPECT_EQ(log().events(45)[0].parameters[1], "Bank");
  EXPECT_THAT(log().events(46), SizeIs(1));
}

TEST_F(ActiveEndpointTest, ASecondDestructionLeavesTheSuccessorAlone) {
  start();
  ActiveEndpoint old = idle_endpoint(m_bank);
  old.destroy();
  ActiveEndpoint successor = idle_endpoint(m_bank);
  run(successor, m_bank);
  old.destroy();
  EXPECT_TRUE(find(m_bank).same_as(successor));
  EXPECT_THAT(find_orb("orb")->impl_endpoints(), SizeIs(1));
  EXPECT_EQ(stored_endpoints(), 1u);
  EXPECT_EQ(send_to(m_bank)->outcome().kind, Outcome::FORWARD);
}

TEST_F(ActiveEndpointTest, AStateForADestroyedEndpointIsRefused) {
  start();
  ActiveEndpoint endpoint = idle_endpoint(m_bank);
  endpoint.destroy();
  EXPECT_EQ(minor_of<CORBA::OBJECT_NOT_EXIST>([&] { run(endpoint, m_bank); }), 0x515A0C05u);
  EXPECT_EQ(stored_endpoints(), 0u);
}

TEST_F(ActiveEndpointTest, ClearingThoseWhoWaitGivesEachTheExceptionInOrder) {
  start();
  ActiveEndpoint endpoint = idle_endpoint(m_bank);
  const auto first = send_to(m_bank);
  const auto second = send_to(m_bank);
  endpoint.clear_pending_requests(CORBA::TRANSIENT(0x515A0C04, CORBA::COMPLETED_NO));
  EXPECT_EQ(first->outcome().minor, 0x515A0C04u);
  EXPECT_EQ(second->outcome().minor, 0x515A0C04u);
  EXPECT_LT(first->outcome().sequence, second->outcome().sequence);
  EXPECT_EQ(endpoint.number_of_pending_requests(), 0u);
  EXPECT_FALSE(find(m_bank).is_null());
}

TEST_F(ActiveEndpointTest, AnEndOtherThanDestructionIsToldToLatecomers) {
  start();
  ActiveEndpoint endpoint = idle_endpoint(m_bank);
  const auto interceptor = interceptor_of(key_of(m_bank));
  EXPECT_TRUE(endpoint.destroy_unless_running(CORBA::OBJECT_NOT_EXIST(0x515A0C06, CORBA::COMPLETED_NO)));
  FakeRequest late(key_of(m_bank));
  late.give_to(interceptor);
  EXPECT_EQ(late.outcome().exception, "OBJECT_NOT_EXIST");
  EXPECT_EQ(late.outcome().minor, 0x515A0C06u);
}

TEST_F(ActiveEndpointTest, AFailedActivationDoesNotEndAPoaThatRunsMeanwhile) {
  start();
  ActiveEndpoint endpoint = idle_endpoint(m_bank);
  run(endpoint, m_bank);
  EXPECT_FALSE(endpoint.destroy_unless_running(CORBA::TRANSIENT(0x515A0C04, CORBA::COMPLETED_NO)));
  EXPECT_EQ(send_to(m_bank)->outcome().kind, Outcome::FORWARD);
}

TEST_F(ActiveEndpointTest, AnOldMirrorDoesNotStopARegistration) {
  start();
  ActiveEndpoint lost = idle_endpoint(m_bank, "first");
  {
    const StoreFault fault(store_file());
    lost.destroy();
  }
  ASSERT_EQ(stored_endpoints(), 1u);
  EXPECT_THAT(log().events(47), SizeIs(1));
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
  const QZ_Binding::ServerBinding_var taken =
      host().binding_manager().register_interceptor(*id, other, QZ_Binding::DISPATCH_WORKER);
  EXPECT_THROW(ActiveEndpoint(core(), *id), CORBA::BAD_INV_ORDER);
  ASSERT_THAT(log().events(64), SizeIs(1));
  EXPECT_EQ(log().events(64)[0].priority, 32u);
  EXPECT_EQ(log().events(64)[0].parameters[0], "Bank");
  EXPECT_THAT(log().events(64)[0].parameters[1], testing::HasSubstr("BAD_INV_ORDER"));
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

TEST_F(ActiveEndpointTest, RequestsThatStillWaitWhenTheDaemonStopsAreAnswered) {
  start();
  idle_endpoint(m_bank);
  const auto request = send_to(m_bank);
  stop();
  EXPECT_EQ(request->outcome().exception, "TRANSIENT");
  EXPECT_EQ(request->outcome().minor, 0x515A0C03u);
  start();
  EXPECT_FALSE(find(m_bank).is_null());
}

}  // namespace
