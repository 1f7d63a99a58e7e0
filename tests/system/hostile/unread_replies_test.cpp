// Peers that ask much and read nothing.
#include <thread>

#include "tests/system/hostile/hostile_test.h"

namespace {

using support::GiopClient;
using support::Octets;

constexpr std::uint32_t REQUESTS = 100'000;

class UnreadRepliesTest : public HostileTest {
 protected:
  Octets many_requests(const std::string& path) const {
    Octets all;
    for (std::uint32_t id = 1; id <= REQUESTS; ++id) {
      const Octets one = request(spec_for(path, id));
      all.insert(all.end(), one.begin(), one.end());
    }
    return all;
  }
  // Whoever goes on reading gets at all of them.
  void expect_not_all_read(const char* counter) {
    EXPECT_FALSE(support::wait_until([&] { return support::Counters(m_locator)[counter] >= REQUESTS; },
                                     std::chrono::seconds(1)));
  }
  GiopClient connect_with_small_buffer() const {
    return GiopClient(m_locator.host(), support::Locator::FRONT_DOOR, {.receive_buffer = 4096});
  }
};

// Sends on a thread of its own, until all is sent or the connection ends.
class Sender {
 public:
  Sender(GiopClient& client, const Octets& octets)
      : m_client(client), m_thread([&client, &octets] { client.try_send(octets); }) {}
  // Gives up what is not sent.
  ~Sender() {
    m_client.finish_sending();
    m_thread.join();
  }

 private:
  GiopClient& m_client;
  std::thread m_thread;
};

TEST_F(UnreadRepliesTest, ManyRequestsOfAReaderThatStopsAreAnsweredInBoundedMemory) {
  start();
  const Octets all = many_requests("Bank");
  expect_forwards();
  const std::size_t before = resident();
  GiopClient client = connect_with_small_buffer();
  const Sender sender(client, all);
  // The limit is of octets; what is there when it bites is not known beforehand.
  ASSERT_TRUE(m_locator.log().wait_for([&](const support::Event& event) {
    return event.id == OUTPUT_LIMIT && event.parameters.at(0) == client.address() &&
           std::stoul(event.parameters.at(1)) >= 1024 * 1024;
  }));
  expect_not_all_read("forwards");
  expect_forwards();
  EXPECT_LT(resident(), before + FLAT_KIB + 4 * 1024);
  for (std::uint32_t id = 1; id <= REQUESTS; ++id) ASSERT_EQ(client.receive_reply().id, id);
  EXPECT_LT(resident(), before + FLAT_KIB + 4 * 1024);
  expect_forwards();
}

TEST_F(UnreadRepliesTest, ReaderThatNeverGoesOnIsCutOff) {
  start({{"message_time", "1"}});
  const std::size_t files_before = files();
  const Octets all = many_requests("Bank");
  {
    GiopClient client = connect_with_small_buffer();
    const Sender sender(client, all);
    expect_logged(OUTPUT_TIME, client.address(), "1000");
    expect_counted("message_timeouts", 1);
  }
  EXPECT_TRUE(files_return_to(files_before));
  expect_forwards();
}

TEST_F(UnreadRepliesTest, ManyRequestsForAServerThatDoesNotComeTakeBoundedMemoryAndLeaveNothing) {
  start();
  prepare_stopped({"Stopped"});
  const Octets all = many_requests("Stopped");
  GiopClient first = connect();
  send_and_wait_for_activation(first, spec_for("Stopped"));
  expect_forwards();
  const std::size_t files_before = files(), before = resident();
  {
    GiopClient client = connect();
    const Sender sender(client, all);
    expect_logged(REQUEST_LIMIT, client.address(), "1000");
    expect_not_all_read("requests");
    expect_forwards();
    EXPECT_LT(resident(), before + FLAT_KIB);
    // In order, its system would keep the connection until everything has been read.
    client.reset_at_end();
  }
  EXPECT_TRUE(files_return_to(files_before));
  m_server.add("Stopped");
  EXPECT_TRUE(is_forward_to_server(first.receive_reply(), "Stopped"));
  EXPECT_TRUE(support::books_balance(m_locator));
  expect_forwards();
}

}  // namespace
