// Requests that arrive in fragments, or slowly.
#include "tests/system/giop/giop_test.h"

namespace {

using support::ByteOrder;
using support::GiopClient;
using support::Octets;
using support::Reply;
using support::RequestSpec;

class FragmentsTest : public GiopTest {
 protected:
  void SetUp() override {
    GiopTest::SetUp();
    m_server.add("Bank");
  }

  RequestSpec bank(unsigned minor, ByteOrder order, std::uint32_t id) const {
    RequestSpec spec = spec_for("Bank", id);
    spec.dialect = {minor, order};
    return spec;
  }

  void send_all(GiopClient& client, const std::vector<Octets>& pieces) {
    for (const Octets& piece : pieces) client.send(piece);
  }

  void expect_forward(GiopClient& client, std::uint32_t id) {
    const Reply reply = client.receive_reply();
    EXPECT_EQ(reply.id, id);
    EXPECT_TRUE(is_forward_to_server(reply, "Bank"));
  }
};

TEST_F(FragmentsTest, RequestSplitAnywhereInItsHeaderIsAnswered) {
  for (const unsigned minor : {1U, 2U}) {
    for (const ByteOrder order : {ByteOrder::BIG, ByteOrder::LITTLE}) {
      GiopClient client = connect();
      std::uint32_t id = 0;
      const std::size_t size = request(bank(minor, order, id)).size() - support::HEADER_SIZE;
      for (std::size_t first = 8; first < size; first += 8) {
        SCOPED_TRACE(name_of(support::Dialect{minor, order}) + " first " + std::to_string(first));
        ++id;
        send_all(client, support::fragmented(request(bank(minor, order, id)), id, first, 8));
        expect_forward(client, id);
      }
    }
  }
}

TEST_F(FragmentsTest, RequestWithABodyInManyFragmentsIsAnsweredAfterTheLast) {
  for (const unsigned minor : {1U, 2U}) {
    RequestSpec spec = bank(minor, ByteOrder::LITTLE, 5);
    spec.body = Octets(100'000, 'x');
    const std::vector<Octets> pieces = support::fragmented(request(spec), spec.id, 1024, 1024);
    GiopClient client = connect();
    send_all(client, {pieces.begin(), pieces.end() - 1});
    EXPECT_FALSE(client.something_arrived());
    client.send(pieces.back());
    expect_forward(client, 5);
  }
}

TEST_F(FragmentsTest, LocateRequestInFragmentsIsAnswered) {
  for (const ByteOrder order : {ByteOrder::BIG, ByteOrder::LITTLE}) {
    GiopClient client = connect();
    send_all(client, support::fragmented(locate_request(bank(2, order, 3)), 3, 16, 8));
    const Reply reply = client.receive_reply();
    EXPECT_EQ(reply.type, support::LOCATE_REPLY);
    EXPECT_EQ(reply.status, support::OBJECT_FORWARD);
    EXPECT_TRUE(is_forward_to_server(reply, "Bank"));
  }
}

TEST_F(FragmentsTest, FragmentsOfSeveralRequestsMayBeInterleaved) {
  const auto one = support::fragmented(request(bank(2, ByteOrder::BIG, 1)), 1, 16, 16);
  const auto two = support::fragmented(request(bank(2, ByteOrder::LITTLE, 2)), 2, 16, 16);
  ASSERT_EQ(one.size(), two.size());
  GiopClient client = connect();
  for (std::size_t i = 0; i < one.size(); ++i) {
    client.send(one[i]);
    client.send(two[i]);
  }
  expect_forward(client, 1);
  expect_forward(client, 2);
}

TEST_F(FragmentsTest, WholeRequestOvertakesOneWhoseFragmentsAreStillToCome) {
  const auto slow = support::fragmented(request(bank(2, ByteOrder::BIG, 1)), 1, 24, 8);
  GiopClient client = connect();
  send_all(client, {slow.begin(), slow.end() - 1});
  client.send(request(bank(2, ByteOrder::BIG, 2)));
  expect_forward(client, 2);
  client.send(slow.back());
  expect_forward(client, 1);
}

TEST_F(FragmentsTest, RequestCancelledBetweenItsFragmentsIsForgotten) {
  const auto pieces = support::fragmented(request(bank(2, ByteOrder::BIG, 1)), 1, 24, 8);
  GiopClient client = connect();
  client.send(pieces.front());
  client.send(support::cancel_request({2, ByteOrder::BIG}, 1));
  client.send(request(bank(2, ByteOrder::BIG, 2)));
  expect_forward(client, 2);
}

TEST_F(FragmentsTest, FragmentThatContinuesNothingDoesNoHarm) {
  for (const unsigned minor : {1U, 2U}) {
    GiopClient client = connect();
    client.try_send(message({minor, ByteOrder::BIG}, support::FRAGMENT, Octets(16, 0)));
    // Ignored or refused: both are right. Nobody else may notice.
    client.try_send(request(bank(2, ByteOrder::BIG, 2)));
    expect_serves_on();
  }
}

TEST_F(FragmentsTest, TooManyUnfinishedRequestsEndTheConnection) {
  GiopClient client = connect();
  for (std::uint32_t id = 1; id <= 1000; ++id) {
    if (!client.try_send(support::fragmented(request(bank(2, ByteOrder::BIG, id)), id, 24, 8).front())) break;
  }
  EXPECT_EQ(client.receive().type(), support::MESSAGE_ERROR);
  EXPECT_TRUE(client.wait_for_end());
  expect_serves_on();
}

TEST_F(FragmentsTest, RequestThatComesOctetByOctetIsAnswered) {
  for (const unsigned minor : {0U, 1U, 2U}) {
    GiopClient client = connect();
    for (const unsigned char octet : request(bank(minor, ByteOrder::BIG, 9))) client.send({octet});
    expect_forward(client, 9);
  }
}

}  // namespace
