// What the locator knows survives its own end, however it comes.
#include <atomic>
#include <memory>

#include "tests/system/daemon/daemon_test.h"

namespace {

using support::FakeServer;
using support::is_exception;
using support::minor_code;

class RestartTest : public DaemonTest {};

TEST_F(RestartTest, RegistrationIsThereAfterAKillAsSoonAsItWasAcknowledged) {
  m_locator.start();
  for (const std::string path : {"A", "B", "C"}) {
    m_server.add(path);
    m_locator.kill9();
    m_locator.start();
    EXPECT_TRUE(is_active(m_server, path));
  }
  for (const std::string path : {"A", "B", "C"}) EXPECT_TRUE(is_active(m_server, path));
  EXPECT_TRUE(m_locator.log().wait_for(31, {"C"}));
  EXPECT_TRUE(m_locator.log().wait_for(41, {"C"}));
}

TEST_F(RestartTest, RegistrationIsThereAfterAnOrderlyRestart) {
  m_locator.start();
  m_server.add("Bank");
  m_server.add("Bank/Accounts");
  m_locator.terminate();
  m_locator.start();
  EXPECT_TRUE(is_active(m_server, "Bank"));
  EXPECT_TRUE(is_active(m_server, "Bank/Accounts"));
}

TEST_F(RestartTest, NumbersGoOnAfterARestart) {
  m_locator.start();
  EXPECT_EQ(m_server.add("Bank"), 1U);
  m_locator.kill9();
  m_locator.start();
  m_server.remove("Bank");
  EXPECT_EQ(m_server.add("Bank"), 2U);
}

TEST_F(RestartTest, LivingServerIsStillThereForASecondRegistrationAfterARestart) {
  m_locator.start();
  m_server.add("Bank");
  m_locator.kill9();
  m_locator.start();
  EXPECT_THROW(m_server.add("Bank"), QZ_POA_PersistentServer::EndpointRegistry::EntryAlreadyExists);
  m_server.crash("Bank");
  EXPECT_EQ(m_server.add("Bank"), 2U);
}

TEST_F(RestartTest, RemovedPoaStaysRemoved) {
  m_locator.start();
  m_server.add("Bank");
  m_server.remove("Bank");
  m_locator.kill9();
  m_locator.start();
  EXPECT_TRUE(is_exception(call(m_server, "Bank"), "TRANSIENT", minor_code(0)));
}

TEST_F(RestartTest, ActivatorIsStillCalledAfterARestart) {
  m_locator.start();
  m_server.register_and_leave({"Bank"});
  m_server.add_activator([&](const std::vector<support::Octets>&) { m_server.add("Bank"); });
  m_locator.kill9();
  m_locator.start();
  EXPECT_TRUE(is_active(m_server, "Bank"));
  EXPECT_TRUE(m_locator.log().wait_for(39, {"server"}));
}

TEST_F(RestartTest, PoaThatWasOnlyBeingStartedIsDroppedAndAskedForAgain) {
  m_locator.start();
  m_server.register_and_leave({"Bank"});
  const auto calls = std::make_shared<std::atomic<int>>(0);
  m_server.add_activator([calls](const std::vector<support::Octets>&) { ++*calls; });
  support::GiopClient waits = connect();
  waits.send(request(spec_for(m_server, "Bank")));
  ASSERT_TRUE(support::wait_until([&] { return *calls == 1; }));
  m_locator.kill9();
  EXPECT_TRUE(waits.wait_for_end());
  m_locator.start();
  EXPECT_TRUE(m_locator.log().wait_for(42, {"Bank"}));
  support::GiopClient again = connect();
  again.send(request(spec_for(m_server, "Bank")));
  ASSERT_TRUE(support::wait_until([&] { return *calls == 2; }));
  m_server.add("Bank");
  EXPECT_TRUE(again.receive_reply().forward);
}

TEST_F(RestartTest, ManyKillsInTheMidstOfRegistrationsLoseNothingThatWasAcknowledged) {
  m_locator.start();
  std::vector<std::string> acknowledged;
  for (int round = 0; round < 5; ++round) {
    for (int i = 0; i < 5; ++i) {
      const std::string path = "P" + std::to_string(round) + "-" + std::to_string(i);
      m_server.add(path);
      acknowledged.push_back(path);
    }
    m_locator.kill9();
    m_locator.start();
  }
  for (const std::string& path : acknowledged) EXPECT_TRUE(is_active(m_server, path)) << path;
}

}  // namespace
