// The example as its users run it: a stock client and a server that links the adapter, as programs of their own.
#include <signal.h>

#include <memory>
#include <set>

#include "tests/support/files.h"
#include "tests/support/locator_test.h"
#include "tests/support/loopback.h"
#include "tests/support/proc_info.h"
#include "tests/support/wait.h"

namespace {

using support::ChildProcess;

class BankTest : public support::LocatorTest {
 protected:
  void SetUp() override {
    m_locator.config().add_process(
        {"bank",
         {support::program("bank_server"), "-ORBendPoint", "giop:tcp:" + support::own_address() + ":"},
         {{"log_file", support::LocatorConfig::quoted(m_dir.file("bank.log"))}}});
    m_locator.config().add_orb("bank", "bank");
  }

  ChildProcess::Spec server_by_hand(std::vector<std::string> arguments) const {
    ChildProcess::Spec spec;
    spec.argv = {support::program("bank_server"),
                 "-ORBendPoint",
                 "giop:tcp:" + support::own_address() + ":",
                 "--locator",
                 "corbaloc::" + m_locator.address(),
                 "--orb-name",
                 "bank",
                 "--domain",
                 m_locator.domain()};
    spec.argv.insert(spec.argv.end(), arguments.begin(), arguments.end());
    spec.stdout_path = m_dir.file("bank.out");
    spec.stderr_path = m_dir.file("bank.err");
    return spec;
  }

  // Makes the POAs and references known; no server runs afterwards.
  void register_once() {
    ChildProcess server(server_by_hand({"--register-only", "--refs", m_dir.path()}));
    ASSERT_EQ(server.wait(), 0) << support::read_file(m_dir.file("bank.err"));
  }

  struct Answer {
    std::string value;
    pid_t server = 0;
  };

  // What the client prints: the answer and the process that gave it.
  Answer ask(const std::string& reference, const std::vector<std::string>& operation) {
    ChildProcess::Spec spec;
    const std::string number = std::to_string(++m_calls);
    spec.argv = {support::program("bank_client"), "--pid", "file:" + m_dir.file(reference + ".ior")};
    spec.argv.insert(spec.argv.end(), operation.begin(), operation.end());
    spec.stdout_path = m_dir.file("client" + number + ".out");
    spec.stderr_path = m_dir.file("client" + number + ".err");
    ChildProcess client(spec);
    const auto status = client.wait();
    const auto lines = support::read_lines(spec.stdout_path);
    if (status != 0 || lines.size() != 2 || !lines[1].starts_with("server_pid ")) {
      throw std::runtime_error("the client failed: " + support::read_file(spec.stderr_path));
    }
    return {lines[0], std::stoi(lines[1].substr(11))};
  }

  int m_calls = 0;
};

TEST_F(BankTest, ReferencesLeadToTheLocatorAndKeepTheirType) {
  m_locator.start();
  register_once();
  for (const auto& [file, type] :
       {std::pair("alice", "IDL:Bank/Account:1.0"), std::pair("ledger", "IDL:Bank/Audit:1.0")}) {
    const auto lines = support::read_lines(m_dir.file(std::string(file) + ".ior"));
    ASSERT_EQ(lines.size(), 1U);
    const auto reference = support::parse_stringified_reference(lines[0]);
    EXPECT_EQ(reference.host, m_locator.host());
    EXPECT_EQ(reference.port, unsigned{support::Locator::FRONT_DOOR});
    EXPECT_EQ(reference.type_id, type);
  }
}

TEST_F(BankTest, StockClientReachesAServerThatDidNotRun) {
  m_locator.start();
  register_once();
  const Answer first = ask("alice", {"deposit", "100"});
  EXPECT_EQ(first.value, "100");
  const Answer second = ask("alice", {"balance"});
  EXPECT_EQ(second.value, "100");
  EXPECT_EQ(second.server, first.server);
  EXPECT_EQ(ask("bob", {"balance"}).value, "0");
  const Answer ledger = ask("ledger", {"audit"});
  EXPECT_EQ(ledger.value, "1");
  EXPECT_EQ(ledger.server, first.server);
}

TEST_F(BankTest, KilledServerIsStartedAgain) {
  m_locator.start();
  register_once();
  const pid_t first = ask("alice", {"balance"}).server;
  kill(first, SIGKILL);
  ASSERT_TRUE(support::wait_until([&] { return !support::runs(first); }));
  ASSERT_TRUE(m_locator.log().wait_for(30, {"Bank/Accounts"}, 2));
  const pid_t second = ask("alice", {"balance"}).server;
  EXPECT_NE(second, first);
}

TEST_F(BankTest, LocatorThatWasKilledFindsTheLivingServerAgain) {
  m_locator.start();
  register_once();
  const pid_t first = ask("alice", {"balance"}).server;
  m_locator.kill9();
  m_locator.start();
  EXPECT_EQ(ask("alice", {"balance"}).server, first);
  EXPECT_EQ(ask("ledger", {"audit"}).server, first);
  // It is watched again.
  kill(first, SIGKILL);
  ASSERT_TRUE(m_locator.log().wait_for(30, {"Bank/Accounts"}, 2));
  EXPECT_NE(ask("alice", {"balance"}).server, first);
}

TEST_F(BankTest, ServerEndsWellWhenAskedAndIsStartedAgain) {
  m_locator.start();
  register_once();
  const pid_t first = ask("alice", {"balance"}).server;
  kill(first, SIGTERM);
  // Just while it leaves a client may be told to try again.
  pid_t second = first;
  ASSERT_TRUE(support::wait_until([&] {
    try {
      second = ask("alice", {"balance"}).server;
    } catch (const std::runtime_error& error) {
      EXPECT_THAT(error.what(), ::testing::HasSubstr("TRANSIENT"));
    }
    return second != first;
  }));
  EXPECT_FALSE(support::runs(first));
  EXPECT_EQ(ask("alice", {"balance"}).server, second);
}

TEST_F(BankTest, CallsOfManyClientsToAStoppedServerAreAllAnsweredByOneServer) {
  m_locator.start();
  register_once();
  std::vector<std::unique_ptr<ChildProcess>> clients;
  for (int i = 0; i < 10; ++i) {
    ChildProcess::Spec spec;
    spec.argv = {support::program("bank_client"), "file:" + m_dir.file(i % 2 == 0 ? "alice.ior" : "ledger.ior"), "pid"};
    spec.stdout_path = m_dir.file("pid" + std::to_string(i));
    clients.push_back(std::make_unique<ChildProcess>(spec));
  }
  for (const auto& client : clients) EXPECT_EQ(client->wait(std::chrono::seconds(30)), 0);
  std::set<std::string> pids;
  for (int i = 0; i < 10; ++i) pids.insert(support::read_file(m_dir.file("pid" + std::to_string(i))));
  EXPECT_EQ(pids.size(), 1U);
}

TEST_F(BankTest, ServerOfAnUnreachableLocatorSaysSo) {
  ChildProcess server(server_by_hand({"--eager"}));
  EXPECT_EQ(server.wait(), 1);
  EXPECT_THAT(support::read_file(m_dir.file("bank.err")), ::testing::HasSubstr(m_locator.address()));
}

}  // namespace
