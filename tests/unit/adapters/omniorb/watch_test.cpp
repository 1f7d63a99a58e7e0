#include "tests/unit/adapters/omniorb/locator_registration_test.h"

namespace {

using namespace std::chrono_literals;
using QZ_POA_PersistentServer::EndpointActivator_var;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

TEST_F(LocatorRegistrationTest, registers_what_is_pending_when_the_locator_answers_again) {
  m_options.watch_interval = 2ms;
  m_locator.refuse("Bank", FakeLocator::Refusal::SILENCE);
  const auto server = registration();
  EXPECT_THAT(error_of([&] { create(*server, "Bank"); }), HasSubstr("does not answer"));
  m_locator.refuse("Bank", FakeLocator::Refusal::NONE);
  EXPECT_TRUE(wait_until([this] { return !m_locator.registered().empty(); }));
}

TEST_F(LocatorRegistrationTest, reports_once_that_another_server_has_what_is_pending) {
  const auto other = other_server_with("Bank");
  m_options.watch_interval = 2ms;
  m_locator.refuse("Bank", FakeLocator::Refusal::SILENCE);
  const auto server = registration();
  EXPECT_THAT(error_of([&] { create(*server, "Bank"); }), HasSubstr("does not answer"));
  m_locator.refuse("Bank", FakeLocator::Refusal::NONE);
  EXPECT_TRUE(wait_until([this] { return !reports().empty(); }));
  const std::size_t calls = m_locator.calls().size();
  EXPECT_TRUE(wait_until([&] { return m_locator.calls().size() > calls + 10; }));
  server->leave();
  EXPECT_THAT(reports(), ElementsAre(HasSubstr("stop that one first")));
  EXPECT_THAT(m_locator.calls(), ::testing::Not(::testing::Contains("remove Bank")));
}

TEST_F(LocatorRegistrationTest, leaves_a_registration_alone_that_survives_the_locators_silence) {
  m_options.watch_interval = 2ms;
  const auto server = registration();
  create(*server, "Bank");
  m_locator.refuse("Bank", FakeLocator::Refusal::SILENCE);
  const std::size_t before = m_locator.calls().size();
  EXPECT_TRUE(wait_until([&] { return m_locator.calls().size() > before + 3; }));
  m_locator.refuse("Bank", FakeLocator::Refusal::NONE);
  const std::size_t after = m_locator.calls().size();
  EXPECT_TRUE(wait_until([&] { return m_locator.calls().size() > after + 3; }));
  EXPECT_THAT(m_locator.calls(), ::testing::Not(::testing::Contains("remove Bank")));
  EXPECT_THAT(reports(), IsEmpty());
}

TEST_F(LocatorRegistrationTest, registers_everything_again_with_a_locator_that_has_lost_it) {
  m_options.watch_interval = 2ms;
  const auto server = registration();
  create(*server, "Bank/Accounts");
  create(*server, "Bank/Audit");
  const auto all_there = [this] {
    const EndpointActivator_var activator = m_locator.activator();
    return m_locator.registered().size() == 3 && !CORBA::is_nil(activator) && !reports().empty();
  };
  m_locator.forget_everything();
  EXPECT_TRUE(wait_until(all_there));
  EXPECT_THAT(reports().front(), HasSubstr("have been made again"));
}

TEST_F(LocatorRegistrationTest, notices_each_single_poa_that_is_lost) {
  m_options.watch_interval = 2ms;
  const auto server = registration();
  create(*server, "Bank/Accounts");
  create(*server, "Bank/Audit");
  for (const char* path : {"Bank", "Bank/Audit", "Bank/Accounts"}) {
    m_locator.forget_poa(path);
    EXPECT_TRUE(wait_until([this] { return m_locator.registered().size() == 3; })) << path;
  }
}

TEST_F(LocatorRegistrationTest, registers_its_activation_again_while_no_poa_is_up) {
  m_options.watch_interval = 2ms;
  const auto server = registration();
  m_locator.forget_everything();
  EXPECT_TRUE(wait_until([this] {
    const EndpointActivator_var activator = m_locator.activator();
    return !CORBA::is_nil(activator);
  }));
}

TEST_F(LocatorRegistrationTest, reports_once_what_cannot_be_registered_again) {
  m_options.watch_interval = 2ms;
  const auto server = registration();
  create(*server, "Bank");
  m_locator.refuse("Bank", FakeLocator::Refusal::NOT_ALLOWED);
  m_locator.forget_everything();
  EXPECT_TRUE(wait_until([this] { return !reports().empty(); }));
  const std::size_t calls = m_locator.calls().size();
  EXPECT_TRUE(wait_until([&] { return m_locator.calls().size() > calls + 10; }));
  EXPECT_THAT(reports(), ElementsAre(HasSubstr("allows no dynamic registration")));
}

}  // namespace
