// Several requests of one connection under way at once.
#include <algorithm>

#include "tests/support/wait.h"
#include "tests/system/giop/giop_test.h"

namespace {

using support::GiopClient;
using support::is_exception;
using support::minor_code;
using support::Octets;
using support::Reply;
using support::RequestSpec;

class PipeliningTest : public GiopTest {
 protected:
  std::vector<std::uint32_t> receive_ids(GiopClient& client, std::size_t count) {
    std::vector<std::uint32_t> ids;
    while (ids.size() < count) ids.push_back(client.receive_reply().id);
    return ids;
  }

  static std::vector<std::uint32_t> numbers(std::uint32_t first, std::uint32_t last) {
    std::vector<std::uint32_t> result;
    for (std::uint32_t id = first; id <= last; ++id) result.push_back(id);
    return result;
  }
};

TEST_F(PipeliningTest, RequestsSentInOneGoAreAnsweredEach) {
  m_server.add("Bank");
  Octets all;
  for (const std::uint32_t id : numbers(1, 200)) {
    all = all + (id % 3 == 0 ? locate_request(spec_for("Bank", id)) : request(spec_for("Bank", id)));
  }
  GiopClient client = connect();
  client.send(all);
  EXPECT_EQ(receive_ids(client, 200), numbers(1, 200));
}

TEST_F(PipeliningTest, RequestForARunningServerOvertakesOneThatWaitsForItsServer) {
  prepare_stopped({"Stopped"});
  m_server.add("Running");
  GiopClient client = connect();
  client.send(request(spec_for("Stopped", 1)));
  client.send(request(spec_for("Running", 2)));
  const Reply first = client.receive_reply();
  EXPECT_EQ(first.id, 2U);
  EXPECT_TRUE(is_forward_to_server(first, "Running"));
  m_server.add("Stopped");
  const Reply second = client.receive_reply();
  EXPECT_EQ(second.id, 1U);
  EXPECT_TRUE(is_forward_to_server(second, "Stopped"));
}

TEST_F(PipeliningTest, WaitingRequestsAreAnsweredInTheOrderInWhichTheirServersRegister) {
  prepare_stopped({"A", "B", "C"});
  GiopClient client = connect();
  client.send(request(spec_for("A", 1)) + locate_request(spec_for("B", 2)) + request(spec_for("C", 3)));
  pass_fence(client);
  for (const auto& [path, id] : {std::pair("C", 3U), std::pair("A", 1U), std::pair("B", 2U)}) {
    m_server.add(path);
    const Reply reply = client.receive_reply();
    EXPECT_EQ(reply.id, id);
    EXPECT_TRUE(is_forward_to_server(reply, path));
  }
}

TEST_F(PipeliningTest, RequestsKeptForOnePoaAreAnsweredInTheOrderOfTheirArrival) {
  prepare_stopped({"Bank"});
  GiopClient client = connect();
  send_and_wait_for_activation(client, spec_for("Bank", 1));
  Octets all;
  for (const std::uint32_t id : numbers(2, 100)) all = all + request(spec_for("Bank", id));
  client.send(all);
  pass_fence(client);
  m_server.add("Bank");
  EXPECT_EQ(receive_ids(client, 100), numbers(1, 100));
}

TEST_F(PipeliningTest, KeptRequestsFailTogetherWhenTheirPoaLeaves) {
  prepare_stopped({"Bank"});
  GiopClient client = connect();
  send_and_wait_for_activation(client, spec_for("Bank", 1));
  client.send(locate_request(spec_for("Bank", 2)));
  pass_fence(client);
  EXPECT_FALSE(client.something_arrived());
  for (const std::uint32_t id : {1U, 2U}) {
    // Again for the second, in case that it came to the endpoint only after the first remove.
    ASSERT_TRUE(support::wait_until([&] {
      if (!client.something_arrived()) m_server.remove("Bank");
      return client.something_arrived();
    }));
    const Reply reply = client.receive_reply();
    EXPECT_EQ(reply.id, id);
    EXPECT_TRUE(is_exception(reply, "TRANSIENT", minor_code(3)));
  }
}

TEST_F(PipeliningTest, ClientThatGoesWhileItWaitsDisturbsNobody) {
  prepare_stopped({"Bank"});
  GiopClient stays = connect();
  for (std::uint32_t id = 1; id <= 20; ++id) {
    GiopClient goes = connect();
    goes.send(request(spec_for("Bank", id)));
    pass_fence(goes);
  }
  stays.send(request(spec_for("Bank", 99)));
  pass_fence(stays);
  m_server.add("Bank");
  const Reply reply = stays.receive_reply();
  EXPECT_EQ(reply.id, 99U);
  EXPECT_TRUE(is_forward_to_server(reply, "Bank"));
}

TEST_F(PipeliningTest, CancelledRequestDisturbsNoOther) {
  prepare_stopped({"Bank"});
  GiopClient client = connect();
  client.send(request(spec_for("Bank", 1)) + request(spec_for("Bank", 2)));
  client.send(support::cancel_request({2, support::ByteOrder::LITTLE}, 1));
  client.send(support::cancel_request({2, support::ByteOrder::LITTLE}, 77));
  pass_fence(client);
  m_server.add("Bank");
  // A cancelled request may still be answered.
  Reply reply = client.receive_reply();
  if (reply.id == 1) reply = client.receive_reply();
  EXPECT_EQ(reply.id, 2U);
  EXPECT_TRUE(is_forward_to_server(reply, "Bank"));
}

TEST_F(PipeliningTest, NothingIsSentWhenNoResponseIsExpected) {
  m_server.add("Bank");
  for (const RequestSpec& kind : support::every_kind_of_request(m_server.key_of("Bank"))) {
    SCOPED_TRACE(name_of(kind));
    GiopClient client = connect();
    RequestSpec oneway = kind;
    oneway.response_expected = false;
    client.send(request(oneway));
    oneway.key = m_server.key_of("Nobody");
    client.send(request(oneway));
    // Only the last is answered. Requests for one endpoint keep their order.
    RequestSpec last = kind;
    last.id = 1;
    EXPECT_EQ(client.call(request(last)).id, 1U);
    last.key = m_server.key_of("Nobody");
    last.id = 2;
    EXPECT_EQ(client.call(request(last)).id, 2U);
  }
}

TEST_F(PipeliningTest, ConnectionWithTooManyUnansweredRequestsIsReadAgainWhenTheyAreAnswered) {
  m_locator.terminate();
  m_locator.config().set("front_door", "max_requests_per_connection", "10");
  m_locator.start();
  prepare_stopped({"Bank"});
  GiopClient client = connect();
  Octets all;
  for (const std::uint32_t id : numbers(1, 50)) all = all + request(spec_for("Bank", id));
  client.send(all);
  expect_serves_on();
  m_server.add("Bank");
  EXPECT_THAT(receive_ids(client, 50), ::testing::UnorderedElementsAreArray(numbers(1, 50)));
}

}  // namespace
