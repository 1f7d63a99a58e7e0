// Clients of a server that does not come: they give up, vanish, and come again.

#include "tests/system/hostile/hostile_test.h"

namespace {

using support::GiopClient;
using support::is_exception;
using support::RequestSpec;

constexpr std::uint32_t TIMES = 10'000;
// So much is done before memory is looked at for the first time.
constexpr std::uint32_t WARM_UP = 2'000;

class ParkedRequestsTest : public HostileTest {
 protected:
  // Does it TIMES times, and expects memory to be flat.
  template <class Act>
  void repeat(Act act) {
    std::size_t before = 0;
    for (std::uint32_t i = 1; i <= TIMES; ++i) {
      if (i == WARM_UP) before = resident();
      ASSERT_NO_FATAL_FAILURE(act(i));
    }
    EXPECT_LT(resident(), before + FLAT_KIB);
  }
};

TEST_F(ParkedRequestsTest, ClientThatCancelsAndAsksAgainTenThousandTimesIsAnswered) {
  start();
  prepare_stopped({"Stopped"});
  GiopClient client = connect();
  send_and_wait_for_activation(client, spec_for("Stopped", TIMES + 1));
  repeat([&](std::uint32_t id) {
    client.send(request(spec_for("Stopped", id)) + support::cancel_request({}, id));
    if (id % 100 == 0) pass_fence(client);
  });
  expect_forwards();
  m_server.add("Stopped");
  const support::Reply reply = client.receive_reply();
  EXPECT_EQ(reply.id, TIMES + 1);
  EXPECT_TRUE(is_forward_to_server(reply, "Stopped"));
  expect_counted("cancel_requests", TIMES);
  expect_counted("replies_dropped", TIMES);
  EXPECT_TRUE(support::books_balance(m_locator));
  expect_forwards();
}

TEST_F(ParkedRequestsTest, ClientThatVanishesAndComesBackTenThousandTimesLeavesNothing) {
  start();
  prepare_stopped({"Stopped"});
  GiopClient stays = connect();
  send_and_wait_for_activation(stays, spec_for("Stopped", 7));
  const std::size_t files_before = files();
  repeat([&](std::uint32_t id) {
    connect().send(id % 2 == 0 ? request(spec_for("Stopped", id)) : locate_request(spec_for("Stopped", id)));
    // Not faster than they are accepted.
    if (id % 100 == 0) expect_serves_on();
  });
  EXPECT_TRUE(files_return_to(files_before));
  expect_forwards();
  // Replies to those who have gone hurt nobody.
  m_server.add("Stopped");
  const support::Reply reply = stays.receive_reply();
  EXPECT_EQ(reply.id, 7U);
  EXPECT_TRUE(is_forward_to_server(reply, "Stopped"));
  expect_counted("replies_dropped", 1);
  EXPECT_TRUE(support::books_balance(m_locator));
  expect_forwards();
}

TEST_F(ParkedRequestsTest, RepliesToAThousandConnectionsThatHaveGoneHurtNobody) {
  start();
  prepare_stopped({"Stopped"});
  GiopClient stays = connect();
  send_and_wait_for_activation(stays, spec_for("Stopped"));
  const std::size_t files_before = files();
  {
    std::vector<GiopClient> clients;
    for (std::uint32_t i = 1; i <= 1000; ++i) {
      clients.push_back(connect());
      clients.back().send(request(spec_for("Stopped", i)));
      if (i % 100 == 0) pass_fence(clients.back());
    }
    // They go while they are answered.
    m_server.add("Stopped");
  }
  EXPECT_TRUE(is_forward_to_server(stays.receive_reply(), "Stopped"));
  EXPECT_TRUE(files_return_to(files_before));
  EXPECT_TRUE(support::books_balance(m_locator));
  expect_forwards();
}

TEST_F(ParkedRequestsTest, RequestThatWaitsLongerThanItMayIsAnsweredTransient) {
  start({{"park_time", "0.5"}});
  prepare_stopped({"Stopped"});
  GiopClient client = connect();
  constexpr std::uint32_t PARKED_TOO_LONG = 0x515A0B01;
  for (const std::uint32_t id : {1U, 2U}) {
    const support::Reply reply = client.call(request(spec_for("Stopped", id)));
    EXPECT_EQ(reply.id, id);
    EXPECT_TRUE(is_exception(reply, "TRANSIENT", PARKED_TOO_LONG));
  }
  expect_logged(PARK_TIME, client.address(), "500");
  expect_counted("park_timeouts", 2);
  m_server.add("Stopped");
  EXPECT_TRUE(is_forward_to_server(client.call(request(spec_for("Stopped", 3))), "Stopped"));
  expect_forwards();
}

}  // namespace
