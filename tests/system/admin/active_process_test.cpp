// Processes that run, seen and driven over the wire.
#include <signal.h>

#include "tests/system/admin/active_test.h"

namespace {

using QZ_LocatorAdmin::ActiveProcess_var;
using QZ_LocatorAdmin::ActiveProcessInfo;

class ActiveProcessTest : public ActiveTest {
 protected:
  Words running(CORBA::ULong how_many = 1000) const {
    const auto registry = active_processes();
    return all_pages([&](auto&&... a) { return QZ_LocatorAdmin::ActiveProcessInfoList_var(registry->list(a...)); },
                     how_many, [](const ActiveProcessInfo& info) { return std::string(info.name.in()); });
  }
  // "TEXT NEXT"
  static std::string read_log(QZ_LocatorAdmin::ActiveProcess_ptr process, CORBA::LongLong position,
                              CORBA::ULong how_many = 1000) {
    CORBA::LongLong next = -1;
    const CORBA::OctetSeq_var octets = process->read_log(position, how_many, next);
    return std::string(reinterpret_cast<const char*>(octets->get_buffer()), octets->length()) + " " +
           std::to_string(next);
  }
};

TEST_F(ActiveProcessTest, StartsAndStops) {
  const auto bank = add_script("bank", "exec sleep 1000");
  EXPECT_EQ(text(bank->name()), "bank");
  EXPECT_EQ(info_of(bank).state, QZ_LocatorAdmin::PROCESS_STOPPED);
  bank->start();
  const auto up = info_of(bank);
  EXPECT_EQ(up.state, QZ_LocatorAdmin::PROCESS_STARTING);
  ASSERT_GT(up.pid, 0U);
  EXPECT_EQ(kill(static_cast<pid_t>(up.pid), 0), 0);
  EXPECT_GT(up.start_time, 0U);
  bank->start();
  EXPECT_EQ(info_of(bank).pid, up.pid);

  bank->stop();
  EXPECT_TRUE(wait_for_state(bank, QZ_LocatorAdmin::PROCESS_STOPPED));
  EXPECT_NE(kill(static_cast<pid_t>(up.pid), 0), 0);
  EXPECT_THROW(bank->stop(), QZ_LocatorAdmin::NotRunning);
}

TEST_F(ActiveProcessTest, KillsAfterTheGracePeriod) {
  const auto bank = add_script("bank", "trap 'echo told' TERM; echo up; while :; do sleep 0.01; done", 200);
  bank->start();
  ASSERT_TRUE(support::wait_until([&] { return read_log(bank, 0) == "up\n 3"; }));
  bank->stop();
  EXPECT_EQ(info_of(bank).state, QZ_LocatorAdmin::PROCESS_LEAVING);
  EXPECT_TRUE(wait_for_state(bank, QZ_LocatorAdmin::PROCESS_STOPPED));
  EXPECT_THAT(read_log(bank, 3), testing::HasSubstr("told\n"));
}

TEST_F(ActiveProcessTest, Restarts) {
  const auto bank = add_script("bank", "exec sleep 1000");
  bank->restart();
  const auto first = info_of(bank).pid;
  ASSERT_GT(first, 0U);
  bank->restart();
  EXPECT_TRUE(support::wait_until([&] {
    const auto pid = info_of(bank).pid;
    return pid != 0 && pid != first;
  }));
}

TEST_F(ActiveProcessTest, SaysWhyItCannotStart) {
  const QZ_IMRAdmin::Process_var entry = add_process("bank", {"/no/such/program"});
  const ActiveProcess_var bank = active_processes()->find("bank");
  for (const bool again : {false, true}) {
    try {
      again ? bank->restart() : bank->start();
      ADD_FAILURE() << "started";
    } catch (const QZ_LocatorAdmin::StartFailed& e) {
      EXPECT_STREQ(e.reason, "\"/no/such/program\" cannot be run: No such file or directory");
    }
  }
}

TEST_F(ActiveProcessTest, ReadsTheLogFromAnyPosition) {
  const auto bank = add_script("bank", "echo one; echo two; exec sleep 1000");
  EXPECT_EQ(read_log(bank, 0), " 0") << "there is no file yet";
  bank->start();
  ASSERT_TRUE(support::wait_until([&] { return read_log(bank, 0) == "one\ntwo\n 8"; }));
  EXPECT_EQ(read_log(bank, 4), "two\n 8");
  EXPECT_EQ(read_log(bank, 1, 2), "ne 3");
  EXPECT_EQ(read_log(bank, -4), "two\n 8");
  EXPECT_EQ(read_log(bank, -1000), "one\ntwo\n 8");
  EXPECT_EQ(read_log(bank, 8), " 8");
  EXPECT_EQ(read_log(bank, 1000), " 8");
  support::append_line(log_file(), "three");
  EXPECT_EQ(read_log(bank, 8), "three\n 14");
}

TEST_F(ActiveProcessTest, SaysThatThereIsNoLog) {
  const QZ_IMRAdmin::Process_var entry = add_process("bank");
  const ActiveProcess_var bank = active_processes()->find("bank");
  try {
    read_log(bank, 0);
    ADD_FAILURE() << "read";
  } catch (const QZ_LocatorAdmin::NoLog& e) {
    EXPECT_STREQ(e.reason, "it has no log file");
  }
}

TEST_F(ActiveProcessTest, ListsWhatDoesNotStandStill) {
  for (int i = 0; i < 12; ++i) {
    const std::string name = "p" + std::to_string(10 + i);
    const auto process = add_script(name, "exec sleep 1000");
    if (i % 2 == 0) process->start();
  }
  const Words expected{"p10", "p12", "p14", "p16", "p18", "p20"};
  for (const CORBA::ULong page : {1U, 2U, 5U, 1000U}) EXPECT_EQ(running(page), expected) << page;
  CORBA::String_var next;
  EXPECT_EQ(QZ_LocatorAdmin::ActiveProcessInfoList_var(active_processes()->list("", 0, next.out()))->length(), 1U);
}

TEST_F(ActiveProcessTest, IsGoneWithItsEntry) {
  EXPECT_TRUE(CORBA::is_nil(ActiveProcess_var(active_processes()->find("nobody"))));
  const auto bank = add_script("bank", "exec sleep 1000");
  bank->start();
  const QZ_IMRAdmin::Process_var entry = processes()->find("bank");
  const auto pid = static_cast<pid_t>(info_of(bank).pid);
  entry->destroy(QZ_LocationCommon::DESTROY_DEEP);
  EXPECT_THROW(text(bank->name()), CORBA::OBJECT_NOT_EXIST);
  EXPECT_THROW(info_of(bank), CORBA::OBJECT_NOT_EXIST);
  EXPECT_THROW(bank->start(), CORBA::OBJECT_NOT_EXIST);
  EXPECT_THROW(bank->stop(), CORBA::OBJECT_NOT_EXIST);
  EXPECT_THROW(bank->restart(), CORBA::OBJECT_NOT_EXIST);
  EXPECT_THROW(read_log(bank, 0), CORBA::OBJECT_NOT_EXIST);
  EXPECT_TRUE(CORBA::is_nil(ActiveProcess_var(active_processes()->find("bank"))));
  // What runs goes on running.
  EXPECT_EQ(kill(pid, SIGKILL), 0);
}

TEST_F(ActiveProcessTest, ReferencesOutliveTheDaemon) {
  const auto bank = add_script("bank", "exec sleep 1000");
  bank->start();
  const auto before = info_of(bank);
  restart();
  const ActiveProcess_var again = active_processes()->find("bank");
  EXPECT_TRUE(bank->_is_equivalent(again));
  EXPECT_EQ(info_of(again).pid, before.pid);
  again->stop();
  EXPECT_TRUE(wait_for_state(again, QZ_LocatorAdmin::PROCESS_STOPPED));
}

TEST_F(ActiveProcessTest, RequestsThatWaitForAStoppedServerAreAnswered) {
  const auto bank = add_script("bank", "exec sleep 1000");
  add_poa("Bank", "bank");
  support::RequestSpec spec;
  spec.key = support::endpoint_id(m_locator.domain(), {"Bank"});
  auto client = connect();
  client.send(request(spec));
  ASSERT_TRUE(wait_for_state(bank, QZ_LocatorAdmin::PROCESS_STARTING));
  EXPECT_FALSE(client.something_arrived());
  bank->stop();
  EXPECT_TRUE(support::is_exception(client.receive_reply(), "TRANSIENT", support::minor_code(3)));
  EXPECT_TRUE(wait_for_state(bank, QZ_LocatorAdmin::PROCESS_STOPPED));
}

TEST_F(ActiveProcessTest, RequestsThatWaitForARestartedServerGoOnWaiting) {
  const auto bank = add_script("bank", "exec sleep 1000");
  add_poa("Bank", "bank");
  support::FakeServer server(m_locator, "bank");
  support::RequestSpec spec;
  spec.key = server.key_of("Bank");
  auto client = connect();
  client.send(request(spec));
  ASSERT_TRUE(wait_for_state(bank, QZ_LocatorAdmin::PROCESS_STARTING));
  const auto first = info_of(bank).pid;
  bank->restart();
  ASSERT_TRUE(support::wait_until([&] {
    const auto pid = info_of(bank).pid;
    return pid != 0 && pid != first;
  }));
  EXPECT_FALSE(client.something_arrived());
  server.add("Bank");
  EXPECT_TRUE(support::is_forward(client.receive_reply(), support::FakeServer::HOST, support::FakeServer::PORT,
                                  support::FakeServer::server_key("Bank")));
  EXPECT_EQ(info_of(bank).state, QZ_LocatorAdmin::PROCESS_RUNNING);
}

}  // namespace
