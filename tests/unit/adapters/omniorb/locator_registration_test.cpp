#include "adapters/omniorb/locator_registration.h"

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <optional>
#include <thread>

#include "adapters/omniorb/endpoint_id.h"
#include "adapters/omniorb/reference_key.h"
#include "tests/unit/adapters/omniorb/fake_locator.h"
#include "tests/unit/adapters/omniorb/test_orb.h"

namespace {

using namespace std::chrono_literals;
using PoaLocator::LocatorOptions;
using PoaLocator::LocatorRegistration;
using PoaLocator::RegistrationError;
using QZ_POA_PersistentServer::EndpointActivator;
using QZ_POA_PersistentServer::EndpointActivator_var;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

bool wait_until(const std::function<bool()>& condition) {
  const auto limit = std::chrono::steady_clock::now() + 20s;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > limit) return false;
    std::this_thread::sleep_for(1ms);
  }
  return true;
}

std::string error_of(const std::function<void()>& action) {
  try {
    action();
    return "no error";
  } catch (const RegistrationError& error) {
    return error.what();
  }
}

class LocatorRegistrationTest : public ::testing::Test {
 protected:
  LocatorRegistrationTest() {
    m_options.url = test_orb::url();
    m_options.orb_name = "bank-orb";
    m_options.watch_interval = 0ms;
    m_options.leave_grace = 0ms;
    m_options.report = [this](const std::string& sentence) {
      const std::lock_guard lock(m_mutex);
      m_reports.push_back(sentence);
    };
  }
  // What an ORB's end does: POAs go only then. The POA of the fake locator is one of them.
  ~LocatorRegistrationTest() override {
    PortableServer::POAList_var children = test_orb::root_poa()->the_children();
    for (CORBA::ULong i = 0; i < children->length(); ++i) {
      const CORBA::String_var name = children[i]->the_name();
      if (std::string(name) != "omniINSPOA") children[i]->destroy(true, true);
    }
  }

  std::unique_ptr<LocatorRegistration> registration(LocatorRegistration::ActivationCallback on_activate = {}) {
    return std::make_unique<LocatorRegistration>(test_orb::orb(), m_options, std::move(on_activate));
  }
  void create(LocatorRegistration& registration, const std::string& path) {
    PortableServer::POA_var poa = registration.create_poa(path, {}, {});
  }
  std::vector<std::string> reports() {
    const std::lock_guard lock(m_mutex);
    return m_reports;
  }

  FakeLocator m_locator;
  LocatorOptions m_options;

 private:
  std::mutex m_mutex;  // guards m_reports
  std::vector<std::string> m_reports;
};

TEST_F(LocatorRegistrationTest, registers_for_activation_at_its_start) {
  const auto server = registration();
  EXPECT_THAT(m_locator.calls(), ElementsAre("add activator of bank-orb"));
}

TEST_F(LocatorRegistrationTest, takes_what_is_not_said_from_the_environment) {
  m_options.orb_name.clear();
  EXPECT_THAT(error_of([this] { registration(); }), HasSubstr("set POALOCATOR_ORB_NAME"));
  m_options.url.clear();
  EXPECT_THAT(error_of([this] { registration(); }), HasSubstr("set POALOCATOR_URL"));

  setenv("POALOCATOR_URL", (test_orb::url() + "/").c_str(), 1);
  setenv("POALOCATOR_ORB_NAME", "orb-of-environment", 1);
  setenv("POALOCATOR_DOMAIN", "domain-of-environment", 1);
  {
    const auto server = registration();
    EXPECT_THAT(error_of([&] { create(*server, "Bank"); }),
                HasSubstr("\"domain-of-environment\" is not the domain of the locator"));
  }
  unsetenv("POALOCATOR_URL");
  unsetenv("POALOCATOR_ORB_NAME");
  unsetenv("POALOCATOR_DOMAIN");
  EXPECT_THAT(m_locator.calls(), ElementsAre("add activator of orb-of-environment",
                                             "add an id that is none of the domain as orb-of-environment",
                                             "remove activator of orb-of-environment"));
}

TEST_F(LocatorRegistrationTest, registers_level_by_level) {
  const auto server = registration();
  create(*server, "Bank/Accounts");
  create(*server, "Bank/Audit");
  EXPECT_THAT(m_locator.calls(), ElementsAre("add activator of bank-orb", "add Bank as bank-orb",
                                             "add Bank/Accounts as bank-orb", "add Bank/Audit as bank-orb"));
}

TEST_F(LocatorRegistrationTest, gives_a_poa_that_is_up_as_it_is) {
  const auto server = registration();
  int setups = 0;
  const auto setup = [&setups](PortableServer::POA_ptr) { ++setups; };
  PortableServer::POA_var first = server->create_poa("Bank", {}, setup);
  PortableServer::POA_var second = server->create_poa("Bank", {}, setup);
  EXPECT_TRUE(first->_is_equivalent(second));
  EXPECT_EQ(setups, 1);
}

TEST_F(LocatorRegistrationTest, cannot_make_an_upper_level_anything_else_later) {
  const auto server = registration();
  create(*server, "Bank/Accounts");
  EXPECT_THAT(error_of([&] { create(*server, "Bank"); }), HasSubstr("create it first"));
}

TEST_F(LocatorRegistrationTest, sets_a_poa_up_before_the_locator_learns_of_it) {
  const auto server = registration();
  std::vector<std::string> before;
  PortableServer::POA_var poa =
      server->create_poa("Bank", {}, [&](PortableServer::POA_ptr) { before = m_locator.registered(); });
  EXPECT_THAT(before, IsEmpty());
  EXPECT_THAT(m_locator.registered(), ElementsAre("Bank"));
}

TEST_F(LocatorRegistrationTest, makes_persistent_poas_with_user_ids_and_the_policies_given) {
  const auto server = registration();
  CORBA::PolicyList policies;
  policies.length(1);
  policies[0] = test_orb::root_poa()->create_id_uniqueness_policy(PortableServer::MULTIPLE_ID);
  PortableServer::POA_var poa = server->create_poa("Bank", policies, {});
  EXPECT_THROW(poa->create_reference("IDL:A:1.0"), PortableServer::POA::WrongPolicy);  // not SYSTEM_ID
  const CORBA::Object_var prototype = m_locator.prototype("Bank");
  const PoaLocator::Octets key = PoaLocator::key_of(prototype);
  PortableServer::ObjectId_var id = PortableServer::string_to_ObjectId("alice");
  const CORBA::Object_var alice = poa->create_reference_with_id(id, "IDL:A:1.0");
  const PoaLocator::Octets rest = PoaLocator::rest_after(key, PoaLocator::key_of(alice));
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(rest.get_buffer()), rest.length()), "alice");
}

TEST_F(LocatorRegistrationTest, mints_references_through_the_locator) {
  const auto server = registration();
  create(*server, "Bank/Accounts");
  const CORBA::Object_var alice = server->mint("Bank/Accounts", "alice", "IDL:Bank/Account:1.0");
  const PoaLocator::Octets rest =
      PoaLocator::rest_after(PoaLocator::endpoint_id_of("poalocator", "Bank/Accounts"), PoaLocator::key_of(alice));
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(rest.get_buffer()), rest.length()), "alice");
  const CORBA::String_var text = test_orb::orb()->object_to_string(alice);
  EXPECT_THAT(text.in(), HasSubstr("49444c3a42616e6b2f4163636f756e743a312e30"));  // IDL:Bank/Account:1.0
}

TEST_F(LocatorRegistrationTest, mints_the_same_references_at_every_start) {
  std::vector<std::string> references;
  for (int start = 0; start < 2; ++start) {
    const auto server = registration();
    create(*server, "Bank");
    const CORBA::Object_var alice = server->mint("Bank", "alice", "IDL:Bank/Account:1.0");
    const CORBA::String_var text = test_orb::orb()->object_to_string(alice);
    references.push_back(text.in());
    server->leave();
    PortableServer::POA_var poa = test_orb::root_poa()->find_POA("Bank", false);
    poa->destroy(true, true);
  }
  EXPECT_EQ(references[0], references[1]);
}

TEST_F(LocatorRegistrationTest, mints_only_for_poas_that_are_registered) {
  m_locator.refuse("Shared", FakeLocator::Refusal::OTHER_ORB);
  const auto server = registration();
  create(*server, "Shared/Mine");
  EXPECT_THAT(error_of([&] { server->mint("Shared", "x", ""); }), HasSubstr("create it before its references"));
  EXPECT_THAT(error_of([&] { server->mint("Unknown", "x", ""); }), HasSubstr("create it before its references"));
  EXPECT_EQ(error_of([&] { CORBA::Object_var object = server->mint("Shared/Mine", "x", ""); }), "no error");
}

TEST_F(LocatorRegistrationTest, tells_what_to_do_about_each_refusal) {
  const auto server = registration();
  const std::vector<std::pair<FakeLocator::Refusal, std::string>> cases{
      {FakeLocator::Refusal::OTHER_ORB, "start this server under that ORB name"},
      {FakeLocator::Refusal::NO_ENTRY, "register the POA above first"},
      {FakeLocator::Refusal::NOT_ALLOWED, "add the entry or allow it there"}};
  for (const auto& [refusal, advice] : cases) {
    m_locator.refuse("Bank", refusal);
    EXPECT_THAT(error_of([&] { create(*server, "Bank"); }), HasSubstr(advice));
    EXPECT_THROW(test_orb::root_poa()->find_POA("Bank", false), PortableServer::POA::AdapterNonExistent);
  }
  m_locator.refuse("Bank", FakeLocator::Refusal::NONE);
  EXPECT_EQ(error_of([&] { create(*server, "Bank"); }), "no error");
}

TEST_F(LocatorRegistrationTest, points_to_the_event_log_of_a_locator_that_fails) {
  const auto server = registration();
  m_locator.refuse("Bank", FakeLocator::Refusal::STORE);
  EXPECT_THAT(error_of([&] { create(*server, "Bank"); }), HasSubstr("PERSIST_STORE); its event log tells why"));
}

TEST_F(LocatorRegistrationTest, keeps_a_poa_up_of_which_it_does_not_know_whether_it_is_registered) {
  for (const auto silence : {FakeLocator::Refusal::SILENCE, FakeLocator::Refusal::LOST_ANSWER}) {
    const std::string path = silence == FakeLocator::Refusal::SILENCE ? "Silent" : "Lost";
    const auto server = registration();
    m_locator.refuse(path, silence);
    EXPECT_THAT(error_of([&] { create(*server, path); }), HasSubstr("does not answer"));
    PortableServer::POA_var poa = test_orb::root_poa()->find_POA(path.c_str(), false);
    EXPECT_FALSE(CORBA::is_nil(poa));
    EXPECT_THAT(error_of([&] { server->mint(path, "alice", ""); }), HasSubstr("create it before its references"));

    m_locator.refuse(path, FakeLocator::Refusal::NONE);
    create(*server, path);
    EXPECT_THAT(m_locator.registered(), ElementsAre(path));
    EXPECT_EQ(error_of([&] { CORBA::Object_var object = server->mint(path, "alice", ""); }), "no error");
    server->leave();
    EXPECT_THAT(m_locator.registered(), IsEmpty());
  }
}

TEST_F(LocatorRegistrationTest, removes_when_it_leaves_what_may_be_registered) {
  m_locator.refuse("Bank", FakeLocator::Refusal::LOST_ANSWER);
  const auto server = registration();
  EXPECT_THAT(error_of([&] { create(*server, "Bank"); }), HasSubstr("does not answer"));
  EXPECT_THAT(m_locator.registered(), ElementsAre("Bank"));
  server->leave();
  EXPECT_THAT(m_locator.registered(), IsEmpty());
}

TEST_F(LocatorRegistrationTest, registers_what_is_pending_when_the_locator_answers_again) {
  m_options.watch_interval = 2ms;
  m_locator.refuse("Bank", FakeLocator::Refusal::SILENCE);
  const auto server = registration();
  EXPECT_THAT(error_of([&] { create(*server, "Bank"); }), HasSubstr("does not answer"));
  m_locator.refuse("Bank", FakeLocator::Refusal::NONE);
  EXPECT_TRUE(wait_until([this] { return !m_locator.registered().empty(); }));
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

TEST_F(LocatorRegistrationTest, is_refused_what_a_living_server_has) {
  const auto server = registration();
  create(*server, "Bank");
  PortableServer::POA_var poa = test_orb::root_poa()->find_POA("Bank", false);
  poa->destroy(true, true);
  m_options.orb_name = "other-orb";
  const auto other = registration();
  EXPECT_THAT(error_of([&] { create(*other, "Bank"); }), HasSubstr("stop that one first"));
}

TEST_F(LocatorRegistrationTest, lets_setup_fail_without_a_trace) {
  const auto server = registration();
  EXPECT_THROW(server->create_poa("Bank", {}, [](PortableServer::POA_ptr) { throw std::logic_error("setup"); }),
               std::logic_error);
  EXPECT_THAT(m_locator.registered(), IsEmpty());
  EXPECT_EQ(error_of([&] { create(*server, "Bank"); }), "no error");
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

TEST(LocatorConnection, needs_an_address_that_is_one) {
  LocatorOptions options;
  options.url = "localhost:2809";
  options.orb_name = "bank-orb";
  EXPECT_THAT(error_of([&] { LocatorRegistration(test_orb::orb(), options, {}); }), HasSubstr("corbaloc::HOST:PORT"));
}

TEST(LocatorConnection, needs_a_locator_at_the_address) {
  LocatorOptions options;
  options.orb_name = "bank-orb";
  options.url = "corbaloc::127.0.0.1:1";
  EXPECT_THAT(error_of([&] { LocatorRegistration(test_orb::orb(), options, {}); }), HasSubstr("does not answer"));
  options.url = test_orb::url();
  EXPECT_THAT(error_of([&] { LocatorRegistration(test_orb::orb(), options, {}); }),
              HasSubstr("has no EndpointRegistry"));
}

TEST(LocatorConnection, gives_up_on_a_locator_that_keeps_silent) {
  const int listener = socket(AF_INET, SOCK_STREAM, 0);
  ASSERT_GE(listener, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), size), 0);
  ASSERT_EQ(listen(listener, 1), 0);
  ASSERT_EQ(getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size), 0);

  LocatorOptions options;
  options.orb_name = "bank-orb";
  options.url = "corbaloc::127.0.0.1:" + std::to_string(ntohs(address.sin_port));
  options.call_timeout = 50ms;
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_THAT(error_of([&] { LocatorRegistration(test_orb::orb(), options, {}); }), HasSubstr("does not answer"));
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 10s);
  close(listener);
}

}  // namespace
