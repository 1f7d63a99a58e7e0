// A store that is held by somebody else: waited for, then an error, never a hang.
#include <sqlite3.h>

#include <thread>

#include "tests/system/daemon/daemon_test.h"

namespace {

class StoreTest : public DaemonTest {
 protected:
  void SetUp() override {
    m_locator.config().set_text("store", "url", "sqlite://" + m_path);
    m_locator.config().set("store", "busy_timeout", "0.3");
  }
  void TearDown() override {
    unlock();
    DaemonTest::TearDown();
  }

  void lock() {
    ASSERT_EQ(sqlite3_open(m_path.c_str(), &m_database), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(m_database, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK)
        << sqlite3_errmsg(m_database);
  }
  void unlock() {
    sqlite3_close(m_database);
    m_database = nullptr;
  }

  const std::string m_path = m_dir.file("state.db");
  sqlite3* m_database = nullptr;
};

TEST_F(StoreTest, LockedStoreAtTheStartIsReported) {
  m_locator.start();
  m_server.add("Bank");
  m_locator.terminate();
  lock();
  EXPECT_NE(m_locator.start_and_fail(), 0);
  EXPECT_THAT(m_locator.standard_error(), ::testing::HasSubstr("locked"));
  unlock();
  m_locator.start();
  EXPECT_TRUE(is_active(m_server, "Bank"));
}

TEST_F(StoreTest, SecondDaemonIsRefusedUntilTheFirstHasEndedHoweverItDid) {
  m_locator.start();
  m_server.add("Bank");
  support::Locator second(m_dir, 1);
  second.config().set_text("store", "url", "sqlite://" + m_path);
  EXPECT_EQ(second.start_and_fail(), 1);
  EXPECT_THAT(second.standard_error(),
              ::testing::AllOf(::testing::HasSubstr("in use by the poalocd of pid " + std::to_string(m_locator.pid())),
                               ::testing::HasSubstr("stop that one, or set store.url")));
  EXPECT_TRUE(is_active(m_server, "Bank"));
  m_locator.kill9();
  second.start();
  second.terminate();
  m_locator.start();
  EXPECT_TRUE(is_active(m_server, "Bank"));
}

TEST_F(StoreTest, RegistrationFailsWhileTheStoreIsLockedAndLeavesNothing) {
  m_locator.start();
  m_server.add("Known");
  m_server.remove("Known");
  lock();
  EXPECT_THROW(m_server.add("Bank"), CORBA::SystemException);
  EXPECT_THROW(m_server.add("Known"), CORBA::SystemException);
  unlock();
  EXPECT_EQ(m_server.add("Bank"), 1U);
  EXPECT_EQ(m_server.add("Known"), 2U);
  EXPECT_TRUE(is_active(m_server, "Bank"));
  m_locator.kill9();
  m_locator.start();
  EXPECT_TRUE(is_active(m_server, "Bank"));
  EXPECT_TRUE(is_active(m_server, "Known"));
}

TEST_F(StoreTest, ClientsOfActivePoasDoNotNoticeTheLock) {
  m_locator.config().set("store", "busy_timeout", "5");
  m_locator.start();
  m_server.add("Bank");
  lock();
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < 20; ++i) EXPECT_TRUE(is_active(m_server, "Bank"));
  EXPECT_LT(std::chrono::steady_clock::now() - start, support::scaled(std::chrono::seconds(4)));
}

TEST_F(StoreTest, WriterWaitsForALockThatIsSoonReleased) {
  m_locator.config().set("store", "busy_timeout", "20");
  m_locator.start();
  lock();
  std::thread other([&] { m_server.add("Bank"); });
  // Long enough for the registration to have come to the lock, in most runs; right in any case.
  support::GiopClient client = connect();
  support::RequestSpec name;
  name.key = support::octets_of("EndpointRegistry");
  for (int i = 0; i < 50; ++i) client.call(request(name));
  unlock();
  other.join();
  EXPECT_TRUE(is_active(m_server, "Bank"));
}

}  // namespace
