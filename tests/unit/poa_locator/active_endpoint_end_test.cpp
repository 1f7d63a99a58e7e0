// One active endpoint: its end, and what comes after it.
#include <gmock/gmock.h>

#include "poa_locator/locator/active_endpoint_rep.h"
#include "tests/unit/poa_locator/active_endpoint_test.h"
#include "tests/unit/poa_locator/imr_store_fault.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

TEST_F(ActiveEndpointTest, DestroyingAnswersThoseWhoWaitAndThoseWhoComeLater) {
  start();
  ActiveEndpoint endpoint = idle_endpoint(m_bank);
  const auto interceptor = interceptor_of(key_of(m_bank));
  const auto waiting = send_to(m_bank);
  const auto waiting_as_well = send_to(m_bank);
  endpoint.destroy();
  FakeRequest late(key_of(m_bank));
  late.give_to(interceptor);
  for (const Outcome& outcome : {waiting->wait(), waiting_as_well->wait(), late.wait()}) {
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

TEST_F(ActiveEndpointTest, AMirrorThatCannotBeRemovedIsReportedAndTheDestructionGoesOn) {
  start();
  ActiveEndpoint endpoint = idle_endpoint(m_bank);
  const auto request = send_to(m_bank);
  {
    const StoreFault fault(store_file());
    endpoint.destroy();
  }
  ASSERT_THAT(log().events(47), SizeIs(1));
  EXPECT_THAT(log().events(47)[0].parameters, ElementsAre("Bank", HasSubstr("PERSIST_STORE")));
  EXPECT_TRUE(find(m_bank).is_null());
  EXPECT_EQ(request->wait().minor, 0x515A0C03u);
}

// A binding of the host that cannot be ended.
class StuckBinding : public virtual QZ_Binding::ServerBinding, public QZ_CORBA::RefCountedLocalObject {
 public:
  void destroy() override { throw CORBA::INTERNAL(7, CORBA::COMPLETED_NO); }
  void forward_to(QZ_IOR::IOREndpoint_ptr) override {}
};

TEST_F(ActiveEndpointTest, AStepOfTheDestructionThatFailsIsReportedAndTheOthersAreTaken) {
  start();
  ActiveEndpoint endpoint = idle_endpoint(m_bank);
  const auto request = send_to(m_bank);
  QZ_Binding::ServerBinding_var whole;
  {
    const QZ_MutexLock lock(endpoint.m_rep->mutex);
    whole = endpoint.m_rep->server_binding._retn();
    endpoint.m_rep->server_binding = new StuckBinding;
  }
  endpoint.destroy();
  whole->destroy();
  ASSERT_THAT(log().events(50), SizeIs(1));
  EXPECT_THAT(log().events(50)[0].parameters, ElementsAre("Bank"));
  EXPECT_TRUE(find(m_bank).is_null());
  EXPECT_TRUE(find_orb("orb").is_null());
  EXPECT_EQ(stored_endpoints(), 0u);
  EXPECT_EQ(request->wait().minor, 0x515A0C03u);
}

}  // namespace
