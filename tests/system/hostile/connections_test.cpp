// More connections than there may be, or than there can be.
#include <sys/resource.h>

#include <iostream>

#include "tests/system/hostile/hostile_test.h"

namespace {

using support::GiopClient;

class ConnectionsTest : public HostileTest {
 protected:
  // Whether that address is served: a connection that comes too early is closed.
  bool is_forwarded(const std::string& address) {
    try {
      return bool(is_forward_to_server(connect_from(address).call(request(spec_for("Bank"))), "Bank"));
    } catch (const std::runtime_error&) {
      return false;
    }
  }
};

TEST_F(ConnectionsTest, FourTimesTheLimitFromOneAddressHurtsNoOther) {
  // 20,000 against 5,000, unless this machine's limits are lower.
  rlimit limit{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
  limit.rlim_cur = limit.rlim_max;
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
  const std::size_t most = std::min<std::size_t>(5'000, limit.rlim_max / 2);
  std::cout << 4 * most << " attempts against a limit of " << most << std::endl;
  const std::string hostile = "127.1.1.1", other = "127.1.1.2";
  start({{"max_connections_per_address", std::to_string(most)}, {"log_interval", "1"}});
  const std::size_t files_before = files();

  std::vector<GiopClient> held;
  while (held.size() < most) {
    held.push_back(connect_from(hostile));
    // Not faster than they are accepted, or the system would have some wait for seconds.
    if (held.size() % 100 == 0) pass_fence(held.back());
  }
  pass_fence(held.back());
  std::size_t refused = 0;
  while (refused < 3 * most) {
    std::vector<GiopClient> burst;
    while (burst.size() < 100) burst.push_back(connect_from(hostile));
    for (GiopClient& client : burst) ASSERT_TRUE(client.wait_for_end());
    refused += burst.size();
  }
  expect_logged(ADDRESS_LIMIT, hostile, std::to_string(most));
  expect_counted("connections_refused_for_address", refused);
  // Those who are inside, and those who come from elsewhere, are served.
  EXPECT_TRUE(is_forward_to_server(held.front().call(request(spec_for("Bank"))), "Bank"));
  EXPECT_TRUE(is_forwarded(other));

  held.clear();
  EXPECT_TRUE(support::wait_until([&] { return is_forwarded(hostile); }));
  EXPECT_TRUE(files_return_to(files_before));
  expect_forwards();
}

TEST_F(ConnectionsTest, LimitOfAllIsReachedTogetherAndThoseInsideAreServed) {
  constexpr std::size_t MOST = 200;
  start({{"max_connections", std::to_string(MOST)}});
  GiopClient inside = connect();
  EXPECT_TRUE(is_forward_to_server(inside.call(request(spec_for("Bank"))), "Bank"));
  const std::size_t files_before = files();
  std::vector<GiopClient> crowd;
  for (std::size_t i = 0; i < 4 * MOST; ++i) crowd.push_back(connect_from("127.1.1." + std::to_string(1 + i % 8)));
  for (std::size_t i = 0; i < 8; ++i) {
    expect_logged(CONNECTION_LIMIT, "127.1.1." + std::to_string(1 + i), std::to_string(MOST));
  }
  for (std::size_t i = MOST; i < crowd.size(); ++i) EXPECT_TRUE(crowd[i].wait_for_end()) << i;
  EXPECT_TRUE(is_forward_to_server(inside.call(request(spec_for("Bank"))), "Bank"));
  crowd.clear();
  EXPECT_TRUE(files_return_to(files_before));
  expect_counted("connections_refused", 3 * MOST);
  expect_forwards();
}

// What a shell allows a daemon at first is less than it may have.
TEST_F(ConnectionsTest, LimitOfConnectionsBitesBeforeDescriptorsRunOut) {
  constexpr std::size_t MOST = 400;
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  const rlimit few{200, before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
  start({{"max_connections", std::to_string(MOST)}});
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
  std::vector<GiopClient> crowd;
  while (crowd.size() < MOST + 10) crowd.push_back(connect_from("127.1.1.1"));
  expect_logged(CONNECTION_LIMIT, "127.1.1.1", std::to_string(MOST));
  crowd.clear();
  EXPECT_TRUE(support::wait_until([&] { return is_forwarded("127.1.1.2"); }));
  EXPECT_EQ(support::Counters(m_locator)["accept_failures"], 0U);
}

TEST_F(ConnectionsTest, FewerThanConfiguredAreSaidWhereTheSystemPermitsNoMore) {
  constexpr unsigned FEW_FILES = 16;
  const rlimit few{400, 4000};  // for the rest of this process: what is taken from the hard limit may not come back
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
  start({{"max_connections", "20000"}});
  EXPECT_TRUE(m_locator.log().wait_for([&](const support::Event& event) {
    return event.subsystem == "QZ_HOST" && event.id == FEW_FILES &&
           event.parameters == std::vector<std::string>{"3000", "20000"};
  }));
  expect_forwards();
}

TEST_F(ConnectionsTest, DescriptorsThatRunOutComeBack) {
  start();
  GiopClient inside = connect();
  EXPECT_TRUE(is_forward_to_server(inside.call(request(spec_for("Bank"))), "Bank"));
  rlimit limit{};
  ASSERT_EQ(prlimit(m_locator.pid(), RLIMIT_NOFILE, nullptr, &limit), 0);
  limit.rlim_cur = files() + 10;
  ASSERT_EQ(prlimit(m_locator.pid(), RLIMIT_NOFILE, &limit, nullptr), 0);

  std::vector<GiopClient> crowd;
  for (int i = 0; i < 100; ++i) crowd.push_back(connect());
  expect_logged(ACCEPT_FAILED, m_locator.address(), "Too many open files");
  EXPECT_TRUE(is_forward_to_server(inside.call(request(spec_for("Bank"))), "Bank"));
  EXPECT_TRUE(is_forward_to_server(crowd.front().call(request(spec_for("Bank"))), "Bank"));

  crowd.clear();
  expect_forwards();
}

}  // namespace
