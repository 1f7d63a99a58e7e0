// poaloc ping, status, events: the locator itself.
#include <signal.h>

#include "tests/system/cli/cli_test.h"

namespace {

using ::testing::ContainsRegex;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;

class LocatorCommandsTest : public CliTest {
 protected:
  std::string message_of(const Json& event) { return event["message"]; }
};

TEST_F(LocatorCommandsTest, PingTellsHowLongTheAnswerTook) {
  EXPECT_THAT(table({"ping"}), MatchesRegex("The locator at corbaloc::[0-9.]+:2809 answers after [0-9.]+ ms\\.\n"));
  const auto answers = lines({"ping", "--count", "2"});
  ASSERT_EQ(answers.size(), 2U);
  EXPECT_EQ(answers[1]["target"], "The locator at corbaloc::" + m_locator.address());
  EXPECT_GT(answers[1]["milliseconds"], 0);
  EXPECT_TRUE(fails({"ping", "--count", "0"}, USAGE, "Value 0 not in range 1 to 4294967295; \"poaloc ping --help\""));
}

TEST_F(LocatorCommandsTest, PingOfObjects) {
  EXPECT_THAT(table({"ping", m_locator.corbaloc("POARegistry")}), HasSubstr("The object answers after"));
  EXPECT_TRUE(fails({"ping", m_locator.corbaloc("Nothing")}, NOT_FOUND, "The object does not exist: its server"));
  EXPECT_TRUE(fails({"ping", "corbaloc::" + m_locator.host() + ":1/x"}, UNREACHABLE, "see that its server runs"));
  for (const char* nothing : {"nonsense", ""})
    EXPECT_TRUE(fails({"ping", nothing}, USAGE, "is no reference: give an IOR")) << nothing;
  m_locator.terminate();
  EXPECT_TRUE(fails({"ping"}, UNREACHABLE, "start poalocd, or name another address with --locator"));
}

TEST_F(LocatorCommandsTest, StatusTellsWhatTheLocatorIsAndKnows) {
  does({"process", "add", "bank", "--", "/bin/true"});
  does({"orb", "add", "bank"});
  does({"poa", "add", "A"});
  does({"poa", "add", "A/B"});
  const Json status = line({"status"});
  EXPECT_EQ(status["domain"], m_locator.domain());
  EXPECT_EQ(status["pid"], m_locator.pid());
  EXPECT_EQ(status["addresses"], Json({m_locator.address()}));
  EXPECT_EQ(status["entries"]["processes"], 1);
  EXPECT_EQ(status["entries"]["orbs"], 1);
  EXPECT_EQ(status["entries"]["poas"], 2);
  EXPECT_TRUE(status["front_door"].is_object());
  EXPECT_FALSE(status["front_door"].empty());

  const std::string shown = table({"status"});
  EXPECT_THAT(shown, ContainsRegex("Version +" + status["version"].get<std::string>()));
  EXPECT_THAT(shown, ContainsRegex("PID +" + std::to_string(m_locator.pid())));
  EXPECT_THAT(shown, HasSubstr("\n\nEntries\n"));
  EXPECT_THAT(shown, HasSubstr("\n\nFront door\n"));
  EXPECT_THAT(shown, ContainsRegex("  processes +1\n"));
  EXPECT_TRUE(fails({"status", "bank"}, USAGE, "poaloc status --help"));
}

TEST_F(LocatorCommandsTest, EventsShowTheLatest) {
  support::FakeServer(m_locator, "bank").register_and_leave({"Bank"});
  const auto events = lines({"events"});
  ASSERT_FALSE(events.empty());
  const auto registered = std::find_if(events.begin(), events.end(), [&](const Json& event) {
    return message_of(event).find("POA registered. POA Name: Bank") != std::string::npos;
  });
  ASSERT_NE(registered, events.end());
  EXPECT_EQ((*registered)["priority"], "information");
  EXPECT_EQ((*registered)["subsystem"], support::PLUGIN);
  for (std::size_t i = 1; i < events.size(); ++i) EXPECT_GT(events[i]["number"], events[i - 1]["number"]);

  const auto last = split_lines(table({"events", "-n", "1"}));
  ASSERT_EQ(last.size(), 1U);
  EXPECT_THAT(last[0], HasSubstr(message_of(events.back())));
  EXPECT_THAT(last[0], MatchesRegex("[-0-9T:Z]{20}  information  [A-Z_a-z]+ [0-9]+ +.*"));
  EXPECT_THAT(table({"events", "-n", "0"}), IsEmpty());
  EXPECT_THAT(table({"events", "--priority", "error"}), IsEmpty());
  EXPECT_TRUE(fails({"events", "--priority", "loud"}, USAGE, "poaloc events --help"));
  EXPECT_TRUE(fails({"events", "-n", "-5"}, USAGE, "poaloc events --help"));
}

TEST_F(LocatorCommandsTest, EventsAreFollowedOverARestart) {
  const auto spec = command({"events", "--follow", "-n", "0", "--json", "--timeout", "2"});
  support::ChildProcess follower(spec);
  const auto shows = [&](const std::string& text) {
    return support::wait_until([&] { return support::read_file(spec.stdout_path).find(text) != std::string::npos; });
  };
  // What happened before the follower asked for the first time is not shown; so something happens again and again.
  int number = 0;
  ASSERT_TRUE(support::wait_until([&] {
    const std::string name = "Early" + std::to_string(++number);
    support::FakeServer(m_locator, "bank").register_and_leave({name});
    return support::read_file(spec.stdout_path).find("POA registered. POA Name: Early") != std::string::npos;
  }));
  m_locator.terminate();
  EXPECT_TRUE(support::wait_until([&] {
    return support::read_file(spec.stderr_path) == "poaloc: The locator does not answer; waiting for it.\n";
  }));
  m_locator.start();
  support::FakeServer(m_locator, "bank").register_and_leave({"Late"});
  EXPECT_TRUE(shows("POA registered. POA Name: Late"));
  std::uint64_t last = 0;
  for (const std::string& text : support::read_lines(spec.stdout_path)) {
    const Json event = Json::parse(text);
    EXPECT_GT(event["number"], last);
    last = event["number"];
  }
  follower.signal(SIGTERM);
  EXPECT_EQ(follower.wait(), -SIGTERM);
}

}  // namespace
