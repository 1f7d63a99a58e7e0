// Processes that are told to end, with real ones.
#include <future>

#include "tests/support/files.h"
#include "tests/unit/daemon/process_test.h"

namespace {

using namespace poalocd;
using support::wait_until;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class ProcessStopTest : public ProcessTest {
 protected:
  ActiveProcessImpl& bank() { return *processes().find_configured("bank"); }
  QZ_LocatorAdmin::ActiveProcessInfo info() {
    return *QZ_LocatorAdmin::ActiveProcessInfo_var(bank().info()).operator->();
  }
  bool wait_for_state(QZ_LocatorAdmin::ProcessState state) {
    return wait_until([&] { return info().state == state; });
  }
  std::string restart_failure() {
    try {
      bank().restart();
    } catch (const QZ_LocatorInternal::StartFailed& e) {
      return e.reason.in();
    }
    return "none";
  }
  // Makes the file of that name when it is told to end, and then does as it is said to.
  std::string script_trapping(const std::string& reaction) const {
    return "trap 'echo > " + m_dir.file("told") + "; " + reaction + "' TERM; echo up >> " + m_dir.file("ups") +
           "; while :; do sleep 0.01; done";
  }
  bool wait_for_ups(std::size_t times) {
    return wait_until([&] { return support::read_lines(m_dir.file("ups")).size() == times; });
  }
  bool wait_until_told() {
    return wait_until([&] { return support::file_exists(m_dir.file("told")); });
  }
};

TEST_F(ProcessStopTest, EndsTheWholeGroupAndTellsItsOrbs) {
  add_script("bank", "sleep 1000 & echo $! > " + m_dir.file("child") + "; wait");
  open_and_start();
  const auto orb = attach("bank");
  orb->is_registered = true;
  bank().start();
  ASSERT_TRUE(wait_until([&] { return support::read_lines(m_dir.file("child")).size() == 1; }));
  bank().stop();
  EXPECT_THAT(events(PROCESS_STOPPING_EVENT), SizeIs(1));
  EXPECT_TRUE(wait_until([&] { return orb->deaths == 1; }));
  EXPECT_TRUE(wait_for_state(QZ_LocatorAdmin::PROCESS_STOPPED));
  const pid_t child = std::stoi(support::read_lines(m_dir.file("child"))[0]);
  EXPECT_TRUE(wait_until([&] { return kill(child, 0) != 0; }));
  EXPECT_THAT(events(PROCESS_STOP_KILLED_EVENT), IsEmpty());
}

TEST_F(ProcessStopTest, KillsWhatDoesNotEndInTime) {
  add_script("bank", script_trapping(":"), {{"stop_grace", "0.2"}});
  open_and_start();
  const auto orb = attach("bank");
  bank().start();
  ASSERT_TRUE(wait_for_ups(1));
  bank().stop();
  bank().stop();
  EXPECT_EQ(info().state, QZ_LocatorAdmin::PROCESS_LEAVING);
  ASSERT_TRUE(wait_for(PROCESS_KILLED_EVENT));
  EXPECT_EQ(events(PROCESS_KILLED_EVENT)[0].parameters.at(2), "SIGKILL");
  ASSERT_THAT(events(PROCESS_STOP_KILLED_EVENT), SizeIs(1));
  EXPECT_EQ(events(PROCESS_STOP_KILLED_EVENT)[0].parameters.at(2), "0.2");
  EXPECT_TRUE(support::file_exists(m_dir.file("told")));
  EXPECT_TRUE(wait_until([&] { return orb->deaths == 1; }));
}

TEST_F(ProcessStopTest, KillsNoLaterRun) {
  add_script("bank", script_trapping("exit 0"), {{"stop_grace", "0.3"}});
  open_and_start();
  bank().start();
  ASSERT_TRUE(wait_for_ups(1));
  bank().stop();
  ASSERT_TRUE(wait_for(PROCESS_EXITED_EVENT));
  ASSERT_TRUE(wait_for_state(QZ_LocatorAdmin::PROCESS_STOPPED));
  bank().start();
  // Longer than the grace period of the first run.
  std::promise<void> passed;
  EventLoop loop(&host().event_log());
  loop.begin();
  loop.after(Milliseconds(600), [&] { passed.set_value(); });
  passed.get_future().wait();
  EXPECT_THAT(pids_started(), SizeIs(2));
  EXPECT_EQ(kill(pids_started()[1], 0), 0);
  EXPECT_THAT(events(PROCESS_STOP_KILLED_EVENT), IsEmpty());
}

TEST_F(ProcessStopTest, RefusesWhereThereIsNothingToEnd) {
  add_process("bank", {"sleep", "1000"});
  open_and_start();
  EXPECT_THROW(bank().stop(), QZ_LocatorAdmin::NotRunning);
  // Its server was started by hand.
  bank().mark_running();
  EXPECT_THROW(bank().stop(), QZ_LocatorAdmin::NotRunning);
  EXPECT_THAT(restart_failure(), HasSubstr("was not started by poalocd"));
}

TEST_F(ProcessStopTest, RemembersAStartAskedWhileItEnds) {
  add_script("bank", script_trapping("while [ ! -e " + m_dir.file("go") + " ]; do sleep 0.01; done; exit 0"));
  open_and_start();
  const auto old = attach("bank", "old");
  old->is_registered = true;
  bank().start();
  ASSERT_TRUE(wait_for_ups(1));
  bank().stop();
  ASSERT_TRUE(wait_until_told());
  const auto fresh = attach("bank", "fresh");
  bank().start();
  EXPECT_THAT(pids_started(), SizeIs(1));
  support::write_file(m_dir.file("go"), "");
  EXPECT_TRUE(wait_for_ups(2));
  EXPECT_EQ(old->deaths, 1);
  EXPECT_EQ(fresh->deaths, 0);
  EXPECT_THAT(info().state, QZ_LocatorAdmin::PROCESS_STARTING);
}

TEST_F(ProcessStopTest, ASecondStopTakesARememberedStartBack) {
  add_script("bank", script_trapping("while [ ! -e " + m_dir.file("go") + " ]; do sleep 0.01; done; exit 0"));
  open_and_start();
  bank().start();
  ASSERT_TRUE(wait_for_ups(1));
  bank().restart();
  ASSERT_TRUE(wait_until_told());
  const auto waiting = attach("bank");
  bank().stop();
  support::write_file(m_dir.file("go"), "");
  // Who waited for the next run is told that there will be none.
  EXPECT_TRUE(wait_until([&] { return waiting->deaths == 1; }));
  EXPECT_TRUE(wait_for_state(QZ_LocatorAdmin::PROCESS_STOPPED));
  EXPECT_THAT(pids_started(), SizeIs(1));
}

TEST_F(ProcessStopTest, AStopWhileItsEndIsReportedTakesTheStartBack) {
  add_process("bank", {"sleep", "1000"});
  open_and_start();
  const auto old = attach("bank", "old");
  old->is_registered = true;
  bank().start();
  std::promise<void> telling;
  std::promise<void> go_on;
  old->on_death = [&] {
    telling.set_value();
    go_on.get_future().wait();
  };
  bank().restart();
  telling.get_future().wait();
  const auto fresh = attach("bank", "fresh");
  bank().stop();
  EXPECT_THROW(bank().stop(), QZ_LocatorAdmin::NotRunning);
  go_on.set_value();
  EXPECT_TRUE(wait_until([&] { return fresh->deaths == 1; }));
  EXPECT_TRUE(wait_for_state(QZ_LocatorAdmin::PROCESS_STOPPED));
  EXPECT_THAT(pids_started(), SizeIs(1));
}

TEST_F(ProcessStopTest, AStopTakesBackAStartAskedWhileTheEndIsReported) {
  add_process("bank", {"sleep", "1000"});
  open_and_start();
  const auto old = attach("bank", "old");
  old->is_registered = true;
  process("bank")->start();
  FakeOrb next;
  old->on_death = [&] {
    next = attach("bank", "next");
    bank().start();
    bank().stop();
  };
  kill(pids_started()[0], SIGKILL);
  ASSERT_TRUE(wait_until([&] { return old->deaths == 1; }));
  EXPECT_TRUE(wait_until([&] { return next->deaths == 1; }));
  EXPECT_TRUE(wait_for_state(QZ_LocatorAdmin::PROCESS_STOPPED));
  EXPECT_THAT(pids_started(), SizeIs(1));
}

TEST_F(ProcessStopTest, RestartsARunAndStartsWhatDoesNotRun) {
  add_process("bank", {"sleep", "1000"});
  open_and_start();
  bank().restart();
  ASSERT_THAT(pids_started(), SizeIs(1));
  const auto orb = attach("bank");
  orb->is_registered = true;
  bank().restart();
  ASSERT_TRUE(wait_for(PROCESS_STARTED_EVENT, 2));
  EXPECT_EQ(orb->deaths, 1);
  EXPECT_EQ(kill(pids_started()[1], 0), 0);
}

TEST_F(ProcessStopTest, RestartKeepsOrbsThatWaitForTheirServer) {
  add_process("bank", {"sleep", "1000"});
  open_and_start();
  const auto waiting = attach("bank");
  bank().start();
  bank().restart();
  ASSERT_TRUE(wait_for(PROCESS_STARTED_EVENT, 2));
  EXPECT_EQ(waiting->deaths, 0);
  EXPECT_EQ(info().orbs.length(), 1U);
}

TEST_F(ProcessStopTest, RestartEndsOneThatIsLeaving) {
  add_process("bank", {"sleep", "1000"}, {{"stop_grace", "1000"}});
  open_and_start();
  const auto orb = attach("bank");
  bank().start();
  bank().remove_orb("bank");
  EXPECT_EQ(info().state, QZ_LocatorAdmin::PROCESS_LEAVING);
  bank().restart();
  EXPECT_TRUE(wait_for(PROCESS_STARTED_EVENT, 2));
}

TEST_F(ProcessStopTest, TellsTheOrbsWhenTheRestartFails) {
  support::write_file(m_dir.file("program"), "#!/bin/sh\nexec sleep 1000\n");
  ASSERT_EQ(chmod(m_dir.file("program").c_str(), 0755), 0);
  add_process("bank", {m_dir.file("program")});
  open_and_start();
  const auto orb = attach("bank");
  bank().start();
  ASSERT_EQ(unlink(m_dir.file("program").c_str()), 0);
  bank().restart();
  EXPECT_TRUE(wait_until([&] { return orb->deaths == 1; }));
  EXPECT_THAT(restart_failure(), HasSubstr("No such file"));
}

TEST_F(ProcessStopTest, ItsRecordShowsThatItIsLeaving) {
  add_script("bank", script_trapping(":"), {{"stop_grace", "1000"}});
  open_and_start();
  bank().start();
  ASSERT_TRUE(wait_for_ups(1));
  bank().stop();
  close();
  open_and_start();
  EXPECT_EQ(info().state, QZ_LocatorAdmin::PROCESS_LEAVING);
  EXPECT_EQ(info().pid, static_cast<CORBA::ULong>(pids_started().at(0)));
  kill(pids_started()[0], SIGKILL);
  EXPECT_TRUE(wait_for_state(QZ_LocatorAdmin::PROCESS_STOPPED));
}

TEST_F(ProcessStopTest, TellsWhatItIs) {
  add_process("bank", {"sleep", "1000"});
  open_and_start();
  EXPECT_EQ(info().state, QZ_LocatorAdmin::PROCESS_STOPPED);
  EXPECT_EQ(info().pid, 0U);
  EXPECT_EQ(info().start_time, 0U);
  const auto now = [] {
    return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::system_clock::now().time_since_epoch())
        .count();
  };
  const auto before = now();
  const auto orb = attach("bank", "teller");
  bank().start();
  auto up = info();
  EXPECT_EQ(up.state, QZ_LocatorAdmin::PROCESS_STARTING);
  EXPECT_EQ(up.pid, static_cast<CORBA::ULong>(pids_started().at(0)));
  ASSERT_EQ(up.orbs.length(), 1U);
  EXPECT_STREQ(up.orbs[0], "teller");
  // The system counts in hundredths of a second.
  EXPECT_GE(static_cast<long long>(up.start_time), before - 20'000);
  EXPECT_LE(static_cast<long long>(up.start_time), now() + 20'000);
  orb->is_registered = true;
  EXPECT_EQ(info().state, QZ_LocatorAdmin::PROCESS_RUNNING);
  EXPECT_EQ(info().start_time, up.start_time);
}

}  // namespace
