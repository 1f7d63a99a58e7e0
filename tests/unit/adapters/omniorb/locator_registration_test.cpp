#include "tests/unit/adapters/omniorb/locator_registration_test.h"

#include <stdexcept>

#include "adapters/omniorb/endpoint_id.h"
#include "adapters/omniorb/reference_key.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

TEST_F(LocatorRegistrationTest, registers_for_activation_at_its_start) {
  const auto server = registration();
  EXPECT_THAT(m_locator.calls(), ElementsAre("add activator of bank-orb"));
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

TEST_F(LocatorRegistrationTest, is_refused_what_a_living_server_has) {
  const auto other = other_server_with("Bank");
  const auto server = registration();
  EXPECT_THAT(error_of([&] { create(*server, "Bank"); }), HasSubstr("stop that one first"));
}

TEST_F(LocatorRegistrationTest, leaves_a_living_server_registered_that_came_first_while_the_locator_was_silent) {
  const auto other = other_server_with("Bank");
  const auto server = registration();
  m_locator.refuse("Bank", FakeLocator::Refusal::SILENCE);
  EXPECT_THAT(error_of([&] { create(*server, "Bank"); }), HasSubstr("does not answer"));
  m_locator.refuse("Bank", FakeLocator::Refusal::NONE);
  EXPECT_THAT(error_of([&] { create(*server, "Bank"); }), HasSubstr("stop that one first"));
  server->leave();
  EXPECT_THAT(m_locator.calls(), ::testing::Not(::testing::Contains("remove Bank")));
  EXPECT_THAT(m_locator.registered(), ElementsAre("Bank"));
}

TEST_F(LocatorRegistrationTest, lets_setup_fail_without_a_trace) {
  const auto server = registration();
  EXPECT_THROW(server->create_poa("Bank", {}, [](PortableServer::POA_ptr) { throw std::logic_error("setup"); }),
               std::logic_error);
  EXPECT_THAT(m_locator.registered(), IsEmpty());
  EXPECT_EQ(error_of([&] { create(*server, "Bank"); }), "no error");
}

}  // namespace
