// Clients of a server that does not come: they give up, vanish, and come again.

#include "tests/system/hostile/hostile_test.h"

namespace {

using support::GiopClient;
using support::is_exception;
using support::RequestSpec;

constexpr std::uint32_t TIMES = 10'000;
// So many wait at once.
constexpr std::uint32_t BATCH = 100;
// So much is done before memory is looked at for the first time.
constexpr std::uint32_t WARM_UP = 2'000;

class ParkedRequestsTest : public HostileTest {
 protected:
  // Does it TIMES times, so many of the ids at a time, and expects memory to be flat.
  template <class Act>
  void repeat(Act act) {
    std::size_t before = 0;
    for (std::uint32_t first = 1; first <= TIMES; first += BATCH) {
      if (first == WARM_UP + 1) before = resident();
      act(first, first + BATCH - 1);
      if (HasFailure()) return;  // the rest would wait for nothing
    }
    EXPECT_LT(resident(), before + FLAT_KIB);
  }
};

TEST_F(ParkedRequestsTest, ClientThatCancelsAndAsksAgainTenThousandTimesIsAnswered) {
  start();
  prepare_stopped({"Stopped"});
  GiopClient client = connect();
  send_and_wait_for_activation(client, spec_for("Stopped", TIMES + 1));
  repeat([&](std::uint32_t first, std::uint32_t last) {
    for (std::uint32_t id = first; id <= last; ++id) client.send(request(spec_for("Stopped", id)));
    expect_counted("requests_parked", last + 1);
    for (std::uint32_t id = first; id <= last; ++id) client.send(support::cancel_request({}, id));
    pass_fence(client);
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
  repeat([&](std::uint32_t first, std::uint32_t last) {
    std::vector<GiopClient> clients;
    for (std::uint32_t id = first; id <= last; ++id) {
      clients.push_back(connect());
      clients.back().send(id % 2 == 0 ? request(spec_for("Stopped", id)) : locate_request(spec_for("Stopped", id)));
    }
    expect_counted("requests_parked", last + 1);
  });
  EXPECT_TRUE(files_return_to(files_before));
  expect_forwards();
  // Replies to those who have gone hurt nobody.
  m_server.add("Stopped");
  const support::Reply reply = stays.receive_reply();
  EXPECT_EQ(reply.id, 7U);
  EXPECT_TRUE(is_forward_to_server(reply, "Stopped"));
  expect_counted("replies_dropped", TIMES);
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
      // Not faster than they are accepted.
      if (i % BATCH == 0) expect_counted("requests_parked", i + 1);
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
