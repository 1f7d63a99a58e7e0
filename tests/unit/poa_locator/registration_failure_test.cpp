// Registrations that the store does not take.
#include <gmock/gmock.h>

#include "tests/support/disk_waits.h"
#include "tests/unit/poa_locator/active_endpoint_test.h"
#include "tests/unit/poa_locator/imr_store_fault.h"

namespace {

using testing::IsEmpty;

class RegistrationFailureTest : public ActiveEndpointTest {
 protected:
  CORBA::ULong stored_number() { return registry().find(*id_of(m_bank)).creation_seq_nbr(); }
};

TEST_F(RegistrationFailureTest, AFailureAfterTheEndpointWasMadeDestroysItAgain) {
  start();
  add_entry(m_bank, "orb");
  const auto state = make_state();
  {
    const StoreFault fault(store_file());
    EXPECT_THROW(add(m_bank, "orb", state), CORBA::SystemException);
  }
  EXPECT_THAT(log().events(4), IsEmpty());
  EXPECT_TRUE(find(m_bank).is_null());
  EXPECT_TRUE(find_orb("orb").is_null());
  EXPECT_STREQ(CORBA::String_var(interceptor_of(key_of(m_bank))->name()), "POALocation");
  EXPECT_EQ(add(m_bank, "orb"), 1u);
}

TEST_F(RegistrationFailureTest, AFailureLeavesAnEndpointThatWasThereBefore) {
  configure_living_process("process", {"orb"});
  start();
  add_entry(m_bank, "orb");
  const auto request = send_to(m_bank);
  const auto state = make_state();
  {
    const StoreFault fault(store_file());
    EXPECT_THROW(add(m_bank, "orb", state), CORBA::SystemException);
  }
  EXPECT_FALSE(find(m_bank).is_null());
  EXPECT_FALSE(request->answered());
  add(m_bank, "orb", state);
  EXPECT_EQ(request->wait().kind, Outcome::FORWARD);
}

TEST_F(RegistrationFailureTest, NobodyIsForwardedToARegistrationThatCannotBeCounted) {
  configure_living_process("process", {"orb"});
  start();
  add_entry(m_bank, "orb");
  const auto request = send_to(m_bank);
  registry().find(*id_of(m_bank)).destroy();
  EXPECT_THROW(add(m_bank, "orb"), CORBA::OBJECT_NOT_EXIST);
  EXPECT_EQ(request->wait().kind, Outcome::EXCEPTION);
  EXPECT_TRUE(find(m_bank).is_null());
  EXPECT_EQ(stored_endpoints(), 0u);
}

TEST_F(RegistrationFailureTest, ARepositoryThatCannotCountLeavesAnEndpointThatWasThereBefore) {
  start();
  const ActiveEndpoint endpoint = idle_endpoint(m_bank);
  const auto request = send_to(m_bank);
  const auto state = make_state();
  {
    const StoreFault fault(store_file(), "%namespacedata");
    EXPECT_THROW(add(m_bank, "orb", state), CORBA::PERSIST_STORE);
  }
  EXPECT_TRUE(find(m_bank).same_as(endpoint));
  EXPECT_FALSE(endpoint.is_dynamic_state_set());
  EXPECT_FALSE(request->answered());
  EXPECT_EQ(add(m_bank, "orb", state), 1u);
  EXPECT_EQ(request->wait().kind, Outcome::FORWARD);
  EXPECT_TRUE(find(m_bank).same_as(endpoint));
}

TEST_F(RegistrationFailureTest, ADiskThatFailsAtTheEndLeavesAnEndpointThatWasThereBefore) {
  start();
  add({"Shop"}, "orb");  // the first commits may have more to wait for
  const ActiveEndpoint endpoint = idle_endpoint(m_bank);
  const auto request = send_to(m_bank);
  const auto state = make_state();
  fail_next_disk_wait();
  EXPECT_EQ(minor_of<CORBA::OBJECT_NOT_EXIST>([&] { add(m_bank, "orb", state); }), 0x515A0C05u);
  EXPECT_TRUE(find(m_bank).same_as(endpoint));
  EXPECT_FALSE(endpoint.is_dynamic_state_set());
  EXPECT_FALSE(request->answered());
  EXPECT_EQ(stored_number(), 0u);
  EXPECT_EQ(add(m_bank, "orb", state), 1u);
  EXPECT_EQ(request->wait().kind, Outcome::FORWARD);
  EXPECT_TRUE(find(m_bank).same_as(endpoint));
}

TEST_F(RegistrationFailureTest, ADiskThatFailsAtTheEndLeavesNoNewEndpoint) {
  start();
  add({"Shop"}, "orb");
  const auto state = make_state();
  fail_next_disk_wait();
  EXPECT_EQ(minor_of<CORBA::OBJECT_NOT_EXIST>([&] { add(m_bank, "orb", state); }), 0x515A0C05u);
  EXPECT_TRUE(find(m_bank).is_null());
  EXPECT_EQ(stored_endpoints(), 1u);
  EXPECT_EQ(stored_number(), 0u);
  EXPECT_EQ(add(m_bank, "orb", state), 1u);
  EXPECT_EQ(send_to(m_bank)->outcome().kind, Outcome::FORWARD);
}

}  // namespace
