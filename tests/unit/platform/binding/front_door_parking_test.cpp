// Requests that are parked for long, and clients that do not wait for them.
#include "platform/binding/front_door_event_msg.h"
#include "tests/unit/platform/binding/front_door_test.h"

namespace test {
namespace {

using namespace std::chrono_literals;
using QZ_Binding::DISPATCH_INLINE;
using QZ_Binding::DISPATCH_WORKER;

class FrontDoorParking : public FrontDoorTest {
 protected:
  QZ_Binding::ServerBinding_var park_all(QZ_Binding::Dispatch where = DISPATCH_INLINE) {
    return bound(*manager, endpoint, where, [this](const Pending& p) { parking.add(p); });
  }
  Octets asked(std::uint32_t id, std::uint8_t minor = 2, bool locate = false) const {
    return request({.minor = minor, .locate = locate, .id = id, .key = endpoint + "x"});
  }

  Parking parking;
  QZ_IOR::IOR_var target = ior_of("live");
};

TEST_F(FrontDoorParking, RequestWaitsAsLongAsItTakesUnlessTheTimeIsLimited) {
  config.idle_time = config.message_time = 300ms;
  auto binding = park_all();
  start();
  Client client(port());
  ASSERT_TRUE(client.send(asked(1)));
  const auto pending = parking.take(1);
  ASSERT_EQ(pending.size(), 1u);
  EXPECT_TRUE(client.silent(900ms));
  EXPECT_FALSE(pending[0].callback->abandoned());
  pending[0].forward(target);
  EXPECT_EQ(client.receive()->status(), 3u);
  EXPECT_EQ(counters().park_timeouts, 0u);
}

TEST_F(FrontDoorParking, RequestThatWaitsTooLongIsAnsweredTransient) {
  config.park_time = 100ms;
  for (const auto where : {DISPATCH_INLINE, DISPATCH_WORKER}) {
    auto binding = park_all(where);
    start();
    Client client(port());
    for (const std::uint8_t minor : {0, 1, 2}) {
      ASSERT_TRUE(client.send(asked(minor, minor)));
      const auto reply = client.receive();
      ASSERT_TRUE(reply);
      EXPECT_EQ(reply->id(), minor);
      EXPECT_EQ(reply->exception(), "IDL:omg.org/CORBA/TRANSIENT:1.0");
      EXPECT_EQ(reply->minor_code(), 0x515A0B01u);
    }
    EXPECT_EQ(counters().park_timeouts, 3u);
    const auto events = log->events(QZ_Binding::PARK_TIME_MSG.id);
    ASSERT_FALSE(events.empty());
    EXPECT_EQ(events[0].params.at(1), "100");
    // The interceptor's own answer comes too late and hurts nobody; it can know.
    for (const Pending& p : parking.take(3)) {
      EXPECT_TRUE(p.callback->abandoned());
      p.forward(target);
    }
    EXPECT_TRUE(client.silent(50ms));
    binding->destroy();
    door.reset();
  }
}

TEST_F(FrontDoorParking, LocateRequestThatWaitsTooLongIsAnsweredAsItsVersionCan) {
  config.park_time = 100ms;
  auto binding = park_all();
  start();
  Client client(port());
  constexpr std::uint32_t OBJECT_HERE = 1, EXCEPTION = 4;
  for (const std::uint8_t minor : {0, 1, 2}) {
    ASSERT_TRUE(client.send(asked(1, minor, true)));
    const auto reply = client.receive();
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->status(), minor < 2 ? OBJECT_HERE : EXCEPTION);
  }
  for (const Pending& p : parking.take(3)) p.forward(target);
}

// Otherwise a client that gives up and asks again would be held up until its server has come.
TEST_F(FrontDoorParking, RequestsThatNobodyWaitsForDoNotCountAgainstTheLimit) {
  config.max_requests_per_connection = 5;
  config.park_time = 1h;
  auto binding = park_all();
  start();
  Client client(port());
  std::vector<Pending> pending;
  for (std::uint32_t id = 0; id < 50; ++id) {
    ASSERT_TRUE(client.send(joined({asked(id), cancel_request(id)})));
    const auto next = parking.take(1);
    ASSERT_EQ(next.size(), 1u) << id;
    pending.push_back(next[0]);
  }
  for (const Pending& p : pending) EXPECT_TRUE(eventually([&] { return p.callback->abandoned(); }));
  for (const Pending& p : pending) p.forward(target);
  EXPECT_TRUE(eventually([&] { return counters().replies_dropped == 50; }));
  ASSERT_TRUE(client.send(asked(1)));
  for (const Pending& p : parking.take(1)) p.forward(target);
  EXPECT_EQ(client.receive()->id(), 1u);
}

TEST_F(FrontDoorParking, InterceptorLearnsThatTheClientHasGone) {
  auto binding = park_all();
  start();
  auto client = std::make_unique<Client>(port());
  ASSERT_TRUE(client->send(asked(1)));
  const auto pending = parking.take(1);
  ASSERT_EQ(pending.size(), 1u);
  EXPECT_FALSE(pending[0].callback->abandoned());
  client.reset();
  EXPECT_TRUE(eventually([&] { return pending[0].callback->abandoned(); }));
  pending[0].forward(target);
}

// The end of the stream stands behind requests that are not read.
TEST_F(FrontDoorParking, ClientThatGoesWhileItIsNotReadLeavesItsSlot) {
  config.max_requests_per_connection = 2;
  config.close_time = 100ms;
  auto binding = park_all();
  start();
  auto client = std::make_unique<Client>(port());
  ASSERT_TRUE(client->send(joined({asked(1), asked(2), asked(3), asked(4)})));
  const auto pending = parking.take(2);
  ASSERT_EQ(pending.size(), 2u);
  EXPECT_EQ(counters().connections_open, 1u);
  client.reset();
  EXPECT_TRUE(eventually([&] { return counters().connections_open == 0; }));
  for (const Pending& p : pending) p.forward(target);
}

}  // namespace
}  // namespace test
