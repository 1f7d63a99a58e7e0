// Calls that come to the daemon's own objects while it starts.
#include <sqlite3.h>

#include <thread>

#include "tests/system/daemon/daemon_test.h"

namespace {

using support::GiopClient;
using support::Locator;
using support::Reply;

// A store that somebody holds stops the daemon in the middle of its start, with its ORB listening already.
class EarlyCallTest : public DaemonTest {
 protected:
  void SetUp() override {
    m_locator.config().set_text("store", "url", "sqlite://" + m_store);
    m_locator.config().set("store", "busy_timeout", "60");
    m_locator.start();
    support::RequestSpec name;
    name.key = support::octets_of("EndpointRegistry");
    const Reply reply = connect().call(request(name));
    ASSERT_TRUE(reply.forward);
    m_object.key = reply.forward->key;
    m_object.operation = "_non_existent";
    m_locator.kill9();
    ASSERT_EQ(sqlite3_open(m_store.c_str(), &m_database), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(m_database, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
  }
  void TearDown() override {
    if (m_caller.joinable()) m_caller.join();
    DaemonTest::TearDown();
  }

  // As soon as the ORB listens: sends both kinds of requests, lets the start go on, and hands over the clients.
  template <class Use>
  void call_early(Use use) {
    m_caller = std::thread([this, use] {
      std::optional<GiopClient> calls;
      ASSERT_TRUE(support::wait_until([&] { return try_connect(calls); }));
      GiopClient locates(m_locator.host(), Locator::ORB_ENDPOINT);
      calls->send(request(m_object));
      locates.send(locate_request(m_object));
      EXPECT_FALSE(support::wait_until([&] { return calls->something_arrived() || locates.something_arrived(); },
                                       std::chrono::milliseconds(200)));
      sqlite3_close(m_database);
      use(*calls, locates);
    });
  }
  bool try_connect(std::optional<GiopClient>& client) const {
    try {
      client.emplace(m_locator.host(), Locator::ORB_ENDPOINT);
      return true;
    } catch (const std::runtime_error&) {
      return false;
    }
  }

  const std::string m_store = m_dir.file("state.db");
  support::RequestSpec m_object;
  sqlite3* m_database = nullptr;
  std::thread m_caller;
};

TEST_F(EarlyCallTest, IsAnsweredAfterTheStart) {
  call_early([](GiopClient& calls, GiopClient& locates) {
    const Reply answer = calls.receive_reply();
    EXPECT_EQ(answer.status, 0U) << "an exception";
    EXPECT_EQ(locates.receive_reply().status, 1U) << "not here";
  });
  m_locator.start();
}

// The ORB may say CloseConnection when it ends, which tells callers that nothing was processed.
testing::AssertionResult ends_without_answer(GiopClient& client) {
  try {
    const support::RawMessage message = client.receive();
    if (message.type() != support::CLOSE_CONNECTION)
      return testing::AssertionFailure() << "a message of type " << static_cast<int>(message.type());
  } catch (const std::runtime_error& e) {
    return testing::AssertionResult(std::string(e.what()) == "the connection was closed") << e.what();
  }
  return testing::AssertionResult(client.wait_for_end()) << "nothing but CloseConnection";
}

TEST_F(EarlyCallTest, HearsNothingFinalWhenTheStartFails) {
  m_locator.config().set("plugins", "libraries", "[\"libnowhere.so\"]");
  call_early([](GiopClient& calls, GiopClient& locates) {
    EXPECT_TRUE(ends_without_answer(calls));
    EXPECT_TRUE(ends_without_answer(locates));
  });
  EXPECT_NE(m_locator.start_and_fail(), 0);
}

}  // namespace
