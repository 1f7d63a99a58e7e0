// Servers that crash, leave and come back.
#include <signal.h>

#include "tests/system/activation/activation_test.h"

namespace {

using support::ChildProcess;
using support::GiopClient;
using support::is_exception;
using support::minor_code;
using support::Reply;

class ServerLifeTest : public ActivationTest {
 protected:
  ChildProcess::Spec by_hand(const std::string& orb, const std::vector<std::string>& arguments) const {
    ChildProcess::Spec spec;
    spec.argv = server_argv(orb, arguments);
    spec.stderr_path = m_dir.file(orb + ".hand.log");
    return spec;
  }
};

TEST_F(ServerLifeTest, KilledServerIsStartedAgainOnDemand) {
  configure_server("bank", {"--poa", "Bank", "--poa", "Audit"});
  m_locator.start();
  make_known("bank", {"Bank", "Audit"});
  expect_answered("Bank");
  kill(starts("bank").back(), SIGKILL);
  expect_answered_soon("Bank");
  expect_answered("Audit");
  EXPECT_EQ(starts("bank").size(), 2U);
}

TEST_F(ServerLifeTest, ServerThatLeavesIsStartedAgainOnDemand) {
  configure_server("bank", {"--poa", "Bank", "--left", m_dir.file("left")});
  m_locator.start();
  make_known("bank", {"Bank"});
  for (std::size_t times = 1; times <= 3; ++times) {
    const Reply reply = call("Bank");
    EXPECT_EQ(answer_of_server(reply), "Bank:object");
    ASSERT_EQ(starts("bank").size(), times);
    kill(starts("bank").back(), SIGTERM);
    // Unregistered, perhaps not yet gone.
    ASSERT_TRUE(support::wait_until([&] { return support::file_exists(m_dir.file("left")); }));
    unlink(m_dir.file("left").c_str());
  }
}

TEST_F(ServerLifeTest, StartAskedWhileTheServerLeavesIsCarriedOutWhenItHasGone) {
  configure_server("bank", {"--poa", "Bank", "--left", m_dir.file("left"), "--exit-when", m_dir.file("exit")});
  m_locator.start();
  make_known("bank", {"Bank"});
  expect_answered("Bank");
  kill(starts("bank").back(), SIGTERM);
  ASSERT_TRUE(support::wait_until([&] { return support::file_exists(m_dir.file("left")); }));
  GiopClient client = connect();
  client.send(request(spec_for("Bank")));
  // The request has come to the locator when a registration after it is through.
  make_known("other", {"Other"});
  EXPECT_EQ(starts("bank").size(), 1U);
  support::write_file(m_dir.file("exit"), "");
  const Reply reply = client.receive_reply();
  EXPECT_EQ(answer_of_server(reply), "Bank:object");
  EXPECT_EQ(starts("bank").size(), 2U);
  EXPECT_EQ(pid_of_server(reply), starts("bank").back());
}

TEST_F(ServerLifeTest, StartFailsWhenTheLeavingServerStaysBeyondItsGracePeriod) {
  configure_server("bank", {"--poa", "Bank", "--left", m_dir.file("left"), "--exit-when", m_dir.file("exit")},
                   {{"stop_grace", "0.5"}});
  m_locator.start();
  make_known("bank", {"Bank"});
  expect_answered("Bank");
  kill(starts("bank").back(), SIGTERM);
  ASSERT_TRUE(support::wait_until([&] { return support::file_exists(m_dir.file("left")); }));
  const Reply reply = call("Bank");
  ASSERT_TRUE(reply.exception) << describe(reply);
  EXPECT_EQ(reply.exception->id, "IDL:omg.org/CORBA/TRANSIENT:1.0");
  EXPECT_EQ(starts("bank").size(), 1U);
  // Once it has gone the next call succeeds.
  support::write_file(m_dir.file("exit"), "");
  expect_answered_soon("Bank");
  EXPECT_EQ(starts("bank").size(), 2U);
}

TEST_F(ServerLifeTest, ServerStartedByHandServesAndItsPlaceIsTakenOnDemandWhenItHasLeft) {
  configure_server("bank", {"--poa", "Bank"});
  m_locator.start();
  ChildProcess server(by_hand("bank", {"--poa", "Bank", "--ready", m_dir.file("ready")}));
  ASSERT_TRUE(support::wait_until([&] { return support::file_exists(m_dir.file("ready")); }));
  Reply reply = call("Bank");
  EXPECT_EQ(pid_of_server(reply), server.pid());
  server.signal(SIGTERM);
  ASSERT_EQ(server.wait(), 0);
  reply = call("Bank");
  EXPECT_EQ(answer_of_server(reply), "Bank:object");
  EXPECT_NE(pid_of_server(reply), server.pid());
  EXPECT_EQ(starts("bank").size(), 2U);
}

TEST_F(ServerLifeTest, CrashOfAServerWithoutAProcessIsNoticed) {
  m_locator.config().set("liveness", "interval", "0.1");
  m_locator.config().set("liveness", "failures", "2");
  m_locator.start();
  ChildProcess server(by_hand("manual", {"--poa", "Manual", "--ready", m_dir.file("ready")}));
  ASSERT_TRUE(support::wait_until([&] { return support::file_exists(m_dir.file("ready")); }));
  expect_answered("Manual");
  server.kill9();
  ASSERT_TRUE(m_locator.log().wait_for(30, {"Manual"}));
  EXPECT_TRUE(is_exception(call("Manual"), "TRANSIENT", minor_code(0)));
}

TEST_F(ServerLifeTest, CrashedServerThatComesBackByHandIsAcceptedAgain) {
  m_locator.start();
  ChildProcess first(by_hand("manual", {"--poa", "Manual", "--ready", m_dir.file("ready1")}));
  ASSERT_TRUE(support::wait_until([&] { return support::file_exists(m_dir.file("ready1")); }));
  expect_answered("Manual");
  first.kill9();
  ChildProcess second(by_hand("manual", {"--poa", "Manual", "--ready", m_dir.file("ready2")}));
  ASSERT_TRUE(support::wait_until([&] { return support::file_exists(m_dir.file("ready2")); }));
  EXPECT_EQ(pid_of_server(call("Manual")), second.pid());
  EXPECT_TRUE(m_locator.log().wait_for(14, {"manual"}));
}

TEST_F(ServerLifeTest, ServerThatDiesWhenItIsCalledIsStartedForTheNextCall) {
  configure_server("frail", {"--poa", "Frail", "--crash-on-call"});
  m_locator.start();
  make_known("frail", {"Frail"});
  for (std::size_t times = 1; times <= 3; ++times) {
    const Reply reply = call("Frail");
    ASSERT_TRUE(reply.forward) << describe(reply);
    EXPECT_EQ(pid_of_server(reply), starts("frail").back());
    EXPECT_EQ(starts("frail").size(), times);
    EXPECT_THROW(answer_of_server(reply), std::runtime_error);
    ASSERT_TRUE(support::wait_until([&] { return m_locator.log().count(30, {"Frail"}) > times; }));
  }
}

TEST_F(ServerLifeTest, ManyDeathsLeaveNothingBehind) {
  configure_server("quick", {"--exit-at-once"});
  m_locator.start();
  make_known("quick", {"Quick"});
  EXPECT_TRUE(is_exception(call("Quick"), "TRANSIENT", minor_code(3)));
  const auto settled = [&](std::size_t files, std::size_t threads) {
    return support::wait_until([&] {
      return support::open_files(m_locator.pid()) <= files && support::thread_count(m_locator.pid()) <= threads;
    });
  };
  const std::size_t files = support::open_files(m_locator.pid());
  const std::size_t threads = support::thread_count(m_locator.pid());
  for (int i = 0; i < 30; ++i) EXPECT_TRUE(is_exception(call("Quick"), "TRANSIENT", minor_code(3)));
  // The store may have opened a connection or two more meanwhile; something left by each death would be 30.
  EXPECT_TRUE(settled(files + 15, threads)) << support::open_files(m_locator.pid()) << " files after " << files << ", "
                                       << support::thread_count(m_locator.pid()) << " threads after " << threads;
  EXPECT_EQ(starts("quick").size(), 31U);
}

}  // namespace
