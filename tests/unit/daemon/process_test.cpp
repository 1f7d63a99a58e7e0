// The life of server processes, with real ones.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <future>
#include <thread>

#include "platform/pss/transaction_guard.h"
#include "tests/support/files.h"
#include "tests/unit/daemon/process_fixture.h"

namespace {

using namespace poalocd;
using support::wait_until;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

TEST_F(ProcessTest, StartsTheProgramInAGroupOfItsOwn) {
  add_process("bank", {"sleep", "1000"});
  open_and_start();
  const auto orb = attach("bank");
  process("bank")->start();
  ASSERT_THAT(pids_started(), SizeIs(1));
  EXPECT_EQ(getpgid(pids_started()[0]), pids_started()[0]);
  EXPECT_EQ(orb->deaths, 0);
}

TEST_F(ProcessTest, StartsNothingThatIsStartingOrRunning) {
  add_process("bank", {"sleep", "1000"});
  open_and_start();
  const auto orb = attach("bank");
  for (int i = 0; i < 5; ++i) process("bank")->start();
  EXPECT_THAT(pids_started(), SizeIs(1));
}

TEST_F(ProcessTest, OneStartIsMadeOfManyAtOnce) {
  add_process("bank", {"sleep", "1000"});
  open_and_start();
  const auto orb = attach("bank");
  std::vector<std::thread> threads;
  for (int i = 0; i < 16; ++i) threads.emplace_back([this] { process("bank")->start(); });
  for (auto& thread : threads) thread.join();
  EXPECT_THAT(pids_started(), SizeIs(1));
}

TEST_F(ProcessTest, TellsEveryOrbOfTheExit) {
  add_script("bank", "read line < " + m_dir.file("end"));
  ASSERT_EQ(mkfifo(m_dir.file("end").c_str(), 0600), 0);
  open_and_start();
  const auto one = attach("bank", "one");
  const auto two = attach("bank", "two");
  process("bank")->start();
  support::write_file(m_dir.file("end"), "\n");
  EXPECT_TRUE(wait_until([&] { return one->deaths == 1 && two->deaths == 1; }));
  ASSERT_TRUE(wait_for(PROCESS_EXITED_EVENT));
  EXPECT_EQ(events(PROCESS_EXITED_EVENT)[0].parameters.at(2), "0");
}

TEST_F(ProcessTest, ReportsStatusOrSignalOfTheExit) {
  add_process("fails", {"/bin/false"});
  add_script("dies", "kill -TERM $$");
  open_and_start();
  const auto one = attach("fails");
  const auto two = attach("dies");
  process("fails")->start();
  process("dies")->start();
  ASSERT_TRUE(wait_for(PROCESS_EXITED_EVENT));
  ASSERT_TRUE(wait_for(PROCESS_KILLED_EVENT));
  EXPECT_EQ(events(PROCESS_EXITED_EVENT)[0].message,
            "Process \"fails\" exited. Pid: " + events(PROCESS_EXITED_EVENT)[0].parameters[1] + ", status: 1");
  EXPECT_EQ(events(PROCESS_KILLED_EVENT)[0].parameters.at(2), "SIGTERM");
}

TEST_F(ProcessTest, LeavesNoZombieAndCanBeStartedAgain) {
  add_process("bank", {"/bin/true"});
  open_and_start();
  for (int run = 1; run <= 3; ++run) {
    const auto orb = attach("bank");
    process("bank")->start();
    ASSERT_TRUE(wait_until([&] { return orb->deaths == 1; })) << run;
    ASSERT_THAT(pids_started(), SizeIs(run));
    EXPECT_EQ(kill(pids_started().back(), 0), -1);
  }
}

TEST_F(ProcessTest, TellsTheServerWhoItIsAndWhereTheLocatorIs) {
  m_config.set_domain("some domain");
  m_config.set("front_door", "listen", "[\"127.0.0.1:0\"]");
  m_config.add_process({"bank",
                        {"/bin/sh", "-c", "env"},
                        {{"environment", "{ BANK = \"1\" }"}, {"log_file", "\"" + m_dir.file("bank.log") + "\""}}});
  m_config.add_orb("teller", "bank");
  m_config.add_orb("vault", "bank");
  setenv("NOTIFY_SOCKET", "/nowhere", 1);
  open(Host::Listen::YES).start();
  unsetenv("NOTIFY_SOCKET");
  setenv("NOTIFY_SOCKET", "/nowhere", 1);
  const auto orb = attach("bank", "vault");
  process("bank")->start();
  unsetenv("NOTIFY_SOCKET");
  ASSERT_TRUE(wait_until([&] { return orb->deaths == 1; }));
  const auto lines = support::read_lines(m_dir.file("bank.log"));
  const auto port = host().front_door()->listening().at(0).port;
  EXPECT_THAT(lines, testing::Contains("POALOCATOR_DOMAIN=some domain"));
  EXPECT_THAT(lines, testing::Contains("POALOCATOR_ORB_NAME=teller"));
  EXPECT_THAT(lines, testing::Contains("POALOCATOR_URL=corbaloc::127.0.0.1:" + std::to_string(port)));
  EXPECT_THAT(lines, testing::Contains("BANK=1"));
  EXPECT_THAT(lines, testing::Contains(testing::StartsWith("PATH=")));
  EXPECT_THAT(lines, Not(testing::Contains(testing::StartsWith("NOTIFY_SOCKET="))));
}

TEST_F(ProcessTest, AppendsItsOutputToTheLogFile) {
  support::write_file(m_dir.file("bank.log"), "before\n");
  add_script("bank", "echo out; echo err >&2; pwd",
             {{"log_file", "\"" + m_dir.file("bank.log") + "\""}, {"working_directory", "\"" + m_dir.path() + "\""}});
  open_and_start();
  const auto orb = attach("bank");
  process("bank")->start();
  ASSERT_TRUE(wait_until([&] { return orb->deaths == 1; }));
  EXPECT_THAT(support::read_lines(m_dir.file("bank.log")), ElementsAre("before", "out", "err", m_dir.path()));
}

TEST_F(ProcessTest, LeaksNeitherDescriptorsNorSignalSettings) {
  // The shell blocks signals while it starts a program, so none must be started for the last look.
  add_script("bank", "ls -l /proc/$$/fd; exec grep -E 'Sig(Blk|Ign)' /proc/self/status",
             {{"log_file", "\"" + m_dir.file("bank.log") + "\""}});
  // One that is not close-on-exec, and settings as the daemon has them.
  const int leaky = ::open("/dev/null", O_RDONLY);
  signal(SIGPIPE, SIG_IGN);
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
  open_and_start();
  const auto orb = attach("bank");
  process("bank")->start();
  pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
  ::close(leaky);
  signal(SIGPIPE, SIG_DFL);
  ASSERT_TRUE(wait_until([&] { return orb->deaths == 1; }));
  const auto text = support::read_file(m_dir.file("bank.log"));
  EXPECT_THAT(text, HasSubstr(" 0 -> /dev/null"));
  EXPECT_THAT(text, HasSubstr(" 2 -> " + m_dir.file("bank.log")));
  EXPECT_THAT(text, testing::ContainsRegex("SigBlk:\t0+\n"));
  // Of signals 1 to 31: the two behind them are the C library's own business.
  const auto ignored = std::stoull(text.substr(text.find("SigIgn:") + 7), nullptr, 16);
  EXPECT_EQ(ignored & 0x7FFFFFFF, 0u);
  EXPECT_EQ(std::count(text.begin(), text.end(), '>'), 3) << text;
}

TEST_F(ProcessTest, SaysWhyAProgramCannotBeStarted) {
  support::write_file(m_dir.file("text"), "no program");
  add_process("missing", {"/no/such/program"});
  add_process("unknown", {"no-such-program-in-the-path"});
  add_process("forbidden", {m_dir.file("text")});
  add_process("homeless", {"/bin/true"}, {{"working_directory", "\"/no/such/folder\""}});
  add_process("silent", {"/bin/true"}, {{"log_file", "\"/no/such/folder/log\""}});
  add_process("nobody", {"/bin/true"}, {{"user", "\"no-such-user\""}});
  open_and_start();
  EXPECT_EQ(start_failure("missing"), "\"/no/such/program\" cannot be run: No such file or directory");
  EXPECT_EQ(start_failure("unknown"), "\"no-such-program-in-the-path\" cannot be run: No such file or directory");
  EXPECT_EQ(start_failure("forbidden"), "\"" + m_dir.file("text") + "\" cannot be run: Permission denied");
  EXPECT_EQ(start_failure("homeless"),
            "\"/bin/true\" cannot run in the working directory \"/no/such/folder\": No such file or directory");
  EXPECT_EQ(start_failure("silent"),
            "the log file \"/no/such/folder/log\" of \"/bin/true\" cannot be written: No such file or directory");
  EXPECT_EQ(start_failure("nobody"), "\"/bin/true\" cannot run as user \"no-such-user\": no such user");
  EXPECT_THAT(events(PROCESS_START_FAILED_EVENT), SizeIs(6));
}

TEST_F(ProcessTest, CanBeStartedAfterAFailedStart) {
  add_process("bank", {m_dir.file("program")});
  open_and_start();
  const auto orb = attach("bank");
  EXPECT_THAT(start_failure("bank"), HasSubstr("No such file"));
  support::write_file(m_dir.file("program"), "#!/bin/sh\nexec sleep 1000\n");
  ASSERT_EQ(chmod(m_dir.file("program").c_str(), 0755), 0);
  EXPECT_EQ(start_failure("bank"), "none");
  EXPECT_THAT(pids_started(), SizeIs(1));
  EXPECT_EQ(orb->deaths, 0);
}

TEST_F(ProcessTest, RunsAsAnotherUser) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root";
  ASSERT_EQ(chmod(m_dir.path().c_str(), 0755), 0);
  add_script("bank", "id -un; id -gn; ls -l /proc/$$/fd | grep -c ' -> '; ps -o pgid= -p $$",
             {{"user", "\"nobody\""}, {"log_file", "\"" + m_dir.file("bank.log") + "\""}});
  add_process("missing", {"/no/such/program"}, {{"user", "\"nobody\""}});
  open_and_start();
  const auto orb = attach("bank");
  process("bank")->start();
  ASSERT_TRUE(wait_until([&] { return orb->deaths == 1; }));
  const auto lines = support::read_lines(m_dir.file("bank.log"));
  ASSERT_GE(lines.size(), 3u);
  EXPECT_EQ(lines[0], "nobody");
  EXPECT_EQ(lines[1], "nogroup");
  EXPECT_EQ(lines[2], "3");
  EXPECT_EQ(start_failure("missing"), "\"/no/such/program\" cannot be run: No such file or directory");
}

TEST_F(ProcessTest, RemembersAStartAskedWhileItLeaves) {
  add_script("bank", "trap 'exit 0' USR1; echo up >> " + m_dir.file("ups") + "; while :; do sleep 0.01; done");
  open_and_start();
  const auto first = attach("bank");
  process("bank")->start();
  ASSERT_TRUE(wait_until([&] { return support::read_lines(m_dir.file("ups")).size() == 1; }));
  const auto leaving = process("bank");
  leaving->remove_orb("bank");
  EXPECT_THAT(events(PROCESS_LEAVING_EVENT), SizeIs(1));

  const auto second = attach("bank");
  process("bank")->start();
  process("bank")->start();
  EXPECT_THAT(pids_started(), SizeIs(1));
  kill(pids_started()[0], SIGUSR1);
  ASSERT_TRUE(wait_for(PROCESS_STARTED_EVENT, 2));
  EXPECT_TRUE(wait_until([&] { return support::read_lines(m_dir.file("ups")).size() == 2; }));
  EXPECT_EQ(first->deaths, 0);
  EXPECT_EQ(second->deaths, 0);
  // The exit of the first run says nothing of the second.
  EXPECT_EQ(leaving.in(), process("bank").in());
  EXPECT_EQ(kill(pids_started()[1], 0), 0);
}

TEST_F(ProcessTest, ExitsQuietlyAfterItsLastOrbLeft) {
  add_process("bank", {"sleep", "1000"});
  open_and_start();
  const auto orb = attach("bank");
  const auto running = process("bank");
  running->start();
  running->remove_orb("bank");
  kill(pids_started()[0], SIGTERM);
  ASSERT_TRUE(wait_for(PROCESS_KILLED_EVENT));
  EXPECT_TRUE(wait_until([&] { return CORBA::is_nil(processes().find("bank")); }));
  EXPECT_EQ(orb->deaths, 0);
}

TEST_F(ProcessTest, FailsARememberedStartWhenTheExitDoesNotCome) {
  add_process("bank", {"sleep", "1000"}, {{"stop_grace", "0.05"}});
  open_and_start();
  const auto first = attach("bank");
  process("bank")->start();
  process("bank")->remove_orb("bank");
  const auto second = attach("bank");
  process("bank")->start();
  ASSERT_TRUE(wait_until([&] { return second->deaths == 1; }));
  EXPECT_EQ(first->deaths, 0);
  EXPECT_THAT(events(PROCESS_STOP_GRACE_EVENT), SizeIs(1));
  EXPECT_EQ(kill(pids_started()[0], 0), 0) << "it must not be killed";

  // The next start is remembered anew, and carried out when the exit comes at last.
  const auto third = attach("bank");
  process("bank")->start();
  kill(pids_started()[0], SIGKILL);
  EXPECT_TRUE(wait_for(PROCESS_STARTED_EVENT, 2));
  EXPECT_EQ(third->deaths, 0);
}

TEST_F(ProcessTest, IsRunningAgainWhenItRegistersInsteadOfLeaving) {
  add_process("bank", {"sleep", "1000"}, {{"stop_grace", "0.05"}});
  open_and_start();
  const auto first = attach("bank", "first");
  process("bank")->start();
  process("bank")->remove_orb("first");
  const auto back = attach("bank", "back");
  back->is_registered = true;
  const auto waiting = attach("bank", "waiting");
  process("bank")->start();
  ASSERT_TRUE(wait_until([&] { return waiting->deaths == 1; }));
  EXPECT_EQ(back->deaths, 0);
  // Running: an exit tells those that registered.
  kill(pids_started()[0], SIGKILL);
  EXPECT_TRUE(wait_until([&] { return back->deaths == 1; }));
}

TEST_F(ProcessTest, FailsARememberedStartThatCannotBeMade) {
  support::write_file(m_dir.file("program"), "#!/bin/sh\nexec sleep 1000\n");
  ASSERT_EQ(chmod(m_dir.file("program").c_str(), 0755), 0);
  add_process("bank", {m_dir.file("program")});
  open_and_start();
  const auto first = attach("bank");
  process("bank")->start();
  process("bank")->remove_orb("bank");
  const auto second = attach("bank");
  process("bank")->start();
  ASSERT_EQ(unlink(m_dir.file("program").c_str()), 0);
  kill(pids_started()[0], SIGKILL);
  EXPECT_TRUE(wait_until([&] { return second->deaths == 1; }));
  EXPECT_THAT(events(PROCESS_START_FAILED_EVENT), SizeIs(1));
}

TEST_F(ProcessTest, AStartBetweenExitAndItsReportMakesANewRun) {
  add_process("bank", {"sleep", "1000"});
  open_and_start();
  const auto old = attach("bank");
  process("bank")->start();
  std::promise<void> telling;
  std::promise<void> go_on;
  old->on_death = [&] {
    telling.set_value();
    go_on.get_future().wait();
  };
  kill(pids_started()[0], SIGKILL);
  telling.get_future().wait();
  // The old run's report is under way; this ORB is of the next run.
  const auto fresh = attach("bank", "fresh");
  process("bank")->start();
  go_on.set_value();
  ASSERT_TRUE(wait_for(PROCESS_STARTED_EVENT, 2));
  EXPECT_EQ(old->deaths, 1);
  EXPECT_EQ(fresh->deaths, 0);
  EXPECT_EQ(kill(pids_started()[1], 0), 0);
}

TEST_F(ProcessTest, MayBeStartedFromWithinTheReportOfItsDeath) {
  add_process("bank", {"sleep", "1000"});
  open_and_start();
  const auto old = attach("bank");
  process("bank")->start();
  old->on_death = [&] { process("bank")->start(); };
  kill(pids_started()[0], SIGKILL);
  EXPECT_TRUE(wait_for(PROCESS_STARTED_EVENT, 2));
  EXPECT_EQ(old->deaths, 1);
}

TEST_F(ProcessTest, GoesOnWhenAnOrbFailsToHandleADeath) {
  add_process("bank", {"sleep", "1000"});
  open_and_start();
  const auto bad = attach("bank", "bad");
  const auto good = attach("bank", "good");
  bad->on_death = [] { throw CORBA::INTERNAL(7, CORBA::COMPLETED_NO); };
  process("bank")->start();
  kill(pids_started()[0], SIGKILL);
  EXPECT_TRUE(wait_until([&] { return good->deaths == 1; }));
  ASSERT_TRUE(wait_for(DEATH_REPORT_FAILED_EVENT));
  EXPECT_THAT(events(DEATH_REPORT_FAILED_EVENT)[0].message, HasSubstr("INTERNAL"));
}

TEST_F(ProcessTest, KillsTheWholeGroupWhenNothingRegistersInTime) {
  add_script("bank", "sleep 1000 & echo $! > " + m_dir.file("child") + "; wait", {{"startup_time_limit", "0.3"}});
  open_and_start();
  const auto orb = attach("bank");
  process("bank")->start();
  EXPECT_TRUE(wait_until([&] { return orb->deaths == 1; }));
  EXPECT_THAT(events(PROCESS_STARTUP_LIMIT_EVENT), SizeIs(1));
  const auto child = support::read_lines(m_dir.file("child"));
  ASSERT_THAT(child, SizeIs(1));
  const auto status = "/proc/" + child[0] + "/status";
  EXPECT_TRUE(wait_until([&] {
    const auto text = support::read_file(status);
    return text.empty() || text.find("State:\tZ") != std::string::npos;
  }));
}

TEST_F(ProcessTest, HasNoStartupLimitOnceItRegistered) {
  add_process("bank", {"sleep", "1000"}, {{"startup_time_limit", "0.1"}});
  add_process("slow", {"sleep", "1000"}, {{"startup_time_limit", "0.2"}});
  open_and_start();
  const auto orb = attach("bank");
  const auto slow = attach("slow");
  process("bank")->start();
  orb->is_registered = true;
  process("slow")->start();
  ASSERT_TRUE(wait_until([&] { return slow->deaths == 1; }));
  EXPECT_EQ(orb->deaths, 0);
  EXPECT_EQ(kill(pids_started()[0], 0), 0);
}

TEST_F(ProcessTest, AProcessThatRegisteredByItselfIsNotStarted) {
  add_process("bank", {"sleep", "1000"});
  open_and_start();
  const auto running = process("bank", true);
  const auto orb = make_orb("bank", running);
  running->add_orb(orb.get());
  running->start();
  EXPECT_THAT(pids_started(), IsEmpty());
  // Once its last ORB has unregistered, there is nobody left to wait for.
  running->remove_orb("bank");
  const auto next = attach("bank");
  process("bank")->start();
  EXPECT_THAT(pids_started(), SizeIs(1));
}

TEST_F(ProcessTest, RecordsTheRunWhileItLasts) {
  add_process("bank", {"sleep", "1000"});
  open_and_start();
  const auto orb = attach("bank");
  process("bank")->start();
  EXPECT_TRUE(wait_until([&] { return recorded() == std::vector<std::string>{"bank"}; }));
  kill(pids_started()[0], SIGKILL);
  EXPECT_TRUE(wait_until([&] { return recorded().empty(); }));
}

TEST_F(ProcessTest, RestartOfTheHostKillsNoServerAndWatchesItAgain) {
  add_process("bank", {"sleep", "1000"});
  open_and_start();
  {
    const auto orb = attach("bank");
    process("bank")->start();
  }
  const pid_t pid = pids_started()[0];
  close();
  ASSERT_EQ(kill(pid, 0), 0);

  open();
  EXPECT_THAT(events(PROCESS_WATCHED_AGAIN_EVENT), SizeIs(1));
  const auto restored = attach("bank");
  host().start();
  process("bank")->start();
  EXPECT_THAT(pids_started(), SizeIs(1));
  EXPECT_EQ(restored->deaths, 0);
  kill(pid, SIGKILL);
  EXPECT_TRUE(wait_until([&] { return restored->deaths == 1; }));
  EXPECT_TRUE(wait_until([&] { return recorded().empty(); }));
}

TEST_F(ProcessTest, ReportsDeathsThatTheHostMissedOncePluginsAreReady) {
  add_process("bank", {"sleep", "1000"});
  open_and_start();
  {
    const auto orb = attach("bank");
    process("bank")->start();
  }
  close();
  const pid_t pid = pids_started()[0];
  kill(pid, SIGKILL);
  // Not the host's child any more in real life; here nobody else waits for it.
  ASSERT_EQ(waitpid(pid, nullptr, 0), pid);

  open();
  const auto restored = attach("bank");
  EXPECT_EQ(restored->deaths, 0);
  host().start();
  EXPECT_TRUE(wait_until([&] { return restored->deaths == 1; }));
  EXPECT_THAT(events(PROCESS_GONE_EVENT), SizeIs(1));
}

TEST_F(ProcessTest, TakesNoOtherProcessOfTheSamePidForItsOwn) {
  add_process("bank", {"sleep", "1000"});
  open();
  QZ_PSS::in_transaction(host().tx_current_nc(), host().session_manager_nc(), [](QZ_PSS::TxSessionAssociation& a) {
    // This test itself, as if it had started at another time.
    find_home<QZ_LocatorStore::ActiveProcessHome>(a).create(
        "bank", static_cast<CORBA::ULong>(getpid()), 1, support::read_lines("/proc/sys/kernel/random/boot_id").at(0),
        false);
  });
  close();
  open();
  const auto restored = attach("bank");
  host().start();
  EXPECT_TRUE(wait_until([&] { return restored->deaths == 1; }));
  EXPECT_THAT(events(PROCESS_WATCHED_AGAIN_EVENT), IsEmpty());
}

TEST_F(ProcessTest, StillLeavesAfterARestartOfTheHost) {
  add_process("bank", {"sleep", "1000"});
  open_and_start();
  {
    const auto orb = attach("bank");
    process("bank")->start();
    process("bank")->remove_orb("bank");
  }
  close();
  open_and_start();
  const auto orb = attach("bank");
  process("bank")->start();
  EXPECT_THAT(pids_started(), SizeIs(1));
  kill(pids_started()[0], SIGKILL);
  EXPECT_TRUE(wait_for(PROCESS_STARTED_EVENT, 2));
  EXPECT_EQ(orb->deaths, 0);
}

TEST_F(ProcessTest, SurvivesManyStartsAndExitsAtOnce) {
  constexpr int COUNT = 20;
  for (int i = 0; i < COUNT; ++i) add_process("p" + std::to_string(i), {"/bin/true"});
  open_and_start();
  std::vector<std::thread> threads;
  std::atomic<int> deaths{0};
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&, t] {
      for (int i = t; i < COUNT; i += 4)
        for (int run = 0; run < 5; ++run) {
          const auto orb = attach("p" + std::to_string(i));
          process("p" + std::to_string(i))->start();
          if (wait_until([&] { return orb->deaths == 1; })) ++deaths;
        }
    });
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(deaths, COUNT * 5);
}

}  // namespace
