#include "tests/unit/adapters/omniorb/locator_registration_test.h"

#include <atomic>

#include <stdexcept>

#include "adapters/omniorb/endpoint_id.h"

namespace {

using PoaLocator::LocatorRegistration;
using QZ_POA_PersistentServer::EndpointActivator;
using QZ_POA_PersistentServer::EndpointActivator_var;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

TEST_F(LocatorRegistrationTest, creates_a_poa_when_the_locator_asks_for_it) {
  const auto server = registration([this](LocatorRegistration& self, const std::string& path) {
    if (path != "Bank/Accounts") return false;
    create(self, path);
    return true;
  });
  const EndpointActivator_var activator = m_locator.activator();
  activator->activate(FakeLocator::ids({"Bank/Accounts"}));
  EXPECT_THAT(m_locator.registered(), ElementsAre("Bank", "Bank/Accounts"));
}

TEST_F(LocatorRegistrationTest, denies_poas_that_it_does_not_have_and_creates_the_others) {
  const auto server = registration([this](LocatorRegistration& self, const std::string& path) {
    if (path == "Promised") return true;
    if (path != "Bank") return false;
    create(self, path);
    return true;
  });
  const EndpointActivator_var activator = m_locator.activator();
  EXPECT_THROW(activator->activate(FakeLocator::ids({"Unknown"})), EndpointActivator::EndpointNonExistent);
  EXPECT_THROW(activator->activate(FakeLocator::ids({"Promised"})), EndpointActivator::EndpointNonExistent);
  EXPECT_THROW(activator->activate(FakeLocator::ids({"Unknown", "Bank"})), EndpointActivator::EndpointNonExistent);
  EXPECT_THAT(m_locator.registered(), ElementsAre("Bank"));

  QZ_POA_PersistentServer::EndpointIdList foreign;
  foreign.length(1);
  foreign[0] = PoaLocator::endpoint_id_of("other-domain", "Bank");
  EXPECT_THROW(activator->activate(foreign), EndpointActivator::EndpointNonExistent);
}

TEST_F(LocatorRegistrationTest, denies_every_poa_without_a_callback) {
  const auto server = registration();
  const EndpointActivator_var activator = m_locator.activator();
  EXPECT_THROW(activator->activate(FakeLocator::ids({"Bank"})), EndpointActivator::EndpointNonExistent);
}

TEST_F(LocatorRegistrationTest, registers_again_what_is_up_when_the_locator_asks_for_it) {
  const auto server = registration();
  create(*server, "Bank");
  const EndpointActivator_var activator = m_locator.activator();
  activator->activate(FakeLocator::ids({"Bank"}));  // known to be up: nothing to do
  m_locator.forget_poa("Bank");
  activator->activate(FakeLocator::ids({"Bank"}));
  EXPECT_THAT(m_locator.registered(), ElementsAre("Bank"));
}

TEST_F(LocatorRegistrationTest, answers_with_transient_when_it_cannot_register_again_what_is_up) {
  const auto server = registration();
  create(*server, "Bank");
  const EndpointActivator_var activator = m_locator.activator();
  m_locator.forget_poa("Bank");
  m_locator.refuse("Bank", FakeLocator::Refusal::NOT_ALLOWED);
  EXPECT_THROW(activator->activate(FakeLocator::ids({"Bank"})), CORBA::TRANSIENT);
  EXPECT_THAT(reports(), ElementsAre(HasSubstr("allows no dynamic registration")));
}

TEST_F(LocatorRegistrationTest, answers_an_activation_that_fails_with_transient) {
  const auto server = registration([](LocatorRegistration&, const std::string& path) -> bool {
    if (path == "Bank") throw std::runtime_error("the vault is locked");
    throw PortableServer::POA::AdapterAlreadyExists();
  });
  const EndpointActivator_var activator = m_locator.activator();
  EXPECT_THROW(activator->activate(FakeLocator::ids({"Bank"})), CORBA::TRANSIENT);
  EXPECT_THROW(activator->activate(FakeLocator::ids({"Other"})), CORBA::TRANSIENT);
  EXPECT_THAT(reports(), ElementsAre("the vault is locked", HasSubstr("AdapterAlreadyExists")));
}

TEST_F(LocatorRegistrationTest, creates_one_poa_for_many_activations_at_once) {
  std::atomic<int> setups{0};
  const auto server = registration([&](LocatorRegistration& self, const std::string& path) {
    PortableServer::POA_var poa = self.create_poa(path, {}, [&](PortableServer::POA_ptr) { ++setups; });
    return true;
  });
  const EndpointActivator_var activator = m_locator.activator();
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] { activator->activate(FakeLocator::ids({"Bank/Accounts", "Bank/Audit"})); });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(setups, 2);
  EXPECT_THAT(m_locator.registered(), ElementsAre("Bank", "Bank/Accounts", "Bank/Audit"));
}

TEST_F(LocatorRegistrationTest, creates_nothing_after_it_has_left) {
  const auto server = registration([this](LocatorRegistration& self, const std::string& path) {
    create(self, path);
    return true;
  });
  const EndpointActivator_var activator = m_locator.activator();
  server->leave();
  EXPECT_THROW(activator->activate(FakeLocator::ids({"Bank"})), CORBA::TRANSIENT);
  EXPECT_THAT(m_locator.registered(), IsEmpty());
}

}  // namespace
