// What is recorded of server processes, and how the next run of the host takes them over.
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/pss/transaction_guard.h"
#include "tests/support/files.h"
#include "tests/unit/daemon/process_test.h"

namespace {

using namespace poalocd;
using support::wait_until;
using testing::IsEmpty;
using testing::SizeIs;

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

// A server that is still starting has registered nothing yet that could be restored.
TEST_F(ProcessTest, IsNotLeavingWhenPluginsDropWhatTheyRestored) {
  add_process("bank", {"sleep", "1000"});
  open_and_start();
  {
    const auto orb = attach("bank");
    process("bank")->start();
  }
  close();
  open();
  const auto restored = attach("bank");
  process("bank")->remove_orb("bank");
  host().start();
  const auto orb = attach("bank");
  process("bank")->start();
  EXPECT_THAT(events(PROCESS_LEAVING_EVENT), IsEmpty());
  kill(pids_started()[0], SIGKILL);
  EXPECT_TRUE(wait_until([&] { return orb->deaths == 1; }));
  EXPECT_THAT(pids_started(), SizeIs(1));
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

}  // namespace
