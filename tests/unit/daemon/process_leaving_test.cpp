// Server processes whose last ORB has unregistered, and starts that are asked until they exit.
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/files.h"
#include "tests/unit/daemon/process_test.h"

namespace {

using namespace poalocd;
using support::wait_until;
using testing::SizeIs;

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
  const auto short_stay = attach("bank", "short stay");
  back->is_registered = short_stay->is_registered = true;
  const auto waiting = attach("bank", "waiting");
  process("bank")->start();
  ASSERT_TRUE(wait_until([&] { return waiting->deaths == 1; }));
  EXPECT_EQ(back->deaths, 0);
  // Running: an exit tells all, for none of them awaits another run.
  short_stay->is_registered = false;
  back->alive = false;  // as soon as the process has gone
  kill(pids_started()[0], SIGKILL);
  EXPECT_TRUE(wait_until([&] { return back->deaths == 1 && short_stay->deaths == 1; }));
}

class ReplacedProcessTest : public ProcessTest {
 protected:
  // A run that leaves, and a server that somebody has started in its place meanwhile: its ORB.
  FakeOrb start_and_replace(std::vector<std::pair<std::string, std::string>> settings = {}) {
    add_process("bank", {"sleep", "1000"}, std::move(settings));
    open_and_start();
    const auto first = attach("bank", "first");
    process("bank")->start();
    process("bank")->remove_orb("first");
    const auto by_hand = attach("bank", "by hand");
    by_hand->is_registered = true;
    return by_hand;
  }
};

TEST_F(ReplacedProcessTest, ExitOfALeavingRunSparesAServerThatSomebodyStartedInItsPlace) {
  const auto by_hand = start_and_replace();
  host().locator().active_orbs().insert(by_hand.get());
  kill(pids_started()[0], SIGKILL);
  ASSERT_TRUE(wait_until([&] { return by_hand->probes == 1; }));
  process("bank")->start();
  EXPECT_EQ(by_hand->deaths, 0);
  // Up, but not watched.
  by_hand->alive = false;
  ASSERT_TRUE(wait_until([&] {
    host().liveness_monitor().check();
    return by_hand->deaths == 1;
  }));
  EXPECT_THAT(pids_started(), SizeIs(1));
}

TEST_F(ReplacedProcessTest, ExitFailsThoseWhoWaitForWhatThatServerHasNotRegistered) {
  const auto by_hand = start_and_replace();
  FakeOrb late;
  by_hand->on_probe = [&] {
    late = attach("bank", "late");
    process("bank")->start();
  };
  const auto waiting = attach("bank", "waiting");
  process("bank")->start();
  kill(pids_started()[0], SIGKILL);
  ASSERT_TRUE(wait_until([&] { return waiting->deaths == 1; }));
  ASSERT_TRUE(wait_until([&] { return late->deaths == 1; }));
  EXPECT_EQ(by_hand->deaths, 0);
  EXPECT_THAT(pids_started(), SizeIs(1));
}

TEST_F(ReplacedProcessTest, ExitSparesThatServerAlsoWhenTheRunWasToldToEnd) {
  const auto by_hand = start_and_replace();
  const auto waiting = attach("bank", "waiting");
  processes().find_configured("bank")->stop();
  ASSERT_TRUE(wait_until([&] { return waiting->deaths == 1; }));
  // Up, and not watched any more.
  const auto state = [&] {
    return QZ_LocatorAdmin::ActiveProcessInfo_var(processes().find_configured("bank")->info())->state;
  };
  ASSERT_TRUE(wait_until([&] { return state() == QZ_LocatorAdmin::PROCESS_RUNNING; }));
  EXPECT_EQ(by_hand->deaths, 0);
}

TEST_F(ReplacedProcessTest, ExitSparesThatServerAlsoWhenTheRunWasTakenForUpAgain) {
  const auto by_hand = start_and_replace({{"stop_grace", "0.05"}});
  const auto waiting = attach("bank", "waiting");
  process("bank")->start();
  ASSERT_TRUE(wait_until([&] { return waiting->deaths == 1; }));
  kill(pids_started()[0], SIGKILL);
  ASSERT_TRUE(wait_until([&] { return by_hand->probes == 1; }));
  process("bank")->start();
  EXPECT_EQ(by_hand->deaths, 0);
  EXPECT_THAT(pids_started(), SizeIs(1));
}

TEST_F(ReplacedProcessTest, ExitOfALeavingRunTellsWhatCameBackInIt) {
  const auto back = start_and_replace();
  back->alive = false;  // as soon as the process has gone
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

}  // namespace
