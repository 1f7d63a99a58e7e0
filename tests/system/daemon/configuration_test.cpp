// Configurations that cannot be used are refused with a message that says what is wrong.
#include "tests/system/daemon/daemon_test.h"

namespace {

using ::testing::HasSubstr;

class ConfigurationTest : public DaemonTest {
 protected:
  void expect_refused(const std::string& word) {
    EXPECT_NE(m_locator.start_and_fail(), 0);
    EXPECT_THAT(m_locator.standard_error(), HasSubstr(word));
  }
};

TEST_F(ConfigurationTest, UnknownKey) {
  m_locator.config().set("front_door", "lisen", "1");
  expect_refused("front_door.lisen");
}

TEST_F(ConfigurationTest, UnknownSection) {
  m_locator.config().set("frontdoor", "threads", "1");
  expect_refused("frontdoor");
}

TEST_F(ConfigurationTest, ValueOfAnotherType) {
  m_locator.config().set("front_door", "threads", "\"many\"");
  expect_refused("front_door.threads");
}

TEST_F(ConfigurationTest, ValueOutOfRange) {
  m_locator.config().set("front_door", "max_connections", "0");
  expect_refused("front_door.max_connections");
}

TEST_F(ConfigurationTest, AddressWithoutAPort) {
  m_locator.config().set("front_door", "listen", "[\"localhost\"]");
  expect_refused("front_door.listen");
}

TEST_F(ConfigurationTest, FileThatIsNotToml) {
  m_locator.config().append("[front_door\n");
  expect_refused(".toml");
}

TEST_F(ConfigurationTest, OrbOfAProcessThatIsNotThere) {
  m_locator.config().add_orb("bank", "nowhere");
  expect_refused("nowhere");
}

TEST_F(ConfigurationTest, TwoProcessesOfOneName) {
  m_locator.config().add_process({"bank", {"/bin/true"}, {}});
  m_locator.config().add_process({"bank", {"/bin/true"}, {}});
  expect_refused("bank");
}

TEST_F(ConfigurationTest, PlugInThatIsNotThere) {
  m_locator.config().set("plugins", "libraries", "[\"libnowhere.so\"]");
  expect_refused("libnowhere.so");
}

TEST_F(ConfigurationTest, StoreThatCannotBeOpened) {
  const std::string path = m_dir.file("no/such/folder/state.db");
  m_locator.config().set_text("store", "url", "sqlite://" + path);
  expect_refused(path);
}

TEST_F(ConfigurationTest, StoreOfAnUnknownKind) {
  m_locator.config().set_text("store", "url", "carddeck://drawer");
  expect_refused("carddeck");
}

TEST_F(ConfigurationTest, StoreThatIsNoDatabase) {
  support::write_file(m_dir.file("text.db"), std::string(5000, 'x'));
  m_locator.config().set_text("store", "url", "sqlite://" + m_dir.file("text.db"));
  expect_refused("text.db");
}

TEST_F(ConfigurationTest, PortThatIsTaken) {
  support::Locator other(m_dir, 1);
  other.start();
  m_locator.config().set("front_door", "listen", "[" + support::LocatorConfig::quoted(other.address()) + "]");
  expect_refused(other.address());
  other.terminate();
}

TEST_F(ConfigurationTest, OrbEndpointThatIsTaken) {
  support::Locator other(m_dir, 1);
  other.start();
  const std::string taken = other.host() + ":" + std::to_string(support::Locator::ORB_ENDPOINT);
  m_locator.config().set_text("orb_endpoint", "listen", taken);
  expect_refused(taken);
  other.terminate();
}

TEST_F(ConfigurationTest, EventLogThatCannotBeWritten) {
  support::write_file(m_dir.file("file"), "");
  const std::string path = m_dir.file("file/events");
  m_locator.config().set_text("event_log", "file", path);
  expect_refused(path);
}

TEST_F(ConfigurationTest, ProgramWithoutAUsableFileSaysSo) {
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"--config", m_dir.file("none.toml")}, {"--config"}, {"--no-such-option"}}) {
    support::ChildProcess::Spec spec;
    spec.argv = {support::program("poalocd")};
    spec.argv.insert(spec.argv.end(), arguments.begin(), arguments.end());
    spec.stderr_path = spec.stdout_path = m_dir.file("out" + std::to_string(arguments.size()) + arguments[0]);
    support::ChildProcess process(spec);
    const auto status = process.wait();
    ASSERT_TRUE(status);
    EXPECT_NE(*status, 0);
    EXPECT_THAT(support::read_file(spec.stderr_path), HasSubstr(arguments.back()));
  }
}

TEST_F(ConfigurationTest, TextLogHoldsTheMessagesWithTheirParameters) {
  m_locator.config().set_text("event_log", "format", "text");
  m_locator.start();
  m_server.add("Bank");
  EXPECT_TRUE(support::wait_until([&] {
    return support::read_file(m_locator.log().path()).find("POA registered. POA Name: Bank") != std::string::npos;
  }));
}

TEST_F(ConfigurationTest, EventsBelowTheLeastPriorityAreNotLogged) {
  m_locator.config().set_text("event_log", "min_priority", "warning");
  m_locator.start();
  m_server.add("Bank");
  support::FakeServer nobody(m_locator, "nobody");
  EXPECT_THROW(nobody.remove_activator(), QZ_POA_PersistentServer::EndpointActivatorRegistry::EntryNotExist);
  EXPECT_TRUE(m_locator.log().wait_for(13, {"nobody"}));
  for (const support::Event& event : m_locator.log().events()) EXPECT_GE(event.priority, 16U) << event.message;
}

TEST_F(ConfigurationTest, SeveralListenersServeTheSame) {
  const std::string second = m_locator.host() + ":3809";
  m_locator.config().set("front_door", "listen",
                         "[\"" + m_locator.address() + "\", { address = \"" + second + "\", roles = [\"client\", \"server\"] }]");
  m_locator.start();
  m_server.add("Bank");
  for (const int port : {2809, 3809}) {
    support::GiopClient client(m_locator.host(), port);
    EXPECT_TRUE(client.call(request(spec_for(m_server, "Bank"))).forward);
    support::RequestSpec name;
    name.key = support::octets_of("EndpointRegistry");
    EXPECT_TRUE(client.call(request(name)).forward);
    // The administration's names are told only to administrators.
    name.key = support::octets_of("POARegistry");
    EXPECT_EQ(client.call(request(name)).forward.has_value(), port == 2809);
  }
}

TEST_F(ConfigurationTest, ConnectionsBeyondTheLimitAreClosed) {
  m_locator.config().set("front_door", "max_connections_per_address", "3");
  m_locator.start();
  std::vector<support::GiopClient> clients;
  for (int i = 0; i < 3; ++i) clients.push_back(connect());
  support::RequestSpec name;
  name.key = support::octets_of("EndpointRegistry");
  for (support::GiopClient& client : clients) EXPECT_TRUE(client.call(request(name)).forward);
  EXPECT_TRUE(connect().wait_for_end());
  for (support::GiopClient& client : clients) EXPECT_TRUE(client.call(request(name)).forward);
  clients.pop_back();
  EXPECT_TRUE(support::wait_until([&] {
    try {
      return connect().call(request(name)).forward.has_value();
    } catch (const std::runtime_error&) {
      return false;
    }
  }));
}

TEST_F(ConfigurationTest, IdleAndSlowConnectionsAreClosed) {
  m_locator.config().set("front_door", "idle_time", "0.3");
  m_locator.config().set("front_door", "message_time", "0.3");
  m_locator.start();
  support::GiopClient idle = connect();
  support::GiopClient slow = connect();
  slow.send(support::octets_of("GIOP"));
  EXPECT_EQ(idle.receive().type(), support::CLOSE_CONNECTION);
  EXPECT_TRUE(idle.wait_for_end());
  try {
    slow.receive();
  } catch (const std::runtime_error&) {
  }
  EXPECT_TRUE(slow.wait_for_end());
}

}  // namespace
