// The orderly end of the daemon.
#include <signal.h>

#include <atomic>
#include <future>
#include <memory>

#include "tests/system/daemon/daemon_test.h"

namespace {

using support::GiopClient;

// Shared with calls that may outlive the test's body.
class Hang {
 public:
  void enter() {
    m_entered = true;
    m_released.get_future().wait();
  }
  bool entered() const { return m_entered; }
  void release() { m_released.set_value(); }

 private:
  std::atomic<bool> m_entered = false;
  std::promise<void> m_released;
};

class ShutdownTest : public DaemonTest {
 protected:
  void SetUp() override { m_locator.start(); }
};

TEST_F(ShutdownTest, IdleDaemonEndsWell) {
  m_locator.terminate();
}

TEST_F(ShutdownTest, EveryClientIsToldThatItsRequestsWereNotProcessed) {
  m_server.register_and_leave({"Bank"});
  m_server.add_activator([](const std::vector<support::Octets>&) {});
  std::vector<GiopClient> waiting;
  for (int i = 0; i < 20; ++i) {
    waiting.push_back(connect());
    support::RequestSpec spec = spec_for(m_server, "Bank");
    spec.dialect.minor = static_cast<unsigned>(i % 3);
    waiting.back().send(i % 2 == 0 ? request(spec) : locate_request(spec));
  }
  // A stranger that has been answered, and one that has never said a word.
  GiopClient answered = connect();
  support::RequestSpec name;
  name.key = support::octets_of("EndpointRegistry");
  answered.call(request(name));
  m_locator.request_termination();
  EXPECT_EQ(answered.receive().type(), support::CLOSE_CONNECTION);
  EXPECT_TRUE(answered.wait_for_end());
  for (GiopClient& client : waiting) {
    EXPECT_EQ(client.receive().type(), support::CLOSE_CONNECTION);
    EXPECT_TRUE(client.wait_for_end());
  }
  EXPECT_EQ(m_locator.wait_for_exit(), 0);
}

TEST_F(ShutdownTest, ClientThatNeitherReadsNorClosesDoesNotHoldTheDaemonUp) {
  m_server.add("Bank");
  GiopClient client = connect();
  client.send(support::octets_of("GIOP"));
  m_locator.terminate();
}

TEST_F(ShutdownTest, ActivatorThatHangsDoesNotHoldTheDaemonUpForLong) {
  m_locator.terminate();
  m_locator.config().set("orb_endpoint", "activate_time_limit", "1");
  m_locator.start();
  const auto hang = std::make_shared<Hang>();
  m_server.register_and_leave({"Bank"});
  m_server.add_activator([hang](const std::vector<support::Octets>&) { hang->enter(); });
  GiopClient client = connect();
  client.send(request(spec_for(m_server, "Bank")));
  EXPECT_TRUE(support::wait_until([&] { return hang->entered(); }));
  m_locator.terminate();
  hang->release();
}

TEST_F(ShutdownTest, ServerThatHangsCostsNoMoreThanTheStopTimeLimit) {
  m_locator.terminate();
  m_locator.config().set("orb_endpoint", "activate_time_limit", "1000");
  m_locator.config().set("locator", "stop_time_limit", "0.5");
  m_locator.start();
  const auto hang = std::make_shared<Hang>();
  m_server.register_and_leave({"Bank"});
  m_server.add("Active");
  m_server.add_activator([hang](const std::vector<support::Octets>&) { hang->enter(); });
  GiopClient client = connect();
  client.send(request(spec_for(m_server, "Bank")));
  ASSERT_TRUE(support::wait_until([&] { return hang->entered(); }));
  m_locator.terminate();
  EXPECT_TRUE(m_locator.log().wait_for([](const support::Event& event) {
    return event.subsystem == "QZ_HOST" && event.id == 15 && event.parameters == std::vector<std::string>{"0.5"};
  }));
  hang->release();
  m_locator.start();
  EXPECT_TRUE(is_active(m_server, "Active"));
}

TEST_F(ShutdownTest, NobodyIsServedAfterTheEnd) {
  m_locator.terminate();
  EXPECT_THROW(connect(), std::runtime_error);
}

TEST_F(ShutdownTest, SecondRequestEndsADaemonThatIsHeldUp) {
  m_locator.terminate();
  m_locator.config().set("locator", "stop_time_limit", "1000");
  m_locator.start();
  const auto hang = std::make_shared<Hang>();
  m_server.register_and_leave({"Bank"});
  m_server.add_activator([hang](const std::vector<support::Octets>&) { hang->enter(); });
  GiopClient client = connect();
  client.send(request(spec_for(m_server, "Bank")));
  ASSERT_TRUE(support::wait_until([&] { return hang->entered(); }));
  m_locator.request_termination();
  EXPECT_EQ(client.receive().type(), support::CLOSE_CONNECTION);
  m_locator.request_termination();
  EXPECT_EQ(m_locator.wait_for_exit(), 128 + SIGTERM);
  hang->release();
}

}  // namespace
