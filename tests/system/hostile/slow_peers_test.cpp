// Peers that take their time, or for ever.
#include <thread>

#include "tests/system/hostile/hostile_test.h"

namespace {

using support::ByteOrder;
using support::CdrWriter;
using support::GiopClient;
using support::Octets;
using support::RequestSpec;

class SlowPeersTest : public HostileTest {
 protected:
  std::vector<GiopClient> connect_many(std::size_t count) const {
    std::vector<GiopClient> clients;
    for (std::size_t i = 0; i < count; ++i) clients.push_back(connect());
    return clients;
  }
};

TEST_F(SlowPeersTest, WritersOfAHeaderOctetASecondAreCutOff) {
  using Clock = std::chrono::steady_clock;
  start({{"message_time", "3"}});
  const std::size_t files_before = files();
  std::vector<GiopClient> writers = connect_many(100);
  const Octets whole = request(spec_for("Bank"));
  const auto begin = Clock::now();
  for (std::size_t i = 0; i < support::HEADER_SIZE && !writers[0].something_arrived(); ++i) {
    std::this_thread::sleep_until(begin + std::chrono::seconds(i));  // the writers' pace
    for (GiopClient& writer : writers) writer.try_send({whole[i]});
    expect_forwards();
  }
  // Not before they had their time, and before they had a header.
  ASSERT_TRUE(writers[0].something_arrived());
  EXPECT_GE(Clock::now() - begin, std::chrono::seconds(3));
  for (GiopClient& writer : writers) {
    expect_ended(writer, support::CLOSE_CONNECTION);
    expect_logged(MESSAGE_TIME, writer.address(), "3000");
  }
  expect_counted("message_timeouts", writers.size());
  writers.clear();
  EXPECT_TRUE(files_return_to(files_before));
  expect_forwards();
}

TEST_F(SlowPeersTest, ConnectionsThatNeverSendAreClosed) {
  start({{"idle_time", "2"}});
  const std::size_t files_before = files();
  std::vector<GiopClient> silent = connect_many(50);
  for (GiopClient& client : silent) {
    expect_ended(client, support::CLOSE_CONNECTION);
    expect_logged(IDLE, client.address(), "2000");
  }
  expect_counted("idle_timeouts", silent.size());
  silent.clear();
  EXPECT_TRUE(files_return_to(files_before));
  expect_forwards();
}

TEST_F(SlowPeersTest, HalfClosedConnectionsAreClosed) {
  start();
  prepare_stopped({"Stopped"});
  const std::size_t files_before = files();
  const Octets whole = request(spec_for("Bank"));
  const std::vector<Octets> sent = {{},
                                    Octets(whole.begin(), whole.begin() + 5),
                                    Octets(whole.begin(), whole.end() - 1),
                                    request(spec_for("Stopped")),
                                    request(spec_for("Stopped")) + Octets(whole.begin(), whole.begin() + 20)};
  for (int round = 0; round < 4; ++round) {
    for (const Octets& octets : sent) {
      GiopClient client = connect();
      client.send(octets);
      client.finish_sending();
      EXPECT_TRUE(client.wait_for_end());
    }
  }
  // The ORB keeps the connections over which it has asked the server to start the POA, some at most.
  constexpr std::size_t ORB_CONNECTIONS = 5;
  EXPECT_TRUE(files_return_to(files_before + ORB_CONNECTIONS));
  m_server.add("Stopped");
  expect_forwards();
}

// The peer's half stays open for ever.
TEST_F(SlowPeersTest, PeersThatDoNotCloseAConnectionThatHasEndedAreNotWaitedFor) {
  start();
  const std::size_t files_before = files();
  std::vector<GiopClient> clients = connect_many(20);
  for (GiopClient& client : clients) {
    client.send(support::octets_of("GET / HTTP/1.1\r\n"));
    expect_ended(client, support::MESSAGE_ERROR);
  }
  EXPECT_TRUE(files_return_to(files_before));
  expect_forwards();
}

TEST_F(SlowPeersTest, BodyInFragmentsThatNeverEndIsCutOff) {
  start({{"message_time", "1"}});
  const std::size_t files_before = files(), memory_before = resident();
  RequestSpec spec = spec_for("Bank", 3);
  spec.body = Octets(8, 'x');
  Octets first = request(spec);
  first[6] |= 2;
  Octets more = message({2, ByteOrder::BIG}, support::FRAGMENT,
                        CdrWriter(ByteOrder::BIG).ulong(3).raw(Octets(1020, 'x')).octets());
  more[6] |= 2;
  {
    GiopClient client = connect();
    client.send(first);
    while (!client.something_arrived() && client.try_send(more)) {
    }
    expect_ended(client, support::CLOSE_CONNECTION);
    expect_logged(MESSAGE_TIME, client.address(), "1000");
  }
  EXPECT_LT(resident(), memory_before + FLAT_KIB);
  EXPECT_TRUE(files_return_to(files_before));
  expect_forwards();
}

// One that looks at it finds this connection in the middle of a fragment that has just begun, whenever it does.
TEST_F(SlowPeersTest, FragmentsThatAreAlwaysUnderwayAreCutOff) {
  start({{"message_time", "1"}});
  RequestSpec spec = spec_for("Bank", 3);
  spec.body = Octets(8, 'x');
  Octets first = request(spec);
  first[6] |= 2;
  Octets more =
      message({2, ByteOrder::BIG}, support::FRAGMENT, CdrWriter(ByteOrder::BIG).ulong(3).raw(Octets(12, 'x')).octets());
  more[6] |= 2;
  const Octets begun(more.begin(), more.end() - 4), rest(more.end() - 4, more.end());
  GiopClient client = connect();
  client.send(first + begun);
  EXPECT_TRUE(support::wait_until([&] { return client.something_arrived() || !client.try_send(rest + begun); }));
  expect_ended(client, support::CLOSE_CONNECTION);
  expect_logged(MESSAGE_TIME, client.address(), "1000");
  expect_forwards();
}

// More requests at once than may be incomplete, a fragment of each in turn.
TEST_F(SlowPeersTest, FragmentsOfAThousandRequestsInterleavedAreRefusedAtTheirLimit) {
  start();
  const std::size_t files_before = files(), memory_before = resident();
  std::vector<GiopClient> clients = connect_many(20);
  for (GiopClient& client : clients) {
    Octets all;
    for (std::uint32_t id = 1; id <= 1000; ++id) {
      RequestSpec spec = spec_for("Bank", id);
      spec.body = Octets(8, 'x');
      Octets first = request(spec);
      first[6] |= 2;
      all.insert(all.end(), first.begin(), first.end());
    }
    client.try_send(all);
    expect_ended(client, support::MESSAGE_ERROR);
    expect_logged(INCOMPLETE_LIMIT, client.address(), "32");
  }
  expect_counted("incomplete_requests_exceeded", clients.size());
  clients.clear();
  EXPECT_LT(resident(), memory_before + FLAT_KIB);
  EXPECT_TRUE(files_return_to(files_before));
  expect_forwards();
}

// Each fragment brings a service context of the smallest size, so that the header never ends.
TEST_F(SlowPeersTest, HeaderInFragmentsThatNeverEndsIsRefusedAtItsLimit) {
  start();
  const support::Dialect dialect{1, ByteOrder::BIG};
  for (const std::uint32_t contexts : {8'000U, 0xFFFFFFFFU}) {
    Octets first = message(dialect, support::REQUEST, CdrWriter(ByteOrder::BIG).ulong(contexts).octets());
    Octets more = message(dialect, support::FRAGMENT, CdrWriter(ByteOrder::BIG).ulong(1).ulong(1).raw({0}).octets());
    first[6] |= 2;
    more[6] |= 2;
    GiopClient client = connect();
    client.send(first);
    for (unsigned sent = 0; sent <= contexts && !client.something_arrived() && client.try_send(more); ++sent) {
    }
    expect_ended(client, support::MESSAGE_ERROR);
    expect_logged(HEADER_SIZE, client.address(), "65536");
  }
  expect_counted("headers_too_long", 2);
  expect_forwards();
}

}  // namespace
