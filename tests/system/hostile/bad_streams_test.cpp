// Streams that go wrong in the middle.
#include "tests/system/hostile/hostile_test.h"

namespace {

using support::GiopClient;

using BadStreamsTest = HostileTest;

TEST_F(BadStreamsTest, IdInUseMayNotBeUsedAgainAndAnsweredOnesMay) {
  start();
  prepare_stopped({"Stopped"});
  GiopClient client = connect();
  for (int i = 0; i < 1000; ++i) {
    ASSERT_TRUE(is_forward_to_server(client.call(request(spec_for("Bank", 7))), "Bank"));
  }
  send_and_wait_for_activation(client, spec_for("Stopped", 7));
  client.send(request(spec_for("Bank", 7)));
  expect_ended(client, support::MESSAGE_ERROR);
  expect_logged(PROTOCOL_ERROR, client.address(), "request id 7 used again before its answer");
  m_server.add("Stopped");
  expect_forwards();
}

TEST_F(BadStreamsTest, WrongMagicInTheMiddleOfAStreamEndsItAfterWhatWasAsked) {
  start();
  GiopClient client = connect();
  client.send(request(spec_for("Bank", 1)) + request(spec_for("Bank", 2)) + support::octets_of("POIG") +
              support::Octets(50'000, 0));
  for (const std::uint32_t id : {1U, 2U}) {
    const support::Reply reply = client.receive_reply();
    EXPECT_EQ(reply.id, id);
    EXPECT_TRUE(is_forward_to_server(reply, "Bank"));
  }
  expect_ended(client, support::MESSAGE_ERROR);
  expect_logged(PROTOCOL_ERROR, client.address(), "what comes is not GIOP");
  expect_forwards();
}

}  // namespace
