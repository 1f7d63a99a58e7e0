// Opening, starting and stopping.
#include <future>

#include "platform/binding/front_door_event_msg.h"
#include "tests/unit/platform/binding/front_door_test.h"

namespace test {
namespace {

using namespace std::chrono_literals;
using QZ_Binding::DISPATCH_INLINE;
using QZ_Binding::DISPATCH_WORKER;

class FrontDoorEnd : public FrontDoorTest {
 protected:
  QZ_IOR::IOR_var target = ior_of("live");
  Parking parking;
};

TEST_F(FrontDoorEnd, TakesItsPortBeforeItServes) {
  door = std::make_unique<QZ_Binding::FrontDoor>(config, *manager, log);
  EXPECT_TRUE(door->listening().empty());
  door->open();
  ASSERT_EQ(door->listening().size(), 1u);
  EXPECT_NE(port(), 0);
  EXPECT_FALSE(Client(port()).connected()) << "clients are refused until everything is ready";
  QZ_IOR::IOREndpoint_var known = manager->endpoint(octet_seq("prefix"), QZ_Binding::EffectivePolicies::_nil());
  EXPECT_FALSE(CORBA::is_nil(known));
  door->start();
  EXPECT_TRUE(Client(port()).connected());
}

TEST_F(FrontDoorEnd, SaysWhichAddressCannotBeHad) {
  start();
  config.listeners[0].port = port();
  QZ_Binding::FrontDoor second(config, *manager, log);
  try {
    second.start();
    FAIL() << "the port was taken";
  } catch (const std::system_error& e) {
    EXPECT_NE(std::string(e.what()).find("127.0.0.1:" + std::to_string(port())), std::string::npos) << e.what();
  }
  config.listeners[0] = {"no such host.invalid", 0, {}};
  EXPECT_THROW(QZ_Binding::FrontDoor(config, *manager, log).open(), std::system_error);
}

TEST_F(FrontDoorEnd, StopTellsClientsThatNothingMoreComes) {
  auto binding = bound(*manager, endpoint, DISPATCH_INLINE, [&](const Pending& p) { parking.add(p); });
  start();
  const std::uint16_t where = port();
  Client idle(where), waiting(where);
  ASSERT_TRUE(waiting.send(request({.minor = 1, .key = endpoint})));
  auto pending = parking.take(1);
  ASSERT_TRUE(eventually([&] { return counters().connections_open == 2; }));
  auto stopping = std::async(std::launch::async, [&] { door->stop(); });
  for (Client* client : {&idle, &waiting}) {
    const auto goodbye = client->receive();
    ASSERT_TRUE(goodbye);
    EXPECT_EQ(goodbye->type, 5u);
    EXPECT_TRUE(client->closed_by_server());
    client->close();
  }
  stopping.get();
  EXPECT_EQ(counters().connections_open, 0u);
  EXPECT_FALSE(Client(where).connected());
  for (const Pending& p : pending) {
    const CORBA::OctetSeq_var key = p.data->object_key();
    EXPECT_EQ(key->length(), endpoint.size()) << "what is parked is valid until the front door is gone";
    p.forward(target);
  }
  EXPECT_EQ(log->events(QZ_Binding::STOPPED_MSG.id).size(), 1u);
}

// Of a client that reads nothing while its answers fill the connection.
TEST_F(FrontDoorEnd, NothingFollowsTheLastMessageWhenTheOutputIsBlocked) {
  constexpr std::uint32_t ANSWERS = 2000;
  const QZ_IOR::IOR_var large = ior_of(std::string(10'000, 'x'));
  const std::string parked = key_of({"QP", "domain", "parked"});
  auto answering = bound(*manager, endpoint, DISPATCH_INLINE, [&](const Pending& p) { p.forward(large); });
  auto parking_one = bound(*manager, parked, DISPATCH_INLINE, [&](const Pending& p) { parking.add(p); });
  config.max_output_size = std::size_t{64} * 1024 * 1024;
  start();
  Client client(port(), 4096);
  Octets all = request({.id = ANSWERS, .key = parked});
  for (std::uint32_t id = 0; id < ANSWERS; ++id) {
    const Octets one = request({.id = id, .key = endpoint});
    all.insert(all.end(), one.begin(), one.end());
  }
  ASSERT_TRUE(client.send(all));
  ASSERT_TRUE(client.send(Octets(12, 'x'))) << "what is no GIOP ends the connection";
  const auto pending = parking.take(1);
  ASSERT_TRUE(eventually([&] { return counters().protocol_errors == 1; }));
  pending.at(0).forward(target);
  EXPECT_TRUE(eventually([&] { return counters().replies_dropped == 1; }));
  for (std::uint32_t id = 0; id < ANSWERS; ++id) {
    const auto reply = client.receive();
    ASSERT_TRUE(reply);
    ASSERT_EQ(reply->type, 1u);
    ASSERT_EQ(reply->id(), id);
  }
  const auto last = client.receive();
  ASSERT_TRUE(last);
  EXPECT_EQ(last->type, 6u);
  EXPECT_TRUE(client.closed_by_server());
}

TEST_F(FrontDoorEnd, StopDoesNotWaitForClientsThatDoNotClose) {
  config.close_time = 100ms;
  start();
  Client stubborn(port());
  ASSERT_TRUE(eventually([&] { return counters().connections_open == 1; }));
  const auto begin = std::chrono::steady_clock::now();
  door->stop();
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 5s);
  EXPECT_EQ(counters().connections_open, 0u);
}

TEST_F(FrontDoorEnd, ParkedRequestsThatNobodyAnswersAreFreed) {
  auto binding = bound(*manager, endpoint, DISPATCH_WORKER, [&](const Pending& p) { parking.add(p); });
  start();
  Client client(port());
  ASSERT_TRUE(client.send(joined({request({.id = 1, .key = endpoint}), request({.id = 2, .key = endpoint})})));
  ASSERT_EQ(parking.take(2).size(), 2u);
  door.reset();  // the leak checker of the address sanitizer looks after the rest
}

TEST_F(FrontDoorEnd, StopWaitsForRunningCallsAndDropsThoseNotBegun) {
  config.workers = 1;
  std::promise<void> inside, go_on;
  auto wait = go_on.get_future().share();
  std::atomic<int> calls{0};
  std::atomic<bool> returned{false};
  auto binding = bound(*manager, domain, DISPATCH_WORKER, [&](const Pending& p) {
    if (++calls == 1) inside.set_value();
    wait.wait();
    p.forward(target);
    returned = true;
  });
  start();
  Client client(port());
  const std::string other = key_of({"QP", "domain", "other"});
  ASSERT_TRUE(client.send(joined({request({.id = 1, .key = endpoint}), request({.id = 2, .key = endpoint}),
                                  request({.id = 3, .key = other}), request({.locate = true, .id = 4, .key = "x"})})));
  inside.get_future().wait();
  ASSERT_TRUE(client.receive()) << "all four have been read";
  auto stopping = std::async(std::launch::async, [&] {
    door->stop();
    return returned.load();
  });
  EXPECT_EQ(client.receive()->type, 5u);
  client.close();
  EXPECT_EQ(stopping.wait_for(100ms), std::future_status::timeout);
  go_on.set_value();
  EXPECT_TRUE(stopping.get()) << "stopped while a call was inside";
  EXPECT_EQ(calls, 1);
}

TEST_F(FrontDoorEnd, StopsUnderLoad) {
  auto inline_binding = bound(*manager, endpoint, DISPATCH_INLINE, [&](const Pending& p) { p.forward(target); });
  auto worker_binding = bound(*manager, domain, DISPATCH_WORKER, [&](const Pending& p) { p.forward(target); });
  const std::string other = key_of({"QP", "domain", "other"});
  for (int round = 0; round < 5; ++round) {
    start();
    const std::uint16_t where = port();
    std::atomic<std::uint64_t> answered{0};
    std::vector<std::thread> clients;
    for (int c = 0; c < 3; ++c) {
      clients.emplace_back([&, c] {
        Client client(where);
        for (std::uint32_t id = 0;; ++id) {
          const Octets both = joined(
              {request({.id = 2 * id, .key = endpoint}), request({.locate = c == 1, .id = 2 * id + 1, .key = other})});
          if (!client.send(both)) return;
          for (int i = 0; i < 2; ++i) {
            const auto reply = client.receive();
            if (!reply || reply->type == 5) return;
            ++answered;
          }
        }
      });
    }
    EXPECT_TRUE(eventually([&] { return answered > 200; }));
    door->stop();
    for (auto& client : clients) client.join();
    door.reset();
  }
}

TEST_F(FrontDoorEnd, StopWithoutStartAndTwice) {
  door = std::make_unique<QZ_Binding::FrontDoor>(config, *manager, log);
  door->stop();
  door->stop();
  door.reset();
  start();
  door->stop();
  door->stop();
}

}  // namespace
}  // namespace test
