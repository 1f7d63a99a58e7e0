// Servers that are started because a client calls.
#include <thread>

#include "probe.hh"
#include "tests/support/corba_side.h"
#include "tests/system/activation/activation_test.h"

namespace {

using support::GiopClient;
using support::Reply;

class OnDemandTest : public ActivationTest {
 protected:
  // What a stock client holds: the locator's address and the persistent key.
  SystemTest::Probe_var probe(const std::string& path) const {
    const CORBA::Object_var object =
        support::make_reference(m_locator.host(), support::Locator::FRONT_DOOR, spec_for(path).key);
    return SystemTest::Probe::_unchecked_narrow(object);
  }
};

TEST_F(OnDemandTest, StoppedServerIsStartedAndAnswers) {
  configure_server("bank", {"--poa", "Bank"});
  m_locator.start();
  make_known("bank", {"Bank"});
  const Reply reply = call("Bank");
  EXPECT_EQ(answer_of_server(reply), "Bank:object");
  EXPECT_EQ(starts("bank").size(), 1U);
  EXPECT_EQ(pid_of_server(reply), starts("bank").front());
}

TEST_F(OnDemandTest, RunningServerIsNotStartedAgain) {
  configure_server("bank", {"--poa", "Bank", "--poa", "Audit"});
  m_locator.start();
  make_known("bank", {"Bank", "Audit"});
  for (int i = 0; i < 3; ++i) {
    expect_answered("Bank");
    expect_answered("Audit");
  }
  EXPECT_EQ(starts("bank").size(), 1U);
}

TEST_F(OnDemandTest, LocateRequestStartsAServerToo) {
  configure_server("bank", {"--poa", "Bank"});
  m_locator.start();
  make_known("bank", {"Bank"});
  const Reply reply = locate("Bank");
  EXPECT_EQ(reply.status, support::OBJECT_FORWARD);
  EXPECT_EQ(answer_of_server(reply), "Bank:object");
}

TEST_F(OnDemandTest, ServerKnowsItsOrbNameAndItsLocator) {
  configure_server("bank", {"--poa", "Bank", "--environment", m_dir.file("environment")},
                   {{"environment", "{ POALOCATOR_TEST = \"passed on\" }"}});
  m_locator.start();
  make_known("bank", {"Bank"});
  expect_answered("Bank");
  const auto lines = support::read_lines(m_dir.file("environment"));
  EXPECT_THAT(lines, ::testing::Contains("POALOCATOR_ORB_NAME=bank"));
  EXPECT_THAT(lines, ::testing::Contains(::testing::AllOf(::testing::StartsWith("POALOCATOR_URL="),
                                                          ::testing::HasSubstr(m_locator.address()))));
  EXPECT_THAT(lines, ::testing::Contains("POALOCATOR_TEST=passed on"));
}

TEST_F(OnDemandTest, TwoHundredClientsOfAStoppedServerAreAllAnsweredByOneProcess) {
  configure_server("bank", {"--poa", "Bank", "--register-when", m_dir.file("go")});
  m_locator.start();
  make_known("bank", {"Bank"});

  GiopClient first = connect();
  first.send(request(spec_for("Bank")));
  ASSERT_TRUE(wait_for_starts("bank", 1));
  const std::size_t threads = support::thread_count(m_locator.pid());

  std::vector<GiopClient> clients;
  for (int i = 0; i < 200; ++i) clients.push_back(connect());
  for (GiopClient& client : clients) client.send(request(spec_for("Bank")));
  // Each connection has been read when it answers something else.
  support::RequestSpec other;
  other.id = 2;
  other.key = support::octets_of("no such name");
  for (GiopClient& client : clients) ASSERT_EQ(client.call(request(other)).id, 2U);
  EXPECT_TRUE(support::wait_until([&] { return support::thread_count(m_locator.pid()) == threads; }))
      << support::thread_count(m_locator.pid()) << " threads with 200 waiting, " << threads << " with one";

  support::write_file(m_dir.file("go"), "");
  EXPECT_EQ(answer_of_server(first.receive_reply()), "Bank:object");
  for (GiopClient& client : clients) {
    const Reply reply = client.receive_reply();
    EXPECT_EQ(reply.id, 1U);
    EXPECT_EQ(answer_of_server(reply), "Bank:object");
  }
  EXPECT_EQ(starts("bank").size(), 1U);
}

TEST_F(OnDemandTest, StockClientsThatCallAtOnceAreAllAnswered) {
  configure_server("bank", {"--poa", "Bank"});
  m_locator.start();
  make_known("bank", {"Bank"});
  constexpr int CLIENTS = 50;
  std::vector<std::string> answers(CLIENTS);
  std::vector<std::thread> threads;
  for (std::string& answer : answers) {
    threads.emplace_back([&] {
      try {
        answer = CORBA::String_var(probe("Bank")->whoami());
      } catch (const CORBA::SystemException& error) {
        answer = error._name();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_THAT(answers, ::testing::Each("Bank:object"));
  EXPECT_EQ(starts("bank").size(), 1U);
}

TEST_F(OnDemandTest, TwoPoasOfAStoppedServerAreActivatedByOneCall) {
  configure_server("bank", {"--lazy", "--register-when", m_dir.file("go")});
  m_locator.start();
  make_known("bank", {"Bank", "Bank/Accounts", "Bank/Audit"});
  GiopClient accounts = connect();
  GiopClient audit = connect();
  accounts.send(request(spec_for("Bank/Accounts")));
  ASSERT_TRUE(wait_for_starts("bank", 1));
  audit.send(request(spec_for("Bank/Audit")));
  // Unlike the first the second does nothing that can be seen. A registration comes after it.
  support::RequestSpec unknown = spec_for("Nobody", 2);
  EXPECT_EQ(connect().call(request(unknown)).id, 2U);
  ASSERT_EQ(audit.call(request(unknown)).id, 2U);
  make_known("other", {"Other"});

  support::write_file(m_dir.file("go"), "");
  EXPECT_EQ(answer_of_server(accounts.receive_reply()), "Bank/Accounts:object");
  EXPECT_EQ(answer_of_server(audit.receive_reply()), "Bank/Audit:object");
  EXPECT_THAT(support::read_lines(activations_file("bank")), ::testing::ElementsAre("Bank/Accounts Bank/Audit"));
  EXPECT_EQ(starts("bank").size(), 1U);
}

TEST_F(OnDemandTest, PoaOfARunningServerIsActivatedByItsActivator) {
  configure_server("bank", {"--poa", "Bank"});
  m_locator.start();
  make_known("bank", {"Bank", "Bank/Accounts"});
  expect_answered("Bank");
  ASSERT_TRUE(m_locator.log().wait_for(10, {"bank"}));
  expect_answered("Bank/Accounts");
  EXPECT_THAT(support::read_lines(activations_file("bank")), ::testing::Contains("Bank/Accounts"));
  EXPECT_EQ(starts("bank").size(), 1U);
}

TEST_F(OnDemandTest, SeveralOrbsOfOneProcessStartItOnce) {
  configure_server("bank", {"--poa", "Bank", "--register-when", m_dir.file("go")});
  m_locator.config().add_orb("audit", "bank");
  m_locator.start();
  make_known("bank", {"Bank"});
  make_known("audit", {"Audit"});
  GiopClient bank = connect();
  GiopClient audit = connect();
  bank.send(request(spec_for("Bank")));
  audit.send(request(spec_for("Audit")));
  ASSERT_TRUE(wait_for_starts("bank", 1));
  support::write_file(m_dir.file("go"), "");
  EXPECT_EQ(answer_of_server(bank.receive_reply()), "Bank:object");
  // The other ORB registers from elsewhere.
  support::FakeServer other(m_locator, "audit");
  other.add("Audit");
  EXPECT_TRUE(support::is_forward(audit.receive_reply(), support::FakeServer::HOST, support::FakeServer::PORT,
                                  support::FakeServer::server_key("Audit")));
  EXPECT_EQ(starts("bank").size(), 1U);
}

TEST_F(OnDemandTest, SecondActivatorOfAServerWins) {
  configure_server("bank", {"--lazy", "--second-activator"});
  m_locator.start();
  make_known("bank", {"Bank", "Audit"});
  expect_answered("Bank");
  expect_answered("Audit");
  EXPECT_TRUE(m_locator.log().wait_for(12, {"bank"}));
  EXPECT_TRUE(m_locator.log().wait_for(14, {"bank"}));
}

}  // namespace
