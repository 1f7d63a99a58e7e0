#include "tests/unit/adapters/omniorb/locator_registration_test.h"

namespace {

using QZ_POA_PersistentServer::EndpointActivator_var;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

TEST_F(LocatorRegistrationTest, removes_when_it_leaves_what_may_be_registered) {
  m_locator.refuse("Bank", FakeLocator::Refusal::LOST_ANSWER);
  const auto server = registration();
  EXPECT_THAT(error_of([&] { create(*server, "Bank"); }), HasSubstr("does not answer"));
  EXPECT_THAT(m_locator.registered(), ElementsAre("Bank"));
  server->leave();
  EXPECT_THAT(m_locator.registered(), IsEmpty());
}

TEST_F(LocatorRegistrationTest, leaves_without_removing_what_another_server_has) {
  const auto other = other_server_with("Bank");
  m_locator.refuse("Bank", FakeLocator::Refusal::SILENCE);
  const auto server = registration();
  EXPECT_THAT(error_of([&] { create(*server, "Bank"); }), HasSubstr("does not answer"));
  m_locator.refuse("Bank", FakeLocator::Refusal::NONE);
  server->leave();
  EXPECT_THAT(m_locator.calls(), ::testing::Not(::testing::Contains("remove Bank")));
  EXPECT_THAT(m_locator.registered(), ElementsAre("Bank"));
}

TEST_F(LocatorRegistrationTest, leaves_children_first_and_activation_last) {
  const auto server = registration();
  create(*server, "Bank/Accounts");
  create(*server, "Bank/Audit");
  const std::size_t before = m_locator.calls().size();
  server->leave();
  server->leave();
  auto calls = m_locator.calls();
  calls.erase(calls.begin(), calls.begin() + static_cast<std::ptrdiff_t>(before));
  EXPECT_THAT(calls,
              ElementsAre("remove Bank/Audit", "remove Bank/Accounts", "remove Bank", "remove activator of bank-orb"));
  EXPECT_THAT(error_of([&] { create(*server, "Bank/More"); }), HasSubstr("has left the locator"));
}

TEST_F(LocatorRegistrationTest, serves_requests_that_come_while_it_leaves_and_leaves_nothing_registered) {
  const auto server = registration();
  create(*server, "Bank/Accounts");
  const EndpointActivator_var activator = m_locator.activator();
  std::vector<std::string> meanwhile;
  m_locator.before_activator_is_removed([&] {
    activator->activate(FakeLocator::ids({"Bank/Accounts"}));
    meanwhile = m_locator.registered();
  });
  server->leave();
  EXPECT_THAT(meanwhile, ElementsAre("Bank/Accounts"));
  EXPECT_THAT(m_locator.registered(), IsEmpty());
}

TEST_F(LocatorRegistrationTest, does_not_remove_what_another_server_registered) {
  m_locator.refuse("Shared", FakeLocator::Refusal::OTHER_ORB);
  {
    const auto server = registration();
    create(*server, "Shared/Mine");
  }
  EXPECT_THAT(m_locator.calls(), ::testing::Not(::testing::Contains("remove Shared")));
}

}  // namespace
