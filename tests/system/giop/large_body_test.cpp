// The size of a request's body does not show in the daemon's memory.
#include <algorithm>

#include "tests/support/proc_info.h"
#include "tests/system/giop/giop_test.h"

namespace {

using support::ByteOrder;
using support::GiopClient;
using support::Octets;
using support::Reply;
using support::RequestSpec;

constexpr std::size_t MIB = 1024 * 1024;
constexpr std::size_t BODY = 100 * MIB;

// What the daemon may grow by, in KiB. Sanitizers touch memory of their own.
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr std::size_t ALLOWED = 16 * 1024;
#else
constexpr std::size_t ALLOWED = 1024;
#endif

class LargeBodyTest : public GiopTest {
 protected:
  // Sends a request with a body of that size and returns the daemon's largest resident size meanwhile, in KiB.
  std::size_t send_large(GiopClient& client, RequestSpec spec, std::size_t body_size) {
    const Octets piece(MIB, 'x');
    spec.body = {'x', 'x', 'x', 'x', 'x', 'x', 'x', 'x'};
    Octets head = request(spec);
    support::set_message_size(head, static_cast<std::uint32_t>(head.size() - support::HEADER_SIZE + body_size));
    client.send(head);
    std::size_t largest = 0;
    for (std::size_t sent = 0; sent < body_size; sent += piece.size()) {
      EXPECT_FALSE(client.something_arrived()) << "answered after " << sent << " octets";
      client.send(piece);
      largest = std::max(largest, support::resident_kib(m_locator.pid()));
    }
    return largest;
  }
};

TEST_F(LargeBodyTest, RequestToAnActivePoaIsForwardedWithoutItsBodyBeingHeld) {
  m_server.add("Bank");
  for (const unsigned minor : {0U, 1U, 2U}) {
    RequestSpec spec = spec_for("Bank", 7);
    spec.dialect.minor = minor;
    GiopClient client = connect();
    // What the first request of a connection costs does not depend on its size.
    send_large(client, spec, MIB);
    EXPECT_TRUE(is_forward_to_server(client.receive_reply(), "Bank"));
    const std::size_t before = support::resident_kib(m_locator.pid());
    const std::size_t largest = send_large(client, spec, BODY);
    const Reply reply = client.receive_reply();
    EXPECT_EQ(reply.id, 7U);
    EXPECT_TRUE(is_forward_to_server(reply, "Bank"));
    EXPECT_LT(std::max(largest, support::resident_kib(m_locator.pid())), before + ALLOWED);
  }
}

TEST_F(LargeBodyTest, RequestThatWaitsForItsServerIsKeptWithoutItsBody) {
  prepare_stopped({"Bank"});
  GiopClient client = connect();
  send_large(client, spec_for("Bank", 1), MIB);
  pass_fence(client);
  const std::size_t before = support::resident_kib(m_locator.pid());
  const std::size_t largest = send_large(client, spec_for("Bank", 2), BODY);
  pass_fence(client);
  EXPECT_LT(std::max(largest, support::resident_kib(m_locator.pid())), before + ALLOWED);
  m_server.add("Bank");
  for (const std::uint32_t id : {1U, 2U}) {
    const Reply reply = client.receive_reply();
    EXPECT_EQ(reply.id, id);
    EXPECT_TRUE(is_forward_to_server(reply, "Bank"));
  }
}

TEST_F(LargeBodyTest, BodyInFragmentsIsNotHeldEither) {
  m_server.add("Bank");
  GiopClient client = connect();
  RequestSpec spec = spec_for("Bank", 3);
  const Octets more = Octets(64 * 1024, 'x');
  Octets head = request(spec);
  head[6] |= 2;
  // The padding before the body is part of the fragments that follow; the first part ends on a multiple of 8.
  while (head.size() % 8 != 0) head.push_back(0);
  support::set_message_size(head, static_cast<std::uint32_t>(head.size() - support::HEADER_SIZE));
  Octets fragment =
      message({2, ByteOrder::BIG}, support::FRAGMENT, support::CdrWriter(ByteOrder::BIG).ulong(3).raw(more).octets());
  client.send(head);
  fragment[6] |= 2;
  client.send(fragment);
  const std::size_t before = support::resident_kib(m_locator.pid());
  std::size_t largest = before;
  for (std::size_t sent = 0; sent < BODY; sent += more.size()) {
    client.send(fragment);
    largest = std::max(largest, support::resident_kib(m_locator.pid()));
  }
  EXPECT_FALSE(client.something_arrived());
  fragment[6] &= ~2U;
  client.send(fragment);
  EXPECT_TRUE(is_forward_to_server(client.receive_reply(), "Bank"));
  EXPECT_LT(largest, before + ALLOWED);
}

}  // namespace
