// Servers live on while the locator is gone, and it finds them again, or finds that they have gone too.
#include <signal.h>

#include "tests/system/activation/activation_test.h"

namespace {

using support::GiopClient;
using support::Reply;

class LocatorRestartTest : public ActivationTest {
 protected:
  void configure_bank(std::vector<std::string> more = {}) {
    more.insert(more.end(), {"--poa", "Bank", "--ready", m_dir.file("ready")});
    configure_server("bank", more);
  }
  void start_and_call_once() {
    m_locator.start();
    make_known("bank", {"Bank"});
    expect_answered("Bank");
    ASSERT_EQ(starts("bank").size(), 1U);
    // A server may be called before it has registered everything.
    ASSERT_TRUE(support::wait_until([&] { return support::file_exists(m_dir.file("ready")); }));
  }
  pid_t server() const { return starts("bank").back(); }
};

TEST_F(LocatorRestartTest, LivingServerIsFoundAgainAndNotStartedTwice) {
  configure_bank();
  start_and_call_once();
  m_locator.kill9();
  EXPECT_TRUE(support::runs(server()));
  m_locator.start();
  const Reply reply = call("Bank");
  EXPECT_EQ(pid_of_server(reply), server());
  EXPECT_EQ(starts("bank").size(), 1U);
}

TEST_F(LocatorRestartTest, OrderlyEndOfTheLocatorLeavesServersAlone) {
  configure_bank();
  start_and_call_once();
  m_locator.terminate();
  EXPECT_TRUE(support::runs(server()));
  m_locator.start();
  expect_answered("Bank");
  EXPECT_EQ(starts("bank").size(), 1U);
}

TEST_F(LocatorRestartTest, ServerThatIsFoundAgainIsWatchedAgain) {
  configure_bank();
  start_and_call_once();
  m_locator.kill9();
  m_locator.start();
  kill(server(), SIGKILL);
  expect_answered_soon("Bank");
  EXPECT_EQ(starts("bank").size(), 2U);
}

TEST_F(LocatorRestartTest, ServerThatDiedMeanwhileIsStartedForTheNextCall) {
  configure_bank();
  start_and_call_once();
  m_locator.kill9();
  kill(server(), SIGKILL);
  ASSERT_TRUE(support::wait_until([&] { return !support::runs(server()); }));
  m_locator.start();
  expect_answered_soon("Bank");
  EXPECT_EQ(starts("bank").size(), 2U);
}

TEST_F(LocatorRestartTest, ServerThatWasBeingStartedRegistersWithTheNewLocator) {
  configure_bank({"--register-when", m_dir.file("go")});
  m_locator.start();
  make_known("bank", {"Bank"});
  GiopClient client = connect();
  client.send(request(spec_for("Bank")));
  ASSERT_TRUE(wait_for_starts("bank", 1));
  m_locator.kill9();
  EXPECT_TRUE(client.wait_for_end());
  m_locator.start();
  support::write_file(m_dir.file("go"), "");
  expect_answered_soon("Bank");
  EXPECT_EQ(starts("bank").size(), 1U);
}

TEST_F(LocatorRestartTest, ServerThatWasLeavingIsWaitedForByTheNewLocator) {
  configure_bank({"--left", m_dir.file("left"), "--exit-when", m_dir.file("exit")});
  start_and_call_once();
  kill(server(), SIGTERM);
  ASSERT_TRUE(support::wait_until([&] { return support::file_exists(m_dir.file("left")); }));
  m_locator.kill9();
  m_locator.start();
  GiopClient client = connect();
  client.send(request(spec_for("Bank")));
  make_known("other", {"Other"});
  EXPECT_EQ(starts("bank").size(), 1U);
  support::write_file(m_dir.file("exit"), "");
  EXPECT_EQ(answer_of_server(client.receive_reply()), "Bank:object");
  EXPECT_EQ(starts("bank").size(), 2U);
}

TEST_F(LocatorRestartTest, ManyRestartsWhileClientsCallLoseNoServer) {
  configure_bank();
  start_and_call_once();
  for (int i = 0; i < 5; ++i) {
    m_locator.kill9();
    m_locator.start();
    expect_answered("Bank");
  }
  EXPECT_EQ(starts("bank").size(), 1U);
}

}  // namespace
