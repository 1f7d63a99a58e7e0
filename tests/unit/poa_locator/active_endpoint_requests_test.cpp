// One active endpoint: what it does with requests, before its POA runs and from then on.
#include <gmock/gmock.h>

#include <thread>

#include "poa_locator/locator/endpoint_requests.h"
#include "tests/unit/poa_locator/active_endpoint_test.h"

namespace {

using ServerRegistry = QZ_POA_PersistentServer::EndpointRegistry;

TEST_F(ActiveEndpointTest, KeepsRequestsWhileThePoaDoesNotRun) {
  start();
  ActiveEndpoint endpoint = idle_endpoint(m_bank);
  const auto request = send_to(m_bank);
  EXPECT_FALSE(request->answered());
  EXPECT_EQ(endpoint.number_of_pending_requests(), 1u);
}

TEST_F(ActiveEndpointTest, TheFrontDoorForwardsByItselfWhileThePoaRuns) {
  start();
  ActiveEndpoint endpoint = idle_endpoint(m_bank);
  EXPECT_FALSE(front_door_forwards(m_bank));
  run(endpoint, m_bank);
  EXPECT_TRUE(front_door_forwards(m_bank));
  endpoint = ActiveEndpoint();
  idle_endpoint({"Idle"});
  stop();
  start();
  EXPECT_TRUE(front_door_forwards(m_bank));
  EXPECT_FALSE(find({"Idle"}).is_null());
  EXPECT_FALSE(front_door_forwards({"Idle"}));
  find(m_bank).clear_dynamic_state();
  EXPECT_FALSE(front_door_forwards(m_bank));
}

TEST_F(ActiveEndpointTest, TheFrontDoorDoesNotForwardForOneThatEndsBeforeItTakesRequests) {
  start();
  const auto id = id_of(m_bank);
  const QZ_Binding::ServerRequestInterceptor_var other = interceptor_of(key_of(m_bank));
  const auto forwards = [&](bool ended) {
    EndpointRequests requests;
    CORBA::OctetSeq_var key;
    const QZ_IOR::IOREndpoint_var address = ior_of(m_bank)->split(key.out());
    requests.publish(QZ_CORBA::PackedReference(make_state()), address);
    if (ended) requests.end(CORBA::TRANSIENT());
    QZ_Binding::ServerBinding_var binding = requests.bind(&host().binding_manager(), *id, other);
    const bool result = front_door_forwards(m_bank);
    // What has ended keeps no binding: it goes with its owner.
    binding = QZ_Binding::ServerBinding::_nil();
    if (ended) EXPECT_NO_THROW(take_key_prefix(*id));
    return result;
  };
  EXPECT_TRUE(forwards(false));
  EXPECT_FALSE(forwards(true));
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
    EXPECT_NE(outcome.thread, std::this_thread::get_id());
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

}  // namespace
