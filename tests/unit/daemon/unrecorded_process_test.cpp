// Processes that a killed daemon had started without a record of them.
#include <sys/stat.h>
#include <sys/wait.h>

#include "daemon/run_search.h"
#include "platform/pss/transaction_guard.h"
#include "tests/support/files.h"
#include "tests/unit/daemon/process_test.h"

namespace {

using namespace poalocd;
using support::wait_until;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class UnrecordedProcessTest : public ProcessTest {
 protected:
  std::string lock_file() const { return m_dir.file("state.db.lock"); }
  std::string owner() const { return support::read_lines(lock_file()).at(0); }

  pid_t start(const std::string& name) {
    open_and_start();
    const auto orb = attach(name);
    process(name)->start();
    wait_until([&] { return recorded() == std::vector<std::string>{name}; });
    return pids_started().at(0);
  }
  // Leaves the store as a host that was killed before it wrote the record; an earlier one's record: of that pid.
  void close_as_if_killed(const std::string& name, pid_t recorded_pid = 0) {
    QZ_PSS::in_transaction(host().tx_current_nc(), host().session_manager_nc(), [&](QZ_PSS::TxSessionAssociation& a) {
      auto& home = find_home<QZ_LocatorStore::ActiveProcessHome>(a);
      destroy_if_found([&] { return home.find_by_name(name); });
      if (recorded_pid != 0) home.create(name, static_cast<CORBA::ULong>(recorded_pid), 1, "another boot", false);
    });
    const std::string killed = owner();
    close();
    support::write_file(lock_file(), killed + "\n" + killed + "/1\n");
  }
  void expect_watched(pid_t pid) {
    EXPECT_THAT(events(PROCESS_WATCHED_AGAIN_EVENT), SizeIs(1));
    EXPECT_THAT(recorded(), ElementsAre("bank"));
    EXPECT_THAT(support::read_lines(lock_file()), ElementsAre(owner()));
    const auto orb = attach("bank");
    host().start();
    process("bank")->start();
    EXPECT_THAT(pids_started(), SizeIs(1));
    EXPECT_EQ(orb->deaths, 0);
    kill(pid, SIGKILL);
    EXPECT_TRUE(wait_until([&] { return orb->deaths == 1; }));
  }
};

TEST_F(UnrecordedProcessTest, IsFoundAndWatched) {
  add_process("bank", {"sleep", "1000"});
  const pid_t pid = start("bank");
  close_as_if_killed("bank");
  open();
  expect_watched(pid);
}

TEST_F(UnrecordedProcessTest, WinsOverTheRecordOfTheRunBefore) {
  add_process("bank", {"sleep", "1000"});
  const pid_t pid = start("bank");
  close_as_if_killed("bank", 1);
  open();
  expect_watched(pid);
}

TEST_F(UnrecordedProcessTest, OfAnotherDaemonIsNotLookedAt) {
  add_process("bank", {"sleep", "1000"});
  start("bank");
  close_as_if_killed("bank");
  support::write_file(lock_file(), "1.1.another\n1.1.another/1\n");
  open();
  EXPECT_THAT(events(PROCESS_WATCHED_AGAIN_EVENT), IsEmpty());
  EXPECT_TRUE(CORBA::is_nil(QZ_LocatorInternal::ActiveProcess_var(processes().find("bank"))));
}

// A helper in a group of its own carries the same mark, and looks like a server when the server has gone.
TEST_F(UnrecordedProcessTest, WhatARecordedRunHasLeftBehindIsNotTakenForIt) {
  const std::string file = m_dir.file("helper");
  add_script("bank", "[ -e " + file + " ] || { timeout 1000 sleep 1000 & echo $! > " + file + "; }; exec sleep 1000");
  const pid_t pid = start("bank");
  ASSERT_TRUE(wait_until([&] { return support::read_lines(file).size() == 1; }));
  const pid_t helper = std::stoi(support::read_lines(file).at(0));
  ASSERT_TRUE(wait_until([&] { return getpgid(helper) == helper; }));
  ASSERT_THAT(find_runs({owner() + "/1"}), SizeIs(1));
  ASSERT_TRUE(wait_until([&] { return support::read_lines(lock_file()).size() == 1; }));
  const std::string killed = owner();
  close();
  support::write_file(lock_file(), killed + "\n");
  kill(pid, SIGKILL);
  ASSERT_EQ(waitpid(pid, nullptr, 0), pid);
  open();
  EXPECT_THAT(events(PROCESS_WATCHED_AGAIN_EVENT), IsEmpty());
  const auto orb = attach("bank");
  host().start();
  ASSERT_TRUE(wait_until([&] { return orb->deaths == 1; }));
  const auto next = attach("bank");
  process("bank")->start();
  EXPECT_TRUE(wait_until([&] { return pids_started().size() == 2; }));
  kill(-helper, SIGKILL);
}

TEST_F(UnrecordedProcessTest, ChildrenOfAProcessAreNotTakenForIt) {
  // One that stays in the group, and one in a session of its own that outlives the group.
  add_script("bank", "sleep 1000 & setsid sh -c 'echo $$ > " + m_dir.file("daemon") + "; exec sleep 1000' & wait");
  const pid_t pid = start("bank");
  ASSERT_TRUE(wait_until([&] { return support::read_lines(m_dir.file("daemon")).size() == 1; }));
  const pid_t stray = std::stoi(support::read_lines(m_dir.file("daemon")).at(0));
  const auto found = find_runs({"1.1.another/1", owner() + "/1"});
  ASSERT_THAT(found, SizeIs(1));
  EXPECT_EQ(found.begin()->first, "bank");
  EXPECT_EQ(found.begin()->second, ProcessInstance::identify(pid));
  kill(-pid, SIGKILL);
  ASSERT_TRUE(wait_for(PROCESS_KILLED_EVENT));
  EXPECT_THAT(find_runs({owner() + "/1"}), IsEmpty());
  kill(stray, SIGKILL);
}

}  // namespace
