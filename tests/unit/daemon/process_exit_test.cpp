// Exits of server processes, and who is told of them.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <future>
#include <thread>

#include "tests/support/files.h"
#include "tests/unit/daemon/process_test.h"

namespace {

using namespace poalocd;
using support::wait_until;
using testing::HasSubstr;
using testing::SizeIs;

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
