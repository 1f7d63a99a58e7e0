#include "tests/system/hostile/hostile_test.h"

void HostileTest::SetUp() {
  m_locator.count_freed_memory_as_free();
  m_locator.config().set("front_door", "log_interval", "0");
  // A connection of the daemon's own, to ask a server whether it lives, would count among its files.
  m_locator.config().set("liveness", "interval", "0");
}

void HostileTest::start(const std::map<std::string, std::string>& limits) {
  for (const auto& [key, value] : limits) m_locator.config().set("front_door", key, value);
  m_locator.start();
  m_server.add("Bank");
}

support::GiopClient HostileTest::connect_from(const std::string& address) const {
  return support::GiopClient(m_locator.host(), support::Locator::FRONT_DOOR, {.from = address});
}

bool HostileTest::files_return_to(std::size_t before) const {
  return support::wait_until([&] { return files() <= before; });
}

void HostileTest::expect_forwards() {
  support::GiopClient client = connect();
  EXPECT_TRUE(is_forward_to_server(client.call(request(spec_for("Bank", 1))), "Bank"));
  EXPECT_TRUE(is_forward_to_server(client.call(locate_request(spec_for("Bank", 2))), "Bank"));
}

void HostileTest::expect_counted(const char* counter, std::uint64_t least) {
  EXPECT_TRUE(support::wait_until([&] { return support::Counters(m_locator)[counter] >= least; })) << counter;
}

void HostileTest::expect_logged(FrontDoorEvent id, const std::string& peer, const std::string& what) {
  EXPECT_TRUE(m_locator.log().wait_for([&](const support::Event& event) {
    return event.subsystem == "QZ_FRONT_DOOR" && event.id == id && event.parameters.size() >= 2 &&
           event.parameters[0] == peer && event.parameters[1] == what;
  })) << "no event "
      << id << " of " << peer << ", " << what;
}

void HostileTest::expect_ended(support::GiopClient& client, support::MessageType how) {
  EXPECT_EQ(client.receive().type(), how);
  EXPECT_TRUE(client.wait_for_end());
}
