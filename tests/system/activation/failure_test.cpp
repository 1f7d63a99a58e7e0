// Servers that cannot be started or activated: each client gets its exception, every time, and the locator serves on.
#include <signal.h>

#include <algorithm>

#include "tests/system/activation/activation_test.h"

namespace {

using support::GiopClient;
using support::is_exception;
using support::minor_code;
using support::Reply;

class FailureTest : public ActivationTest {
 protected:
  // One server beside the failing one is well.
  void SetUp() override { configure_server("good", {"--poa", "Good"}); }

  void start(const std::string& failing_orb, const std::vector<std::string>& paths) {
    m_locator.start();
    make_known("good", {"Good"});
    make_known(failing_orb, paths);
  }

  void expect_serves_on() {
    expect_answered("Good");
    EXPECT_TRUE(m_locator.running());
  }

  std::size_t removals(const std::string& path) { return m_locator.log().count(30, {path}); }

  // So many events of the subsystem with that id say exactly that, now or soon.
  void expect_logged(const std::string& subsystem, unsigned id, const std::string& message, std::ptrdiff_t times = 1) {
    const auto count = [&] {
      const auto all = m_locator.log().events();
      return std::count_if(all.begin(), all.end(), [&](const support::Event& event) {
        return event.subsystem == subsystem && event.id == id && event.message == message;
      });
    };
    EXPECT_TRUE(support::wait_until([&] { return count() >= times; })) << message;
    EXPECT_EQ(count(), times) << message;
  }
};

TEST_F(FailureTest, ServerWhoseProgramIsMissing) {
  const std::string program = m_dir.file("no-such-program");
  m_locator.config().add_process({"lost", {program}, {}});
  m_locator.config().add_orb("lost", "lost");
  start("lost", {"Lost"});
  const std::string reason = "\"" + program + "\" cannot be run: No such file or directory";
  for (int times = 1; times <= 2; ++times) {
    EXPECT_TRUE(is_exception(call("Lost"), "TRANSIENT", minor_code(1)));
    expect_logged(support::HOST, 21, "Process \"lost\" could not be started: " + reason, times);
    expect_logged(support::PLUGIN, 21,
                  "Server start failed for process \"lost\" for ORB \"lost\" and POA \"Lost\".\n" + reason, times);
  }
  EXPECT_TRUE(is_exception(locate("Lost"), "TRANSIENT", minor_code(1)));
  expect_serves_on();
}

TEST_F(FailureTest, ServerThatExitsAtOnce) {
  configure_server("quick", {"--exit-at-once"});
  start("quick", {"Quick"});
  for (std::size_t times = 1; times <= 2; ++times) {
    const std::size_t removed = removals("Quick");
    EXPECT_TRUE(is_exception(call("Quick"), "TRANSIENT", minor_code(3)));
    const auto pids = starts("quick");
    ASSERT_EQ(pids.size(), times);
    expect_logged(support::HOST, 22, "Process \"quick\" exited. Pid: " + std::to_string(pids.back()) + ", status: 2");
    EXPECT_TRUE(m_locator.log().wait_for(30, {"Quick"}, removed + 1));
  }
  expect_serves_on();
}

TEST_F(FailureTest, ServerThatDiesBeforeItRegistersFailsEveryoneWhoWaits) {
  configure_server("quick", {"--register-when", m_dir.file("never")});
  start("quick", {"Quick"});
  std::vector<GiopClient> clients;
  for (int i = 0; i < 10; ++i) {
    clients.push_back(connect());
    clients.back().send(i % 2 == 0 ? request(spec_for("Quick")) : locate_request(spec_for("Quick")));
  }
  ASSERT_TRUE(wait_for_starts("quick", 1));
  for (GiopClient& client : clients) {
    // One that came to the locator after a death has another server started.
    ASSERT_TRUE(support::wait_until([&] {
      for (const pid_t pid : starts("quick")) {
        if (support::runs(pid)) kill(pid, SIGKILL);
      }
      return client.something_arrived();
    }));
    const Reply reply = client.receive_reply();
    ASSERT_TRUE(reply.exception) << describe(reply);
    EXPECT_EQ(reply.exception->id, "IDL:omg.org/CORBA/TRANSIENT:1.0");
  }
  expect_serves_on();
}

TEST_F(FailureTest, ServerThatDoesNotKnowThePoa) {
  configure_server("empty", {"--activator", "nonexistent", "--lazy"});
  start("empty", {"Gone"});
  const auto removed = removals("Gone");
  for (std::size_t times = 1; times <= 2; ++times) {
    EXPECT_TRUE(is_exception(call("Gone"), "OBJECT_NOT_EXIST", minor_code(6)));
    EXPECT_TRUE(m_locator.log().wait_for(30, {"Gone"}, removed + times));
  }
  EXPECT_EQ(locate("Gone").status, support::UNKNOWN_OBJECT);
  expect_logged(support::PLUGIN, 30, "Active POA removed. POA Name: Gone", static_cast<std::ptrdiff_t>(removed) + 3);
  EXPECT_EQ(starts("empty").size(), 1U);
  expect_serves_on();
}

TEST_F(FailureTest, ActivatorThatRaisesAnythingElse) {
  configure_server("weak", {"--activator", "system-exception", "--lazy"});
  start("weak", {"Weak"});
  for (int times = 1; times <= 2; ++times) EXPECT_TRUE(is_exception(call("Weak"), "TRANSIENT", minor_code(4)));
  EXPECT_TRUE(is_exception(locate("Weak"), "TRANSIENT", minor_code(4)));
  expect_serves_on();
}

TEST_F(FailureTest, ActivatorThatHangs) {
  m_locator.config().set("orb_endpoint", "activate_time_limit", "0.5");
  configure_server("slow", {"--activator", "hang", "--release", m_dir.file("release"), "--lazy"});
  start("slow", {"Slow"});
  for (int times = 1; times <= 2; ++times) EXPECT_TRUE(is_exception(call("Slow"), "TRANSIENT", minor_code(4)));
  expect_serves_on();
}

TEST_F(FailureTest, LocatorServesOthersWhileAnActivatorHangs) {
  configure_server("slow", {"--activator", "hang", "--release", m_dir.file("release"), "--lazy"});
  start("slow", {"Slow"});
  GiopClient waits = connect();
  waits.send(request(spec_for("Slow")));
  ASSERT_TRUE(support::wait_until([&] { return support::file_exists(activations_file("slow")); }));
  expect_serves_on();
  make_known("new", {"New"});
  EXPECT_FALSE(waits.something_arrived());
  support::write_file(m_dir.file("release"), "");
  EXPECT_EQ(answer_of_server(waits.receive_reply()), "Slow:object");
}

TEST_F(FailureTest, ServerThatDiesWhileItActivates) {
  configure_server("frail", {"--activator", "exit", "--lazy"});
  start("frail", {"Frail"});
  for (int times = 1; times <= 2; ++times) {
    const Reply reply = call("Frail");
    // The broken call and the notice of the death race.
    ASSERT_TRUE(reply.exception) << describe(reply);
    EXPECT_EQ(reply.exception->id, "IDL:omg.org/CORBA/TRANSIENT:1.0");
    EXPECT_THAT(reply.exception->minor, ::testing::AnyOf(minor_code(3), minor_code(4)));
    // A further call must not meet the one that is still dying.
    ASSERT_TRUE(support::wait_until([&] { return !support::runs(starts("frail").back()); }));
  }
  expect_serves_on();
}

TEST_F(FailureTest, ServerThatIsStartedByHandAndDoesNotRun) {
  start("manual", {"Manual"});
  for (int times = 1; times <= 2; ++times) EXPECT_TRUE(is_exception(call("Manual"), "TRANSIENT", minor_code(0)));
  EXPECT_TRUE(is_exception(locate("Manual"), "TRANSIENT", minor_code(0)));
  expect_logged(support::PLUGIN, 19,
                "POA Locator interceptor received a system exception while handling a request:\n"
                "TRANSIENT (minor 0x515A0C00, COMPLETED_NO)",
                3);
  expect_serves_on();
}

TEST_F(FailureTest, ServerThatDoesNotRegisterInTimeIsEnded) {
  configure_server("late", {"--register-when", m_dir.file("never"), "--ignore-sigterm"},
                   {{"startup_time_limit", "0.5"}});
  start("late", {"Late"});
  for (std::size_t times = 1; times <= 2; ++times) {
    EXPECT_TRUE(is_exception(call("Late"), "TRANSIENT", minor_code(3)));
    ASSERT_EQ(starts("late").size(), times);
    EXPECT_TRUE(support::wait_until([&] { return !support::runs(starts("late").back()); }));
  }
  expect_serves_on();
}

TEST_F(FailureTest, ServerThatCrashesAfterRegisteringIsStartedAgain) {
  configure_server("frail", {"--poa", "Frail", "--crash-after-registering"});
  start("frail", {"Frail"});
  for (std::size_t times = 1; times <= 2; ++times) {
    // The client is led to the server before it dies, or told to try again.
    const Reply reply = call("Frail");
    EXPECT_TRUE(reply.forward || is_exception(reply, "TRANSIENT", minor_code(3))) << describe(reply);
    ASSERT_TRUE(support::wait_until([&] { return m_locator.log().count(30, {"Frail"}) > times; }));
    EXPECT_EQ(starts("frail").size(), times);
  }
  expect_serves_on();
}

}  // namespace
