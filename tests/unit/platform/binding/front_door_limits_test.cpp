// Bad clients: what they may do, and what it costs.
#include <fcntl.h>
#include <sys/resource.h>

#include "platform/binding/front_door_event_msg.h"
#include "tests/unit/platform/binding/front_door_test.h"

namespace test {
namespace {

using namespace std::chrono_literals;
using QZ_Binding::DISPATCH_INLINE;

class FrontDoorLimits : public FrontDoorTest {
 protected:
  QZ_Binding::ServerBinding_var forward_all() {
    return bound(*manager, endpoint, DISPATCH_INLINE, [this](const Pending& p) { p.forward(target); });
  }
  Octets asked(std::uint32_t id = 1) const { return request({.id = id, .key = endpoint + "x"}); }
  void expect_served(Client& client) {
    ASSERT_TRUE(client.send(request({.id = 4711, .key = "unknown"})));
    const auto reply = client.receive();
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->id(), 4711u);
  }
  // The event names the peer, and the limit or what else it did; what is empty where that is not known beforehand.
  void expect_logged(const QZ_Binding::FrontDoorMsg& message, const std::string& what,
                     const std::string& who = "127.0.0.1") {
    EXPECT_TRUE(eventually([&] { return !log->events(message.id).empty(); })) << message.text;
    for (const auto& event : log->events(message.id)) {
      ASSERT_EQ(event.params.size(), 3u);
      EXPECT_EQ(event.params[0].rfind(who, 0), 0u) << event.params[0];
      if (!what.empty()) EXPECT_EQ(event.params[1], what);
      EXPECT_EQ(event.subsystem, "QZ_FRONT_DOOR");
      EXPECT_EQ(event.priority, message.priority);
      // Each parameter has its place in the text.
      EXPECT_NE(event.text.find("%" + std::to_string(event.params.size() - 1)), std::string::npos) << event.text;
      EXPECT_EQ(event.text.find("%" + std::to_string(event.params.size())), std::string::npos) << event.text;
    }
  }
  void expect_refused_with_message_error(const Octets& octets, std::uint8_t minor) {
    Client client(port());
    ASSERT_TRUE(client.send(octets));
    const auto reply = client.receive();
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->type, 6u);
    EXPECT_EQ(reply->minor, minor);
    EXPECT_TRUE(client.closed_by_server());
  }

  QZ_IOR::IOR_var target = ior_of("live");
};

TEST_F(FrontDoorLimits, BadMagicInMidStreamIsAnsweredAndEndsTheConnection) {
  auto binding = forward_all();
  start();
  Client client(port());
  // What follows the error is passed over, so that it does not take the MessageError with it.
  ASSERT_TRUE(client.send(joined({asked(), octets("GET / HTTP/1.1\r\n\r\n"), Octets(100'000, 'x')})));
  const auto answer = client.receive(), error = client.receive();
  ASSERT_TRUE(answer && error);
  EXPECT_EQ(answer->type, 1u);
  EXPECT_EQ(error->type, 6u);
  EXPECT_EQ(error->octets.size(), 12u);
  EXPECT_TRUE(client.closed_by_server());
  EXPECT_EQ(counters().protocol_errors, 1u);
  expect_logged(QZ_Binding::PROTOCOL_ERROR_MSG, "what comes is not GIOP");
}

TEST_F(FrontDoorLimits, MessageErrorIsInTheClientsVersion) {
  start();
  expect_refused_with_message_error(octets("GET / HTTP/1.1\r\n\r\n"), 0);
  Octets newer = request({});
  newer[5] = 3;
  expect_refused_with_message_error(newer, 2);
  for (const std::uint8_t minor : {0, 1, 2}) {
    expect_refused_with_message_error(message(minor, true, 1, Octets(12)), minor);
    expect_refused_with_message_error(message(minor, false, 0, Octets(4)), minor);
  }
}

TEST_F(FrontDoorLimits, ClientMayCloseTheConnectionWithRequestsOutstanding) {
  Parking parking;
  auto binding = bound(*manager, endpoint, DISPATCH_INLINE, [&](const Pending& p) { parking.add(p); });
  start();
  Client client(port());
  ASSERT_TRUE(client.send(joined({asked(), close_connection(), asked(2)})));
  auto pending = parking.take(1);
  EXPECT_TRUE(client.silent(50ms));
  for (const Pending& p : pending) p.forward(target);
  const auto reply = client.receive();
  ASSERT_TRUE(reply);
  EXPECT_EQ(reply->id(), 1u);
  EXPECT_TRUE(client.closed_by_server());
  EXPECT_EQ(parking.size(), 0u);
}

TEST_F(FrontDoorLimits, ConnectionsAreLimited) {
  config.max_connections = 2;
  start();
  auto first = std::make_unique<Client>(port());
  Client second(port());
  expect_served(*first);
  expect_served(second);
  Client third(port());
  EXPECT_TRUE(third.closed_by_server());
  EXPECT_EQ(counters().connections_refused, 1u);
  EXPECT_EQ(counters().connections_open, 2u);
  expect_logged(QZ_Binding::CONNECTION_LIMIT_MSG, "2");
  first.reset();
  ASSERT_TRUE(eventually([&] { return counters().connections_open == 1; }));
  Client fourth(port());
  expect_served(fourth);
}

TEST_F(FrontDoorLimits, ConnectionsPerAddressAreLimited) {
  config.max_connections_per_address = 1;
  start();
  Client first(port());
  expect_served(first);
  Client second(port());
  EXPECT_TRUE(second.closed_by_server());
  EXPECT_EQ(counters().connections_refused_for_address, 1u);
  expect_logged(QZ_Binding::ADDRESS_LIMIT_MSG, "1");
}

TEST_F(FrontDoorLimits, HeaderSizeIsLimited) {
  config.max_header_size = 1000;
  start();
  expect_refused_with_message_error(request({.minor = 1, .key = std::string(1000, 'k')}), 1);
  EXPECT_EQ(counters().headers_too_long, 1u);
  expect_logged(QZ_Binding::HEADER_SIZE_MSG, "1000");
}

TEST_F(FrontDoorLimits, KeySizeIsLimited) {
  config.max_key_size = 100;
  auto binding = forward_all();
  start();
  Client client(port());
  const std::string key = endpoint + std::string(101 - endpoint.size(), 'k');
  for (const bool locate : {false, true}) {
    ASSERT_TRUE(client.send(request({.locate = locate, .key = key})));
    const auto reply = client.receive();
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->exception(), "IDL:omg.org/CORBA/IMP_LIMIT:1.0");
  }
  EXPECT_EQ(counters().keys_too_long, 2u);
  expect_logged(QZ_Binding::KEY_SIZE_MSG, "100");
  ASSERT_TRUE(client.send(request({.key = key.substr(0, 100)})));
  EXPECT_EQ(client.receive()->status(), 3u);
}

TEST_F(FrontDoorLimits, IncompleteRequestsAreLimited) {
  config.max_incomplete_requests = 3;
  start();
  Octets all;
  for (unsigned char id = 1; id <= 4; ++id) {
    all = joined({all, message(2, true, 0, {id, 0, 0, 0, 3, 0, 0, 0}, true)});
  }
  expect_refused_with_message_error(all, 2);
  EXPECT_EQ(counters().incomplete_requests_exceeded, 1u);
  expect_logged(QZ_Binding::INCOMPLETE_LIMIT_MSG, "3");
}

TEST_F(FrontDoorLimits, ReadingPausesWhileTooManyRequestsAreUnanswered) {
  config.max_requests_per_connection = 5;
  Parking parking;
  auto binding = bound(*manager, endpoint, DISPATCH_INLINE, [&](const Pending& p) { parking.add(p); });
  start();
  Client client(port());
  Octets all;
  for (std::uint32_t id = 0; id < 12; ++id) all = joined({all, asked(id)});
  ASSERT_TRUE(client.send(all));
  std::vector<Pending> pending = parking.take(5);
  ASSERT_EQ(pending.size(), 5u);
  EXPECT_EQ(parking.take(1, 50ms).size(), 0u);
  expect_logged(QZ_Binding::REQUEST_LIMIT_MSG, "5");

  // Answering one lets one in.
  pending[0].forward(target);
  pending.erase(pending.begin());
  auto next = parking.take(1);
  ASSERT_EQ(next.size(), 1u);
  EXPECT_EQ(parking.take(1, 50ms).size(), 0u);
  pending.push_back(next[0]);

  for (int answered = 1; answered < 12; ++answered) {
    while (pending.empty()) pending = parking.take(1);
    pending[0].forward(target);
    pending.erase(pending.begin());
  }
  for (int i = 0; i < 12; ++i) EXPECT_TRUE(client.receive()) << i;
  EXPECT_GE(counters().reads_paused_for_requests, 1u);
}

TEST_F(FrontDoorLimits, OnewaysCountAsUnansweredUntilTheyAreFinished) {
  config.max_requests_per_connection = 2;
  Parking parking;
  auto binding = bound(*manager, endpoint, DISPATCH_INLINE, [&](const Pending& p) { parking.add(p); });
  start();
  Client client(port());
  const Octets oneway = request({.response = false, .key = endpoint});
  ASSERT_TRUE(client.send(joined({oneway, oneway, oneway})));
  auto pending = parking.take(2);
  ASSERT_EQ(pending.size(), 2u);
  EXPECT_EQ(parking.take(1, 50ms).size(), 0u);
  for (const Pending& p : pending) p.forward(target);
  for (const Pending& p : parking.take(1)) p.forward(target);
}

TEST_F(FrontDoorLimits, SlowReaderIsNotReadFromUntilItHasTakenItsReplies) {
  config.max_output_size = 64 * 1024;
  auto binding = forward_all();
  start();
  Client client(port(), 4096);
  Octets all;
  constexpr std::uint32_t COUNT = 60'000;
  for (std::uint32_t id = 0; id < COUNT; ++id) {
    const Octets one = asked(id);
    all.insert(all.end(), one.begin(), one.end());
  }
  std::thread sender([&] { client.send(all); });
  ASSERT_TRUE(eventually([&] { return counters().reads_paused_for_output > 0; }));
  expect_logged(QZ_Binding::OUTPUT_LIMIT_MSG, "");
  EXPECT_GE(std::stoul(log->events(QZ_Binding::OUTPUT_LIMIT_MSG.id).at(0).params.at(1)), config.max_output_size);
  EXPECT_LT(counters().forwards, COUNT);
  std::uint32_t id = 0;
  for (; id < COUNT; ++id) {
    const auto reply = client.receive();
    if (!reply || reply->id() != id) break;
  }
  EXPECT_EQ(id, COUNT);
  sender.join();
}

TEST_F(FrontDoorLimits, ReaderThatTakesNothingIsCutOff) {
  config.max_output_size = 64 * 1024;
  config.message_time = 1s;
  auto binding = forward_all();
  start();
  Client client(port(), 4096);
  Octets all;
  for (std::uint32_t id = 0; id < 60'000; ++id) {
    const Octets one = asked(id);
    all.insert(all.end(), one.begin(), one.end());
  }
  std::thread sender([&] { client.send(all); });
  ASSERT_TRUE(eventually([&] { return counters().connections_open == 0; }));
  EXPECT_EQ(counters().message_timeouts, 1u);
  expect_logged(QZ_Binding::OUTPUT_TIME_MSG, "1000");
  sender.join();
}

TEST_F(FrontDoorLimits, IdleConnectionIsClosedWithCloseConnection) {
  config.idle_time = 500ms;
  start();
  Client client(port());
  expect_served(client);
  const auto goodbye = client.receive();
  ASSERT_TRUE(goodbye);
  EXPECT_EQ(goodbye->type, 5u);
  EXPECT_EQ(goodbye->minor, 2u);
  EXPECT_TRUE(client.closed_by_server());
  EXPECT_EQ(counters().idle_timeouts, 1u);
  expect_logged(QZ_Binding::IDLE_MSG, "500");
}

TEST_F(FrontDoorLimits, ConnectionThatWaitsForAnAnswerIsNotIdle) {
  config.idle_time = 300ms;
  config.message_time = 300ms;
  Parking parking;
  auto binding = bound(*manager, endpoint, DISPATCH_INLINE, [&](const Pending& p) { parking.add(p); });
  start();
  Client client(port());
  ASSERT_TRUE(client.send(asked()));
  auto pending = parking.take(1);
  EXPECT_TRUE(client.silent(900ms));
  for (const Pending& p : pending) p.forward(target);
  const auto reply = client.receive();
  ASSERT_TRUE(reply);
  EXPECT_EQ(reply->status(), 3u);
}

TEST_F(FrontDoorLimits, MessageThatDoesNotEndInTimeEndsTheConnection) {
  config.message_time = 100ms;
  auto binding = forward_all();
  start();
  const Octets whole = request({.body = 100});
  const Octets begun_12 = message(2, true, 0, {1, 0, 0, 0, 3, 0, 0, 0}, true);
  for (const Octets& part :
       {Octets(whole.begin(), whole.begin() + 1), Octets(whole.begin(), whole.end() - 1), begun_12}) {
    Client client(port());
    ASSERT_TRUE(client.send(part));
    const auto goodbye = client.receive();
    ASSERT_TRUE(goodbye);
    EXPECT_EQ(goodbye->type, 5u);
    EXPECT_TRUE(client.closed_by_server());
  }
  EXPECT_EQ(counters().message_timeouts, 3u);
  expect_logged(QZ_Binding::MESSAGE_TIME_MSG, "100");
}

// Takes every free descriptor of the process while it lives.
class NoDescriptors {
 public:
  NoDescriptors() {
    ::getrlimit(RLIMIT_NOFILE, &m_before);
    const int lowest = ::dup(0);
    ::close(lowest);
    rlimit limit = m_before;
    limit.rlim_cur = static_cast<rlim_t>(lowest);
    // Descriptors above the first free one may be in use; they stay so.
    ::setrlimit(RLIMIT_NOFILE, &limit);
  }
  ~NoDescriptors() { ::setrlimit(RLIMIT_NOFILE, &m_before); }

 private:
  rlimit m_before{};
};

TEST_F(FrontDoorLimits, AcceptingGoesOnAfterDescriptorsRanOut) {
  start();
  Client before(port());
  expect_served(before);
  Client waiting(port());  // may be accepted already
  expect_served(waiting);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port());
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
  {
    NoDescriptors none;
    ASSERT_EQ(::connect(socket, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_TRUE(eventually([&] { return counters().accept_failures > 0; }));
    expect_served(before);
    const auto begin = std::chrono::steady_clock::now();
    const auto failures = counters().accept_failures.load();
    std::this_thread::sleep_for(300ms);
    const auto tenths = (std::chrono::steady_clock::now() - begin) / 100ms;
    EXPECT_LE(counters().accept_failures - failures, static_cast<std::uint64_t>(tenths) + 1)
        << "it tries without pause";
    EXPECT_EQ(counters().connections_open, 2u);
  }
  expect_logged(QZ_Binding::ACCEPT_FAILED_MSG, std::error_code(EMFILE, std::generic_category()).message(),
                "127.0.0.1:" + std::to_string(port()));
  ASSERT_TRUE(eventually([&] { return counters().connections_open == 3; }));
  ::close(socket);
}

TEST_F(FrontDoorLimits, RepeatedEventsAreLoggedSeldomAndCounted) {
  config.log_interval = 1h;
  start();
  for (int i = 0; i < 5; ++i) expect_refused_with_message_error(octets("GET / HTTP/1.1"), 0);
  EXPECT_EQ(counters().protocol_errors, 5u);
  const auto events = log->events(QZ_Binding::PROTOCOL_ERROR_MSG.id);
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].params.back(), "0");
}

}  // namespace
}  // namespace test
