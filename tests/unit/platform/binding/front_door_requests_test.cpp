// How requests are kept, ordered, answered and dropped.
#include <sched.h>
#include <sys/resource.h>

#include <fstream>
#include <future>
#include <list>

#include "tests/support/scheduling.h"
#include "tests/unit/platform/binding/front_door_test.h"

namespace test {
namespace {

using QZ_Binding::DISPATCH_INLINE;
using QZ_Binding::DISPATCH_WORKER;

class FrontDoorRequests : public FrontDoorTest {
 protected:
  // A request to the endpoint, with the id also in its object id.
  Request to_endpoint(std::uint32_t id, bool locate = false) const {
    Request r;
    r.id = id;
    r.locate = locate;
    r.key = endpoint + std::to_string(id);
    return r;
  }
  std::uint32_t id_in(const Pending& pending) const {
    return static_cast<std::uint32_t>(std::stoul(pending.key.substr(endpoint.size())));
  }
  QZ_Binding::ServerBinding_var park(QZ_Binding::Dispatch where = DISPATCH_INLINE) {
    return bound(*manager, endpoint, where, [this](const Pending& p) { parking.add(p); });
  }
  // An answer comes to this request on this connection: everything sent before has been read.
  void expect_answer_to_unknown(Client& client, std::uint32_t id) {
    ASSERT_TRUE(client.send(request({.locate = true, .id = id, .key = "unknown"})));
    const auto reply = client.receive();
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->id(), id);
  }

  Parking parking;
  QZ_IOR::IOR_var target = ior_of("live");
};

TEST_F(FrontDoorRequests, AreServedByThreadsThatAskForShortSlices) {
  constexpr long SHORT_SLICE = 100'000;
  const sched_param none{};
  ASSERT_EQ(sched_setscheduler(0, SCHED_OTHER, &none), 0);  // whatever the tests were started with
  const int before = support::threads_with_slice(SHORT_SLICE);
  start();
  std::list<Client> clients;  // one for each thread
  for (unsigned i = 0; i < config.threads; ++i) expect_answer_to_unknown(clients.emplace_back(port()), i);
  const int asking = support::kernel_gives_slices() ? static_cast<int>(config.threads) : 0;
  EXPECT_EQ(support::threads_with_slice(SHORT_SLICE), before + asking);
}

TEST_F(FrontDoorRequests, AnswersParkedRequestsFromAnotherThreadInAnyOrder) {
  for (const auto where : {DISPATCH_INLINE, DISPATCH_WORKER}) {
    auto binding = park(where);
    start();
    Client client(port());
    Octets all;
    for (std::uint32_t id = 1; id <= 9; ++id) all = joined({all, request(to_endpoint(id, id % 2 == 0))});
    ASSERT_TRUE(client.send(all));
    auto pending = parking.take(9);
    ASSERT_EQ(pending.size(), 9u);
    EXPECT_TRUE(client.silent(std::chrono::milliseconds(20)));
    std::reverse(pending.begin(), pending.end());
    std::thread answerer([&] {
      for (const Pending& p : pending) p.forward(target);
    });
    for (const Pending& p : pending) {
      const auto reply = client.receive();
      ASSERT_TRUE(reply);
      EXPECT_EQ(reply->type, id_in(p) % 2 == 0 ? 4u : 1u);
      EXPECT_EQ(reply->id(), id_in(p));
    }
    answerer.join();
    EXPECT_EQ(counters().requests_parked, 9u);
    door.reset();
    binding->destroy();
  }
}

TEST_F(FrontDoorRequests, AnswersPipelinedRequestsInOneGo) {
  auto binding = bound(*manager, endpoint, DISPATCH_INLINE, [&](const Pending& p) { p.forward(target); });
  start();
  Client client(port());
  constexpr std::uint32_t COUNT = 500;
  Octets all;
  for (std::uint32_t id = 0; id < COUNT; ++id) {
    const Octets one = request(to_endpoint(id));
    all.insert(all.end(), one.begin(), one.end());
  }
  std::thread sender([&] { client.send(all); });
  for (std::uint32_t id = 0; id < COUNT; ++id) {
    const auto reply = client.receive();
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->id(), id);
  }
  sender.join();
  EXPECT_EQ(counters().forwards, COUNT);
  EXPECT_LT(counters().writes, COUNT / 4) << "replies to what is read at once are written at once";
}

TEST_F(FrontDoorRequests, OnewaysAreNotAnswered) {
  auto binding = bound(*manager, endpoint, DISPATCH_INLINE, [&](const Pending& p) {
    if (id_in(p) == 1) p.forward(target);
    if (id_in(p) == 2) p.refuse(CORBA::TRANSIENT(1, CORBA::COMPLETED_NO));
  });
  start();
  for (const std::uint8_t minor : {0, 1, 2}) {
    Client client(port());
    for (const std::uint32_t id : {1, 2}) {
      Request r = to_endpoint(id);
      r.minor = minor;
      r.response = false;
      ASSERT_TRUE(client.send(request(r)));
    }
    Request nowhere;
    nowhere.minor = minor;
    nowhere.response = false;
    ASSERT_TRUE(client.send(request(nowhere)));
    expect_answer_to_unknown(client, 3);
  }
  EXPECT_EQ(counters().oneway_forwards_lost, 3u);
  EXPECT_EQ(counters().forwards, 0u);
}

TEST_F(FrontDoorRequests, CancelledRequestIsNotAnswered) {
  auto binding = park();
  start();
  Client client(port());
  ASSERT_TRUE(client.send(joined({request(to_endpoint(1)), request(to_endpoint(2)), cancel_request(1)})));
  auto pending = parking.take(2);
  ASSERT_EQ(pending.size(), 2u);
  expect_answer_to_unknown(client, 9);
  for (const Pending& p : pending) p.forward(target);
  const auto reply = client.receive();
  ASSERT_TRUE(reply);
  EXPECT_EQ(reply->id(), 2u);
  EXPECT_TRUE(client.silent(std::chrono::milliseconds(20)));
  EXPECT_EQ(counters().cancel_requests, 1u);
  EXPECT_EQ(counters().replies_dropped, 1u);
}

TEST_F(FrontDoorRequests, IdOfACancelledRequestMayBeUsedAgain) {
  auto binding = park();
  start();
  Client client(port());
  Request second = to_endpoint(1);
  second.key = endpoint + "2";
  ASSERT_TRUE(client.send(joined({request(to_endpoint(1)), cancel_request(1), request(second)})));
  auto pending = parking.take(2);
  ASSERT_EQ(pending.size(), 2u);
  for (const Pending& p : pending) {
    if (id_in(p) == 1) {
      p.refuse(CORBA::TRANSIENT(0, CORBA::COMPLETED_NO));
    } else {
      p.forward(target);
    }
  }
  const auto reply = client.receive();
  ASSERT_TRUE(reply);
  EXPECT_EQ(reply->status(), 3u);
  expect_answer_to_unknown(client, 2);
}

TEST_F(FrontDoorRequests, IdUsedAgainBeforeItsAnswerIsAProtocolError) {
  auto binding = park();
  start();
  Client client(port());
  ASSERT_TRUE(client.send(joined({request(to_endpoint(1)), request(to_endpoint(1))})));
  const auto reply = client.receive();
  ASSERT_TRUE(reply);
  EXPECT_EQ(reply->type, 6u);
  EXPECT_TRUE(client.closed_by_server());
  EXPECT_EQ(counters().protocol_errors, 1u);
  for (const Pending& p : parking.take(1)) p.forward(target);
}

TEST_F(FrontDoorRequests, ClientThatIsGoneIsNotAnswered) {
  auto binding = park();
  start();
  {
    Client client(port());
    ASSERT_TRUE(client.send(joined({request(to_endpoint(1)), request(to_endpoint(2, true))})));
    ASSERT_TRUE(eventually([&] { return parking.size() == 2; }));
  }
  ASSERT_TRUE(eventually([&] { return counters().connections_open == 0; }));
  auto pending = parking.take(2);
  const CORBA::OctetSeq_var key = pending[0].data->object_key();
  EXPECT_EQ(key->length(), endpoint.size() + 1) << "the request is still there";
  for (const Pending& p : pending) p.forward(target);
  ASSERT_TRUE(eventually([&] { return counters().replies_dropped == 2; }));
}

TEST_F(FrontDoorRequests, ClientThatOnlyEndsItsOwnSideGetsWhatIsAnswered) {
  auto binding = bound(*manager, endpoint, DISPATCH_INLINE, [&](const Pending& p) { p.forward(target); });
  start();
  Client client(port());
  ASSERT_TRUE(client.send(request(to_endpoint(1))));
  client.close_for_writing();
  EXPECT_TRUE(client.receive());
  EXPECT_TRUE(client.closed_by_server());
}

TEST_F(FrontDoorRequests, FirstOutcomeCounts) {
  auto binding = bound(*manager, endpoint, DISPATCH_INLINE, [&](const Pending& p) {
    p.data->set_forward(target, false);
    CORBA::Any any;
    any <<= CORBA::TRANSIENT(1, CORBA::COMPLETED_NO);
    p.data->set_exception(any, true);
    p.complete();
  });
  start();
  Client client(port());
  ASSERT_TRUE(client.send(request(to_endpoint(1))));
  const auto reply = client.receive();
  ASSERT_TRUE(reply);
  EXPECT_EQ(reply->status(), 3u);
  expect_answer_to_unknown(client, 2);
}

TEST_F(FrontDoorRequests, RequestEndedWithoutAnOutcomeIsAnsweredUnknown) {
  auto binding = bound(*manager, endpoint, DISPATCH_INLINE, [&](const Pending& p) { p.callback->finished(); });
  start();
  Client client(port());
  ASSERT_TRUE(client.send(joined({request(to_endpoint(1)), request(to_endpoint(2, true))})));
  for (int i = 0; i < 2; ++i) {
    const auto reply = client.receive();
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->exception(), "IDL:omg.org/CORBA/UNKNOWN:1.0") << i;
  }
  EXPECT_EQ(counters().requests_unanswered, 2u);
}

TEST_F(FrontDoorRequests, InterceptorThatRaisesGivesUnknownAndHurtsNobody) {
  for (const auto where : {DISPATCH_INLINE, DISPATCH_WORKER}) {
    Pending kept;
    auto binding = bound(*manager, endpoint, where, [&](const Pending& p) {
      if (id_in(p) == 1) kept = p;
      throw std::runtime_error("oops");
    });
    start();
    Client client(port());
    ASSERT_TRUE(client.send(joined({request(to_endpoint(1)), request(to_endpoint(2))})));
    for (int i = 0; i < 2; ++i) {
      const auto reply = client.receive();
      ASSERT_TRUE(reply);
      EXPECT_EQ(reply->exception(), "IDL:omg.org/CORBA/UNKNOWN:1.0");
    }
    expect_answer_to_unknown(client, 3);
    kept.forward(target);  // one that was parked before the exception is still valid
    expect_answer_to_unknown(client, 4);
    door.reset();
    binding->destroy();
  }
}

TEST_F(FrontDoorRequests, ExceptionThatIsNoSystemExceptionIsSentAsUnknown) {
  auto binding = bound(*manager, endpoint, DISPATCH_INLINE, [&](const Pending& p) {
    CORBA::Any any;
    any <<= "text";
    p.data->set_exception(any, false);
    p.complete();
  });
  start();
  Client client(port());
  ASSERT_TRUE(client.send(request(to_endpoint(1))));
  const auto reply = client.receive();
  ASSERT_TRUE(reply);
  EXPECT_EQ(reply->exception(), "IDL:omg.org/CORBA/UNKNOWN:1.0");
}

TEST_F(FrontDoorRequests, RequestWithoutKeyGoesToTheDomain) {
  auto elsewhere = park();
  auto binding = bound(*manager, domain, DISPATCH_WORKER, [](const Pending& p) {
    EXPECT_FALSE(p.has_key);
    p.refuse(CORBA::INV_OBJREF(0x515A0C01, CORBA::COMPLETED_NO));
  });
  start();
  Client client(port());
  for (const bool locate : {false, true}) {
    ASSERT_TRUE(client.send(request({.locate = locate, .id = 1, .key = ""})));
    const auto reply = client.receive();
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->exception(), "IDL:omg.org/CORBA/INV_OBJREF:1.0");
    EXPECT_EQ(reply->minor_code(), 0x515A0C01u);
  }
}

TEST_F(FrontDoorRequests, NameLeadsToItsReferenceForTheListenersRoles) {
  config.listeners = {{"127.0.0.1", 0, {0}}, {"127.0.0.1", 0, {1}}};
  manager->register_name("EndpointRegistry", target, 0);
  start();
  for (const bool locate : {false, true}) {
    Client servers(port(0)), administrators(port(1));
    const Octets asked = request({.locate = locate, .key = "EndpointRegistry"});
    ASSERT_TRUE(servers.send(asked));
    ASSERT_TRUE(administrators.send(asked));
    const auto yes = servers.receive(), no = administrators.receive();
    ASSERT_TRUE(yes && no);
    EXPECT_EQ(yes->status(), locate ? 2u : 3u);
    EXPECT_EQ(no->status(), locate ? 0u : 2u);
  }
}

TEST_F(FrontDoorRequests, LocatesObjectsForClientsOnly) {
  config.listeners = {{"127.0.0.1", 0, {2}}, {"127.0.0.1", 0, {0, 1}}};
  auto binding = bound(*manager, endpoint, DISPATCH_INLINE, [&](const Pending& p) { p.forward(target); });
  manager->register_name("EndpointRegistry", target, 0);
  start();
  for (const bool locate : {false, true}) {
    const auto status = [&](int listener, Request spec) {
      spec.locate = locate;
      Client client(port(listener));
      EXPECT_TRUE(client.send(request(spec)));
      const auto reply = client.receive();
      return reply ? reply->status() : 99u;
    };
    const unsigned forward = locate ? 2u : 3u, unknown = locate ? 0u : 2u;
    EXPECT_EQ(status(0, to_endpoint(1)), forward);
    EXPECT_EQ(status(1, to_endpoint(1)), unknown);
    EXPECT_EQ(status(0, {.key = "EndpointRegistry"}), unknown);
    EXPECT_EQ(status(1, {.key = "EndpointRegistry"}), forward);
  }
}

TEST_F(FrontDoorRequests, PublishesWhereItListens) {
  start();
  QZ_IOR::IOREndpoint_var where = manager->endpoint(octet_seq("p"), QZ_Binding::EffectivePolicies::_nil());
  QZ_IOR::IOR_var ior = where->make_ior(octet_seq(""), "");
  Octets encoded;
  dynamic_cast<QZ_IOR::IORImpl*>(ior.in())->append_to(encoded, true);
  const std::string text(encoded.begin(), encoded.end());
  EXPECT_NE(text.find("127.0.0.1"), std::string::npos);
  EXPECT_NE(text.find(std::string({static_cast<char>(port() & 0xff), static_cast<char>(port() >> 8)})),
            std::string::npos);
}

// ---- Order.

// The domain's interceptor is slow, and meanwhile the endpoint gets an interceptor of its own, as a starting server
// does it: what came first is called first.
TEST_F(FrontDoorRequests, RequestsOfOneConnectionForOneEndpointKeepTheirOrder) {
  std::promise<void> inside, go_on;
  auto wait = go_on.get_future().share();
  std::mutex mutex;
  std::vector<std::uint32_t> order;
  const auto note = [&](const Pending& p) {
    std::lock_guard lock(mutex);
    order.push_back(id_in(p));
  };
  auto slow = bound(*manager, domain, DISPATCH_WORKER, [&](const Pending& p) {
    if (id_in(p) == 1) {
      inside.set_value();
      wait.wait();
    }
    note(p);
    p.forward(target);
  });
  start();
  Client client(port());
  ASSERT_TRUE(client.send(joined({request(to_endpoint(1)), request(to_endpoint(2))})));
  inside.get_future().wait();
  auto quick = bound(*manager, endpoint, DISPATCH_INLINE, [&](const Pending& p) {
    note(p);
    p.forward(target);
  });
  ASSERT_TRUE(client.send(joined({request(to_endpoint(3)), request(to_endpoint(4))})));
  expect_answer_to_unknown(client, 100);
  {
    std::lock_guard lock(mutex);
    EXPECT_TRUE(order.empty());
  }
  go_on.set_value();
  for (std::uint32_t id = 1; id <= 4; ++id) {
    const auto reply = client.receive();
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->id(), id);
  }
  EXPECT_EQ(order, (std::vector<std::uint32_t>{1, 2, 3, 4}));
}

TEST_F(FrontDoorRequests, OneEndpointsSlowCallDoesNotHoldUpOthers) {
  std::promise<void> go_on;
  auto wait = go_on.get_future().share();
  const std::string other = key_of({"QP", "domain", "other"});
  auto slow = bound(*manager, domain, DISPATCH_WORKER, [&](const Pending& p) {
    if (p.key.starts_with(endpoint)) wait.wait();
    p.forward(target);
  });
  start();
  Client client(port());
  ASSERT_TRUE(client.send(joined({request(to_endpoint(1)), request({.id = 2, .key = other})})));
  const auto reply = client.receive();
  ASSERT_TRUE(reply);
  EXPECT_EQ(reply->id(), 2u);
  go_on.set_value();
  EXPECT_TRUE(client.receive());
}

TEST_F(FrontDoorRequests, ManyConnectionsKeepTheirOrderOverTheWorkers) {
  config.max_requests_per_connection = 10'000;
  constexpr std::uint32_t COUNT = 300;
  auto binding = bound(*manager, domain, DISPATCH_WORKER, [&](const Pending& p) { p.forward(target); });
  start();
  std::vector<std::thread> clients;
  for (int c = 0; c < 4; ++c) {
    clients.emplace_back([&] {
      Client client(port());
      std::thread sender([&] {
        for (std::uint32_t id = 0; id < COUNT; ++id) client.send(request(to_endpoint(id, id % 3 == 0)));
      });
      for (std::uint32_t id = 0; id < COUNT; ++id) {
        const auto reply = client.receive();
        if (!reply || reply->id() != id) {
          ADD_FAILURE() << "reply " << id << (reply ? " out of order" : " missing");
          break;
        }
      }
      sender.join();
    });
  }
  for (auto& client : clients) client.join();
}

// ---- Size.

std::size_t resident_octets() {
  std::ifstream statm("/proc/self/statm");
  std::size_t total = 0, resident = 0;
  statm >> total >> resident;
  return resident * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

TEST_F(FrontDoorRequests, HugeBodyIsPassedOverInFlatMemoryAndAnsweredAtItsEnd) {
  constexpr std::size_t BODY = 100 * 1024 * 1024;
  auto binding = bound(*manager, endpoint, DISPATCH_INLINE, [&](const Pending& p) { p.forward(target); });
  start();
  Client client(port());
  Octets begin = request(to_endpoint(1));
  const std::uint32_t size = static_cast<std::uint32_t>(begin.size() - 12 + BODY);
  for (unsigned i = 0; i < 4; ++i) begin[8 + i] = static_cast<unsigned char>(size >> 8 * i);
  ASSERT_TRUE(client.send(begin));
  const Octets piece(1024 * 1024, 'x');
  const std::size_t before = resident_octets();
  std::size_t most = before;
  for (std::size_t sent = 0; sent + piece.size() < BODY; sent += piece.size()) {
    ASSERT_TRUE(client.send(piece));
    most = std::max(most, resident_octets());
  }
  EXPECT_LT(most - before, 8u * 1024 * 1024);
  EXPECT_TRUE(client.silent(std::chrono::milliseconds(20))) << "answered before the request had ended";
  ASSERT_TRUE(client.send(piece));
  EXPECT_TRUE(client.receive());
  expect_answer_to_unknown(client, 2);
}

TEST_F(FrontDoorRequests, HugeFragmentedBodyIsPassedOver) {
  auto binding = bound(*manager, endpoint, DISPATCH_INLINE, [&](const Pending& p) { p.forward(target); });
  start();
  for (const std::uint8_t minor : {1, 2}) {
    Client client(port());
    Request r = to_endpoint(1);
    r.minor = minor;
    r.body = 4;
    Octets first = request_body(r);
    first.resize(first.size() / 8 * 8 + 4);
    std::vector<Octets> parts(50, Octets(64 * 1024, 'x'));
    parts.insert(parts.begin(), first);
    ASSERT_TRUE(client.send(fragmented(r, parts)));
    EXPECT_TRUE(client.receive());
    expect_answer_to_unknown(client, 2);
  }
}

}  // namespace
}  // namespace test
