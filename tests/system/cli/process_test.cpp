// poaloc process: the server processes.
#include <signal.h>

#include "tests/system/cli/cli_test.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class ProcessTest : public CliTest {
 protected:
  // A program that is no server: it writes a line, and stays.
  void add_sleeper(const Words& options = {}) {
    Words arguments{"process", "add", "sleeper", "--log", log()};
    arguments.insert(arguments.end(), options.begin(), options.end());
    arguments.insert(arguments.end(), {"--", "/bin/sh", "-c", "echo started; exec sleep 1000"});
    does(arguments);
  }
  std::string log() const { return m_dir.file("sleeper.log"); }
};

TEST_F(ProcessTest, AddKeepsAllThatIsSaid) {
  EXPECT_EQ(table({"process", "add",          "bank",      "--directory", "/tmp",
                   "--env",   "A=1",          "--env",     "B=two words", "--startup-limit",
                   "30s",     "--stop-grace", "1500ms",    "--log",       "/tmp/bank.log",
                   "--",      "/bin/echo",    "--verbose", "it's",        "list"}),
            "Process bank added.\n");
  EXPECT_EQ(process("bank"), Json({{"name", "bank"},
                                   {"state", "stopped"},
                                   {"pid", nullptr},
                                   {"since", nullptr},
                                   {"active_orbs", Json::array()},
                                   {"command_line", "/bin/echo --verbose 'it'\\''s' list"},
                                   {"directory", "/tmp"},
                                   {"environment", {"A=1", "B=two words"}},
                                   {"user", nullptr},
                                   {"startup_limit", "30s"},
                                   {"stop_grace", "1500ms"},
                                   {"log", "/tmp/bank.log"}}));
  EXPECT_EQ(table({"process", "show", "bank"}),
            "Process         bank\n"
            "State           stopped\n"
            "PID             -\n"
            "Since           -\n"
            "Active ORBs     -\n"
            "Command         /bin/echo --verbose 'it'\\''s' list\n"
            "Directory       /tmp\n"
            "Environment     A=1, B=two words\n"
            "User            -\n"
            "Start-up limit  30s\n"
            "Stop grace      1500ms\n"
            "Log             /tmp/bank.log\n");
  EXPECT_EQ(line({"process", "add", "shop", "--", "shop_server"}), Json({{"added", "shop"}}));
  EXPECT_EQ(process("shop")["stop_grace"], "10s");
  EXPECT_EQ(table({"process", "list"}),
            "PROCESS  STATE    PID  SINCE  ACTIVE ORBS  COMMAND\n"
            "bank     stopped  -    -      -            /bin/echo --verbose 'it'\\''s' list\n"
            "shop     stopped  -    -      -            shop_server\n");
  const auto list = lines({"process", "list"});
  ASSERT_EQ(list.size(), 2U);
  EXPECT_EQ(list[1]["name"], "shop");
  EXPECT_TRUE(fails({"process", "list", "bank"}, USAGE, "poaloc process list --help"));
  EXPECT_TRUE(fails({"process", "show", "none"}, NOT_FOUND, "\"poaloc process list\" shows what there is"));
}

TEST_F(ProcessTest, AddThatCannotBeChangesNothing) {
  does({"process", "add", "bank", "--", "/bin/true"});
  const std::string before = repository();
  EXPECT_TRUE(fails({"process", "add", "bank", "--", "/bin/false"}, REFUSED,
                    "Process \"bank\" exists already: change it with \"poaloc process set\""));
  EXPECT_TRUE(fails({"process", "add", "shop"}, USAGE, "poaloc process add --help"));
  EXPECT_TRUE(fails({"process", "add", "", "--", "/bin/true"}, USAGE, "name"));
  EXPECT_TRUE(fails({"process", "add", "shop", "--env", "A", "--", "/bin/true"}, USAGE, "write NAME=VALUE"));
  EXPECT_TRUE(fails({"process", "add", "shop", "--startup-limit", "soon", "--", "/bin/true"}, USAGE,
                    "\"soon\" is no duration: write a number and a unit"));
  EXPECT_EQ(repository(), before);
}

TEST_F(ProcessTest, SetChangesOnlyWhatIsSaid) {
  does({"process", "add", "bank", "--env", "A=1", "--env", "B=2", "--log", "/tmp/bank.log", "--", "/bin/true"});
  EXPECT_EQ(table({"process", "set", "bank", "--env", "A=3", "--no-env", "B", "--stop-grace", "1m"}),
            "Process bank changed.\n");
  Json shown = process("bank");
  EXPECT_EQ(shown["environment"], Json({"A=3"}));
  EXPECT_EQ(shown["stop_grace"], "1m");
  EXPECT_EQ(shown["log"], "/tmp/bank.log");
  EXPECT_EQ(shown["command_line"], "/bin/true");
  EXPECT_EQ(line({"process", "set", "bank", "--log", "", "--", "/bin/false", "x"}), Json({{"changed", "bank"}}));
  shown = process("bank");
  EXPECT_EQ(shown["log"], nullptr);
  EXPECT_EQ(shown["command_line"], "/bin/false x");

  const std::string before = repository();
  EXPECT_TRUE(fails({"process", "set", "bank"}, USAGE, "\"poaloc process set --help\" shows what can be"));
  EXPECT_TRUE(fails({"process", "set", "bank", "--stop-grace", "1 week"}, USAGE, "is no duration"));
  EXPECT_TRUE(fails({"process", "set", "none", "--log", "x"}, NOT_FOUND, "There is no process \"none\""));
  EXPECT_EQ(repository(), before);
}

TEST_F(ProcessTest, RemoveRefusesForcesAndGoesDeep) {
  for (const char* name : {"bank", "shop", "alone"}) does({"process", "add", name, "--", "/bin/true"});
  for (const char* name : {"bank", "shop"}) {
    does({"orb", "add", name, "--process", name});
    does({"poa", "add", name, "--orb", name});
  }
  const std::string before = repository();
  EXPECT_TRUE(fails({"process", "remove", "alone"}, NOT_CONFIRMED, "repeat it with --yes"));
  EXPECT_TRUE(fails({"process", "remove", "bank", "--yes"}, REFUSED, "Process \"bank\" is in use by ORB bank: "));
  EXPECT_TRUE(fails({"process", "remove", "none", "--yes"}, NOT_FOUND, "There is no process \"none\""));
  EXPECT_EQ(repository(), before);

  EXPECT_EQ(table({"process", "remove", "alone", "--yes"}), "Process alone removed.\n");
  EXPECT_EQ(line({"process", "remove", "bank", "--force", "--yes"}), Json({{"removed", "bank"}}));
  EXPECT_EQ(line({"orb", "show", "bank"})["process"], nullptr);
  EXPECT_EQ(line({"poa", "show", "bank"})["orb"], "bank");
  does({"process", "remove", "shop", "--deep", "--yes"});
  EXPECT_TRUE(fails({"orb", "show", "shop"}, NOT_FOUND, "shop"));
  EXPECT_TRUE(fails({"poa", "show", "shop"}, NOT_FOUND, "shop"));
  EXPECT_THAT(table({"process", "list"}), IsEmpty());
}

TEST_F(ProcessTest, StartStopAndRestartOfAServer) {
  add_server("bank", {"Bank"});
  const pid_t first = start_server("bank");
  EXPECT_EQ(process("bank")["state"], "running");
  EXPECT_EQ(process("bank")["active_orbs"], Json({"bank"}));
  EXPECT_EQ(table({"process", "start", "bank"}), "Process bank already runs, pid " + std::to_string(first) + ".\n");
  EXPECT_TRUE(fails({"process", "remove", "bank", "--yes"}, REFUSED, "its run with pid " + std::to_string(first)));

  const Json restarted = line({"process", "restart", "bank"});
  EXPECT_EQ(restarted["restarted"], "bank");
  const pid_t second = restarted["pid"];
  EXPECT_NE(second, first);
  EXPECT_FALSE(support::runs(first));
  EXPECT_TRUE(wait_for_state("bank", "running"));

  EXPECT_EQ(table({"process", "stop", "bank"}), "Process bank stopped.\n");
  EXPECT_FALSE(support::runs(second));
  EXPECT_EQ(process("bank")["state"], "stopped");
  EXPECT_EQ(process("bank")["pid"], nullptr);
}

TEST_F(ProcessTest, StartThatCannotBeSaysWhy) {
  does({"process", "add", "missing", "--", "/no/such/server"});
  EXPECT_TRUE(fails({"process", "start", "missing"}, FAILED, "correct it with \"poaloc process set\""));
  EXPECT_TRUE(fails({"process", "restart", "missing"}, FAILED, "correct it with \"poaloc process set\""));
  EXPECT_TRUE(fails({"process", "start", "none"}, NOT_FOUND, "There is no process \"none\""));
  EXPECT_TRUE(fails({"process", "restart", "none"}, NOT_FOUND, "There is no process \"none\""));
  EXPECT_EQ(process("missing")["state"], "stopped");
}

TEST_F(ProcessTest, StopOfWhatDoesNotRunIsRefused) {
  add_sleeper();
  EXPECT_TRUE(fails({"process", "stop", "sleeper"}, REFUSED, "\"poaloc process list\" shows what runs"));
  EXPECT_TRUE(fails({"process", "stop", "none"}, NOT_FOUND, "There is no process \"none\""));
}

TEST_F(ProcessTest, StopKillsAfterTheGracePeriod) {
  does({"process", "add", "stubborn", "--stop-grace", "200ms", "--log", log(), "--", "/bin/sh", "-c",
        "trap '' TERM; echo started; while :; do sleep 1; done"});
  const pid_t pid = line({"process", "start", "stubborn"})["pid"];
  EXPECT_TRUE(support::wait_until([&] { return support::read_file(log()) == "started\n"; }));
  EXPECT_EQ(line({"process", "stop", "stubborn"}), Json({{"stopped", "stubborn"}}));
  EXPECT_FALSE(support::runs(pid));
}

TEST_F(ProcessTest, StopAndRestartNeedNotWait) {
  add_sleeper();
  EXPECT_EQ(line({"process", "start", "sleeper"})["state"], "starting");
  EXPECT_EQ(table({"process", "restart", "sleeper", "--no-wait"}),
            "Process sleeper was told to end and will be started again.\n");
  EXPECT_TRUE(support::wait_until([&] { return support::read_file(log()) == "started\nstarted\n"; }));
  EXPECT_EQ(line({"process", "restart", "sleeper", "--no-wait"}), Json({{"restarting", "sleeper"}}));
  EXPECT_TRUE(support::wait_until([&] { return support::read_file(log()) == "started\nstarted\nstarted\n"; }));
  EXPECT_EQ(line({"process", "stop", "sleeper", "--no-wait"}), Json({{"stopping", "sleeper"}}));
  EXPECT_TRUE(wait_for_state("sleeper", "stopped"));
}

TEST_F(ProcessTest, LogsShowTheEndOfTheFile) {
  add_sleeper();
  EXPECT_THAT(table({"process", "logs", "sleeper"}), IsEmpty());
  std::string text;
  for (int i = 1; i <= 30000; ++i) text += "line " + std::to_string(i) + "\n";
  support::write_file(log(), text + "unfinished");
  EXPECT_EQ(table({"process", "logs", "sleeper", "--lines", "2"}), "line 30000\nunfinished");
  EXPECT_EQ(lines({"process", "logs", "sleeper", "-n", "2"}),
            (std::vector<Json>{{{"line", "line 30000"}}, {{"line", "unfinished"}}}));
  EXPECT_EQ(split_lines(table({"process", "logs", "sleeper"})).size(), 20U);
  EXPECT_EQ(table({"process", "logs", "sleeper", "-n", "100000"}), text + "unfinished");
  EXPECT_THAT(table({"process", "logs", "sleeper", "-n", "0"}), IsEmpty());

  EXPECT_TRUE(fails({"process", "logs", "none"}, NOT_FOUND, "There is no process \"none\""));
  does({"process", "set", "sleeper", "--log", ""});
  EXPECT_TRUE(fails({"process", "logs", "sleeper"}, NOT_FOUND, "name a file with \"poaloc process set --log\""));
}

TEST_F(ProcessTest, LogsFollowWhatIsAdded) {
  add_sleeper();
  support::write_file(log(), "old\n");
  const auto spec = command({"process", "logs", "sleeper", "--follow", "-n", "1"});
  support::ChildProcess follower(spec);
  ASSERT_TRUE(support::wait_until([&] { return support::read_file(spec.stdout_path) == "old\n"; }));
  does({"process", "start", "sleeper"});
  EXPECT_TRUE(support::wait_until([&] { return support::read_file(spec.stdout_path) == "old\nstarted\n"; }));
  follower.signal(SIGINT);
  EXPECT_EQ(follower.wait(), -SIGINT);
}

TEST_F(ProcessTest, WhatStandsBehindTheDashesIsTheProgramsOwn) {
  const Words program{"--", "/bin/echo", "--json", "-v", "--yes", "-h", "--env", "B=2", "--"};
  const std::string shown = "/bin/echo --json -v --yes -h --env B=2 --";
  const auto with_program = [&](Words words) {
    words.insert(words.end(), program.begin(), program.end());
    return words;
  };
  EXPECT_EQ(table(with_program({"process", "add", "one", "--env", "A=1"})), "Process one added.\n");
  EXPECT_EQ(process("one")["command_line"], shown);
  EXPECT_EQ(process("one")["environment"], Json({"A=1"}));
  for (const Words& options : {Words{"--env", "C=3"}, Words{"--no-env", "A"}, Words{"--env", "D=4", "--no-env", "C"}}) {
    does({"process", "set", "one", "--", "/bin/true"});
    Words words{"process", "set", "one"};
    words.insert(words.end(), options.begin(), options.end());
    EXPECT_EQ(table(with_program(words)), "Process one changed.\n");
    EXPECT_EQ(process("one")["command_line"], shown) << options.front();
  }
  EXPECT_EQ(process("one")["environment"], Json({"D=4"}));
}

TEST_F(ProcessTest, FollowedLogsGoOnAfterARestartOfTheLocator) {
  add_sleeper();
  support::write_file(log(), "old\n");
  const auto spec = command({"process", "logs", "sleeper", "--follow"});
  support::ChildProcess follower(spec);
  ASSERT_TRUE(support::wait_until([&] { return support::read_file(spec.stdout_path) == "old\n"; }));
  m_locator.terminate();
  EXPECT_TRUE(support::wait_until([&] {
    return support::read_file(spec.stderr_path) == "poaloc: The locator does not answer; waiting for it.\n";
  }));
  support::append_line(log(), "meanwhile");
  m_locator.start();
  EXPECT_TRUE(support::wait_until([&] { return support::read_file(spec.stdout_path) == "old\nmeanwhile\n"; }));
  support::append_line(log(), "afterwards");
  EXPECT_TRUE(
      support::wait_until([&] { return support::read_file(spec.stdout_path) == "old\nmeanwhile\nafterwards\n"; }));
  follower.signal(SIGINT);
  EXPECT_EQ(follower.wait(), -SIGINT);
}

// The first run stays, each other one ends at once: poaloc may see that one run, but must not wait for it.
TEST_F(ProcessTest, RestartOfWhatEndsAtOnceSaysSo) {
  does({"process", "add", "brief", "--", "/bin/sh", "-c", "test -e \"$0\" && exit 1; touch \"$0\"; exec sleep 1000",
        m_dir.file("ran")});
  does({"process", "start", "brief"});
  ASSERT_TRUE(support::wait_until([&] { return support::file_exists(m_dir.file("ran")); }));
  const Outcome outcome = run({"process", "restart", "brief"});
  if (outcome.code == SUCCESS) {
    EXPECT_THAT(outcome.out, HasSubstr("Process brief restarted, pid "));
  } else {
    EXPECT_TRUE(is_failure(outcome, FAILED, "Process \"brief\" was restarted and has ended at once: look into"));
  }
}

TEST_F(ProcessTest, SeveralMayChangeAProcessAtOnce) {
  constexpr int ADMINISTRATORS = 12;
  does({"process", "add", "bank", "--", "/bin/true"});
  std::vector<std::unique_ptr<support::ChildProcess>> changing;
  Json expected = Json::array();
  for (int i = 0; i < ADMINISTRATORS; ++i) {
    const std::string variable = "V" + std::to_string(10 + i) + "=1";
    expected.push_back(variable);
    changing.push_back(std::make_unique<support::ChildProcess>(command({"process", "set", "bank", "--env", variable})));
  }
  for (const auto& change : changing) EXPECT_EQ(change->wait(), SUCCESS);
  EXPECT_EQ(process("bank")["environment"], expected);
}

}  // namespace
