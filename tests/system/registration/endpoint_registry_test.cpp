// Registration of POAs: what is accepted, what is refused with which exception, and what is left afterwards.
#include "tests/system/registration/registration_test.h"

#include <poa_imr_admin.hh>

namespace {

using QZ_POA_PersistentServer::EndpointRegistry;
using support::FakeServer;
using support::Octets;
using support::octets_of;
using support::operator+;

class EndpointRegistryTest : public RegistrationTest {
 protected:
  QZ_POAIMRAdmin::POA_var entry(const std::string& path) const {
    QZ_POAIMRAdmin::FullyQualifiedName name;
    for (const std::string& part : support::split_path(path)) {
      name.length(name.length() + 1);
      name[name.length() - 1] = part.c_str();
    }
    return support::resolve<QZ_POAIMRAdmin::POARegistry>(m_locator, "POARegistry")->find(name);
  }

  // Calls add with the arguments as they are.
  void add(const std::string& orb_name, const Octets& id, CORBA::Object_ptr prototype,
           QZ_POA_PersistentServer::EndpointDynamicState_ptr state) const {
    CORBA::Object_var reference;
    CORBA::ULong number = 0;
    endpoint_registry()->add(orb_name.c_str(), support::octet_seq(id), prototype, state, reference.out(), number);
  }
};

TEST_F(EndpointRegistryTest, RegisteredPoaIsFoundAndLogged) {
  EXPECT_EQ(m_server.add("Bank"), 1U);
  EXPECT_TRUE(is_active(m_server, "Bank"));
  EXPECT_TRUE(m_locator.log().wait_for(8, {"Bank", "server"}));
  EXPECT_TRUE(m_locator.log().wait_for(4, {"Bank"}));
}

TEST_F(EndpointRegistryTest, ReturnedReferenceIsThePoasPrefixAtTheLocator) {
  m_server.add("Bank");
  const CORBA::String_var text =
      support::corba_orb()->object_to_string(CORBA::Object_var(m_server.locator_reference()));
  const support::ForwardedReference reference = support::parse_stringified_reference(text.in());
  EXPECT_EQ(reference.type_id, "");
  EXPECT_EQ(reference.host, m_locator.host());
  EXPECT_EQ(reference.port, unsigned{support::Locator::FRONT_DOOR});
  EXPECT_EQ(reference.key, m_server.id_of("Bank"));
}

TEST_F(EndpointRegistryTest, EachRegistrationGetsTheNextNumber) {
  for (CORBA::ULong number = 1; number <= 3; ++number) {
    EXPECT_EQ(m_server.add("Bank"), number);
    m_server.remove("Bank");
  }
  EXPECT_EQ(m_server.add("Audit"), 1U);
}

TEST_F(EndpointRegistryTest, SecondRegistrationOfALivingServerIsRefused) {
  EXPECT_EQ(m_server.add("Bank"), 1U);
  const auto refusal = raised_by<EndpointRegistry::EntryAlreadyExists>([&] { m_server.add("Bank"); });
  ASSERT_TRUE(refusal);
  EXPECT_EQ(support::octets_of(refusal->id), m_server.id_of("Bank"));
  EXPECT_TRUE(is_active(m_server, "Bank"));
  // The refused call took no number.
  m_server.remove("Bank");
  EXPECT_EQ(m_server.add("Bank"), 2U);
}

TEST_F(EndpointRegistryTest, RegistrationOfAServerThatNoLongerAnswersIsReplaced) {
  EXPECT_EQ(m_server.add("Bank"), 1U);
  m_server.crash("Bank");
  EXPECT_EQ(m_server.add("Bank"), 2U);
  EXPECT_TRUE(is_active(m_server, "Bank"));
  m_server.crash("Bank");
  EXPECT_EQ(m_server.add("Bank"), 3U);
}

TEST_F(EndpointRegistryTest, AnotherOrbMayNotRegisterAnActivePoa) {
  m_server.add("Bank");
  const auto refusal = raised_by<EndpointRegistry::InvalidOrbName>([&] { m_other.add("Bank"); });
  ASSERT_TRUE(refusal);
  EXPECT_STREQ(refusal->orb_name, "other");
  EXPECT_TRUE(is_active(m_server, "Bank"));
}

TEST_F(EndpointRegistryTest, AnotherOrbMayNotRegisterAKnownPoaThatDoesNotRun) {
  m_server.register_and_leave({"Bank"});
  const auto refusal = raised_by<EndpointRegistry::InvalidOrbName>([&] { m_other.add("Bank"); });
  ASSERT_TRUE(refusal);
  EXPECT_STREQ(refusal->orb_name, "other");
  // It left nothing behind: neither an active POA nor an active ORB.
  EXPECT_TRUE(support::is_exception(call(m_server.key_of("Bank")), "TRANSIENT", support::minor_code(0)));
  EXPECT_THROW(m_other.remove_activator(), QZ_POA_PersistentServer::EndpointActivatorRegistry::EntryNotExist);
  EXPECT_EQ(m_server.add("Bank"), 2U);
}

TEST_F(EndpointRegistryTest, AnotherOrbMayNotRegisterBelowAPersistentPoa) {
  m_server.add("Bank");
  const auto refusal = raised_by<EndpointRegistry::InvalidOrbName>([&] { m_other.add("Bank/Accounts"); });
  ASSERT_TRUE(refusal);
  EXPECT_STREQ(refusal->orb_name, "other");
  EXPECT_TRUE(is_unknown(m_server, "Bank/Accounts"));
  EXPECT_EQ(m_server.add("Bank/Accounts"), 1U);
}

TEST_F(EndpointRegistryTest, PoaBelowAnUnknownOneIsRefused) {
  const auto refusal = raised_by<EndpointRegistry::EntryNotExist>([&] { m_server.add("Bank/Accounts"); });
  ASSERT_TRUE(refusal);
  EXPECT_EQ(support::octets_of(refusal->id), m_server.id_of("Bank"));
  EXPECT_TRUE(is_unknown(m_server, "Bank/Accounts"));
  EXPECT_TRUE(is_unknown(m_server, "Bank"));
}

TEST_F(EndpointRegistryTest, PoaBelowOneThatForbidsItIsRefused) {
  m_server.add("Bank");
  m_server.add("Bank/Accounts");
  m_server.remove("Bank/Accounts");
  entry("Bank")->allow_dynamic_registration(false);
  const auto refusal = raised_by<EndpointRegistry::DynamicRegistrationNotAllowed>([&] { m_server.add("Bank/Audit"); });
  ASSERT_TRUE(refusal);
  EXPECT_EQ(support::octets_of(refusal->id), m_server.id_of("Bank/Audit"));
  EXPECT_TRUE(is_unknown(m_server, "Bank/Audit"));
  // One that is known already needs no permission.
  EXPECT_EQ(m_server.add("Bank/Accounts"), 2U);
}

TEST_F(EndpointRegistryTest, TransientEntryIsNoPoaForClientsUntilAServerRegistersIt) {
  QZ_POAIMRAdmin::POA_var root =
      support::resolve<QZ_POAIMRAdmin::POARegistry>(m_locator, "POARegistry")->root_namespace();
  const QZ_POAIMRAdmin::POA_var space = root->add("Space", false, true, "");
  EXPECT_TRUE(is_unknown(m_server, "Space"));
  // Below a namespace any ORB may register.
  EXPECT_EQ(m_server.add("Space/Mine"), 1U);
  EXPECT_EQ(m_other.add("Space/Theirs"), 1U);
}

TEST_F(EndpointRegistryTest, PersistentEntryWithoutAnOrbTakesAnyServer) {
  QZ_POAIMRAdmin::POA_var root =
      support::resolve<QZ_POAIMRAdmin::POARegistry>(m_locator, "POARegistry")->root_namespace();
  const QZ_POAIMRAdmin::POA_var entry = root->add("Free", true, true, "");
  EXPECT_TRUE(support::is_exception(call(m_server.key_of("Free")), "TRANSIENT", support::minor_code(0)));
  EXPECT_EQ(m_other.add("Free"), 1U);
  EXPECT_TRUE(is_active(m_other, "Free"));
}

TEST_F(EndpointRegistryTest, RemovedPoaIsNoLongerFoundAndLogged) {
  m_server.add("Bank");
  m_server.remove("Bank");
  EXPECT_TRUE(m_locator.log().wait_for(30, {"Bank"}));
  EXPECT_TRUE(m_locator.log().wait_for(5, {"Bank"}));
  EXPECT_TRUE(support::is_exception(call(m_server.key_of("Bank")), "TRANSIENT", support::minor_code(0)));
}

TEST_F(EndpointRegistryTest, RemovingWhatIsNotActiveIsNoError) {
  m_server.remove("Nobody");
  m_server.register_and_leave({"Bank"});
  m_server.remove("Bank");
  EXPECT_TRUE(m_locator.log().wait_for(5, {"Nobody"}));
  EXPECT_TRUE(m_locator.log().wait_for(5, {"Bank"}, 2));
  EXPECT_EQ(m_locator.log().count(45), 0U);
}

TEST_F(EndpointRegistryTest, AnyOrbMayRemoveAPoa) {
  m_server.add("Bank");
  m_other.remove("Bank");
  EXPECT_TRUE(support::is_exception(call(m_server.key_of("Bank")), "TRANSIENT", support::minor_code(0)));
}

TEST_F(EndpointRegistryTest, NamesOfAnyCharactersAreKeptApart) {
  const std::string names[] = {"name with blanks",     "N\xC3\xA4me", "it's",    "\"; drop table", "%0", "A", "a",
                               std::string(5000, 'x'), "line\nbreak", "\x01\x7F"};
  for (const std::string& name : names) EXPECT_EQ(m_server.add(name), 1U) << name;
  for (const std::string& name : names) {
    EXPECT_TRUE(is_active(m_server, name)) << name;
    EXPECT_TRUE(m_locator.log().wait_for(4, {name})) << name;
  }
}

TEST_F(EndpointRegistryTest, NameThatIsNoTextIsServedAndTheLogStaysReadable) {
  const std::string name = "\xFF\xFE\xC3";
  EXPECT_EQ(m_server.add(name), 1U);
  EXPECT_TRUE(is_active(m_server, name));
  EXPECT_TRUE(m_locator.log().wait_for(4));
}

TEST_F(EndpointRegistryTest, IdsThatAreNoneAreRefusedAndDoNoHarm) {
  const Octets good = m_server.id_of("Bank");
  const auto state = support::new_dynamic_state();
  const CORBA::Object_var prototype = support::make_reference(FakeServer::HOST, FakeServer::PORT, octets_of("key"));
  const Octets bad[] = {{}, {0}, {0xFF, 0xFF, 0xFF, 0xFF}, octets_of("Bank"), Octets(good.begin(), good.end() - 1)};
  for (const Octets& id : bad) {
    EXPECT_THROW(add("server", id, prototype, state), CORBA::SystemException) << support::text_of(id);
    allow_refusal([&] { endpoint_registry()->remove("server", support::octet_seq(id)); });
  }
  EXPECT_EQ(m_server.add("Bank"), 1U);
  EXPECT_TRUE(is_active(m_server, "Bank"));
}

TEST_F(EndpointRegistryTest, IdOfAnotherDomainIsNotServed) {
  const Octets foreign = support::endpoint_id("elsewhere", {"Bank"});
  const auto state = support::new_dynamic_state();
  const CORBA::Object_var prototype = support::make_reference(FakeServer::HOST, FakeServer::PORT, octets_of("key"));
  allow_refusal([&] { add("server", foreign, prototype, state); });
  EXPECT_TRUE(support::is_object_not_exist(call(foreign + octets_of("object"))));
}

TEST_F(EndpointRegistryTest, RegistrationWithoutAPrototypeIsRefusedAndLeavesNothing) {
  const auto state = support::new_dynamic_state();
  EXPECT_THROW(add("server", m_server.id_of("Bank"), CORBA::Object::_nil(), state), CORBA::SystemException);
  EXPECT_EQ(m_server.add("Bank"), 1U);
  EXPECT_TRUE(is_active(m_server, "Bank"));
}

TEST_F(EndpointRegistryTest, RegistrationWithoutADynamicStateLeavesNoPoaThatCannotBeUsed) {
  const CORBA::Object_var prototype = support::make_reference(FakeServer::HOST, FakeServer::PORT, octets_of("key"));
  allow_refusal(
      [&] { add("server", m_server.id_of("Bank"), prototype, QZ_POA_PersistentServer::EndpointDynamicState::_nil()); });
  m_server.add("Bank");
  EXPECT_TRUE(is_active(m_server, "Bank"));
}

TEST_F(EndpointRegistryTest, ClientsAreAnsweredWhileManyPoasRegister) {
  m_server.add("Bank");
  support::GiopClient client = connect();
  for (int i = 0; i < 100; ++i) {
    m_server.add("Bank/" + std::to_string(i));
    EXPECT_TRUE(client.call(request(spec_for(m_server.key_of("Bank")))).forward);
  }
  for (int i = 0; i < 100; ++i) EXPECT_TRUE(is_active(m_server, "Bank/" + std::to_string(i)));
}

}  // namespace
