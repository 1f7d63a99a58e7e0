// Who is admitted where.
#include "tests/support/giop_reply.h"
#include "tests/system/admin/active_test.h"

namespace {

using support::GiopClient;
using support::Octets;

const Words SERVER_NAMES{"EndpointRegistry", "EndpointActivatorRegistry"};
const Words ADMINISTRATOR_NAMES{QZ_POAIMRAdmin::POA_REGISTRY,
                                QZ_POALocatorAdmin::ACTIVE_POA_REGISTRY,
                                QZ_IMRAdmin::PROCESS_REGISTRY,
                                QZ_IMRAdmin::ORB_REGISTRY,
                                QZ_IMRAdmin::REPOSITORY_ADMIN,
                                QZ_LocatorAdmin::LOCATOR_ADMIN,
                                QZ_LocatorAdmin::ACTIVE_PROCESS_REGISTRY,
                                QZ_LocatorAdmin::ACTIVE_ORB_REGISTRY};

// Both the front door and the ORB endpoint listen twice: for everybody, and for servers.
class AccessTest : public ActiveTest {
 protected:
  static constexpr int SERVERS_FRONT_DOOR = 3809;
  static constexpr int SERVERS_ORB = 3810;
  static constexpr std::uint32_t ALTERNATE_ADDRESS = 3;  // TAG_ALTERNATE_IIOP_ADDRESS

  void SetUp() override {
    m_locator.config().set("front_door", "listen", listeners(2809, SERVERS_FRONT_DOOR));
    m_locator.config().set("orb_endpoint", "listen", listeners(2810, SERVERS_ORB));
    m_locator.start();
  }
  std::string listeners(int everybody, int servers) const {
    const auto address = [&](int port) { return m_locator.host() + ":" + std::to_string(port); };
    return "[\"" + address(everybody) + "\", { address = \"" + address(servers) + "\", roles = [\"server\"] }]";
  }

  support::Reply call(int port, const Octets& key, const std::string& operation = "_non_existent") const {
    support::RequestSpec spec;
    spec.key = key;
    spec.operation = operation;
    return GiopClient(m_locator.host(), port).call(request(spec));
  }
  support::Reply locate(int port, const std::string& name) const {
    support::RequestSpec spec;
    spec.key = support::octets_of(name);
    return GiopClient(m_locator.host(), port).call(locate_request(spec));
  }
  // The reference to which that name leads.
  support::ForwardedReference target(const std::string& name) const {
    return call(support::Locator::FRONT_DOOR, support::octets_of(name)).forward.value();
  }
  // Keys of administration objects of every kind.
  std::vector<Octets> administration_keys() const {
    std::vector<Octets> result;
    for (const auto& name : ADMINISTRATOR_NAMES) result.push_back(target(name).key);
    const auto add = [&](CORBA::Object_ptr object) {
      const CORBA::String_var text = support::corba_orb()->object_to_string(object);
      result.push_back(support::parse_stringified_reference(text.in()).key);
    };
    add(QZ_POAIMRAdmin::POA_var(poas()->root_namespace()));
    add(QZ_POALocatorAdmin::ActivePOA_var(active_poas()->find(full_name("Bank"))));
    add(QZ_LocatorAdmin::ActiveORB_var(active_orbs()->find("bank")));
    add(QZ_IMRAdmin::Process_var(add_process("process")));
    add(QZ_IMRAdmin::ORB_var(add_orb("orb")));
    add(QZ_LocatorAdmin::ActiveProcess_var(active_processes()->find("process")));
    return result;
  }

  support::FakeServer m_server{m_locator, "bank"};
};

TEST_F(AccessTest, NamesAreToldToWhoMayUseThem) {
  for (const auto& name : SERVER_NAMES)
    for (const int port : {support::Locator::FRONT_DOOR, SERVERS_FRONT_DOOR}) {
      EXPECT_TRUE(call(port, support::octets_of(name)).forward) << name << " at " << port;
      EXPECT_TRUE(locate(port, name).forward) << name << " at " << port;
    }
  for (const auto& name : ADMINISTRATOR_NAMES) {
    EXPECT_TRUE(call(support::Locator::FRONT_DOOR, support::octets_of(name)).forward) << name;
    EXPECT_TRUE(support::is_object_not_exist(call(SERVERS_FRONT_DOOR, support::octets_of(name)))) << name;
    EXPECT_EQ(locate(SERVERS_FRONT_DOOR, name).status, support::UNKNOWN_OBJECT) << name;
  }
}

TEST_F(AccessTest, HandMadeReferencesToTheAdministrationGetNowhere) {
  m_server.add("Bank");
  for (const auto& key : administration_keys()) {
    EXPECT_EQ(call(support::Locator::ORB_ENDPOINT, key).status, support::NO_EXCEPTION);
    EXPECT_TRUE(support::is_object_not_exist(call(SERVERS_ORB, key)));
    for (const int front_door : {support::Locator::FRONT_DOOR, SERVERS_FRONT_DOOR})
      EXPECT_TRUE(support::is_object_not_exist(call(front_door, key)));
  }
}

TEST_F(AccessTest, EveryKindOfRequestIsAnsweredAsIfThereWereNoSuchObject) {
  const auto answers = [&](const Octets& key) {
    Words result;
    for (const auto& spec : support::every_kind_of_request(key)) {
      const auto reply = GiopClient(m_locator.host(), SERVERS_ORB).call(request(spec));
      result.push_back(name_of(spec) + ": " + (reply.exception ? reply.exception->id : "answered"));
      // omniORB takes no other address than the key.
      if (spec.address == support::Address::KEY) EXPECT_TRUE(support::is_object_not_exist(reply)) << name_of(spec);
    }
    return result;
  };
  EXPECT_EQ(answers(target(QZ_POAIMRAdmin::POA_REGISTRY).key), answers(support::octets_of("nobody")));
}

TEST_F(AccessTest, ARefusalLeavesTheConnectionAsItWas) {
  m_server.add("Bank");
  GiopClient client(m_locator.host(), SERVERS_ORB);
  support::RequestSpec refused;
  refused.key = target(QZ_POAIMRAdmin::POA_REGISTRY).key;
  refused.operation = "find";
  refused.body = Octets(4000, 0);
  support::RequestSpec served;
  served.key = target("EndpointRegistry").key;
  served.operation = "_non_existent";
  for (std::uint32_t id = 1; id <= 10; id += 2) {
    refused.id = id;
    served.id = id + 1;
    EXPECT_TRUE(support::is_object_not_exist(client.call(request(refused))));
    const auto reply = client.call(request(served));
    EXPECT_EQ(reply.id, served.id);
    EXPECT_EQ(reply.status, support::NO_EXCEPTION);
  }
}

TEST_F(AccessTest, ServersRegisterThroughTheirOwnAddresses) {
  const auto object = support::corba_orb()->string_to_object(
      ("corbaloc::" + m_locator.host() + ":" + std::to_string(SERVERS_FRONT_DOOR) + "/EndpointRegistry").c_str());
  const CORBA::Object_var keep = object;
  EXPECT_FALSE(object->_non_existent());
  EXPECT_EQ(m_server.add("Bank"), 1U);
  EXPECT_EQ(call(SERVERS_ORB, target("EndpointRegistry").key).status, support::NO_EXCEPTION);
}

TEST_F(AccessTest, ObjectsOfServersAreForClients) {
  m_server.add("Bank");
  EXPECT_TRUE(call(support::Locator::FRONT_DOOR, m_server.key_of("Bank")).forward);
  EXPECT_TRUE(support::is_object_not_exist(call(SERVERS_FRONT_DOOR, m_server.key_of("Bank"))));
}

TEST_F(AccessTest, ReferencesCarryAddressesOfListenersThatAdmitTheirUsers) {
  // All are loopback addresses here, so that all are told.
  const auto for_servers = target("EndpointRegistry");
  EXPECT_EQ(for_servers.host, m_locator.host());
  EXPECT_THAT(for_servers.component_tags, testing::Contains(ALTERNATE_ADDRESS));
  const auto for_administrators = target(QZ_POAIMRAdmin::POA_REGISTRY);
  EXPECT_EQ(for_administrators.port, static_cast<unsigned>(support::Locator::ORB_ENDPOINT));
  EXPECT_THAT(for_administrators.component_tags, testing::Not(testing::Contains(ALTERNATE_ADDRESS)));
}

TEST_F(AccessTest, PersistentReferencesCarryAddressesOfListenersThatAdmitClients) {
  m_locator.terminate();
  m_locator.config().set("front_door", "listen",
                         "[{ address = \"" + m_locator.host() + ":" + std::to_string(SERVERS_FRONT_DOOR) +
                             "\", roles = [\"server\", \"administrator\"] }, \"" + m_locator.host() + ":2809\"]");
  m_locator.start();
  m_server.add("Bank");
  const CORBA::Object_var object = m_server.locator_reference();
  const CORBA::String_var text = support::corba_orb()->object_to_string(object);
  const auto reference = support::parse_stringified_reference(text.in());
  EXPECT_EQ(reference.port, static_cast<unsigned>(support::Locator::FRONT_DOOR));
  EXPECT_THAT(reference.component_tags, testing::Not(testing::Contains(ALTERNATE_ADDRESS)));
}

TEST_F(AccessTest, AListenerForAdministratorsServesNoServers) {
  m_locator.terminate();
  m_locator.config().set("orb_endpoint", "listen",
                         "[{ address = \"" + m_locator.host() +
                             ":2810\", roles = [\"administrator\"] }, { address = \"" + m_locator.host() +
                             ":3810\", roles = [\"server\"] }]");
  m_locator.start();
  const auto registry = target("EndpointRegistry");
  EXPECT_EQ(registry.port, static_cast<unsigned>(SERVERS_ORB));
  EXPECT_TRUE(support::is_object_not_exist(call(support::Locator::ORB_ENDPOINT, registry.key)));
  EXPECT_EQ(call(SERVERS_ORB, registry.key).status, support::NO_EXCEPTION);
  EXPECT_EQ(m_server.add("Bank"), 1U);
  EXPECT_EQ(active_poas()->number_of_entries(), 1U);
}

TEST_F(AccessTest, OneListenerMayBeForServersAlone) {
  m_locator.terminate();
  m_locator.config().set("orb_endpoint", "listen",
                         "[{ address = \"" + m_locator.host() + ":2810\", roles = [\"server\"] }]");
  m_locator.start();
  EXPECT_EQ(m_server.add("Bank"), 1U);
  EXPECT_TRUE(
      support::is_object_not_exist(call(support::Locator::ORB_ENDPOINT, target(QZ_POAIMRAdmin::POA_REGISTRY).key)));
}

}  // namespace
