// Requests that the front door forwards by itself, without their interceptor.
#include "tests/unit/platform/binding/front_door_test.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <charconv>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "platform/orb/iiop_profile.h"

namespace test {
namespace {

using QZ_Binding::DISPATCH_INLINE;
using QZ_IOR::IOREndpointImpl;

// The object key in the reference that a forward leads to.
std::string forward_key(const std::optional<Reply>& reply) {
  if (!reply) return "no reply";
  if (reply->status() != (reply->type == 1 ? 3u : 2u)) return "no forward";
  auto reader = reply->contents();
  EXPECT_EQ(reader.read_string(), "");
  EXPECT_EQ(reader.read_ulong(), 1u);
  EXPECT_EQ(reader.read_ulong(), QZ_IOR::TAG_INTERNET_IOP);
  const QZ_IOR::IIOPProfile profile(reader.read_octet_seq());
  EXPECT_EQ(profile.host(), "server.example");
  EXPECT_EQ(profile.port(), 4711);
  return std::string(profile.object_key().begin(), profile.object_key().end());
}

class FrontDoorForwarding : public FrontDoorTest {
 protected:
  void bind(QZ_IOR::IOREndpoint_ptr forward = QZ_IOR::IOREndpoint::_nil()) {
    const auto refuse = [this](const Pending& pending) {
      ++m_asked;
      pending.refuse(CORBA::TRANSIENT(1, CORBA::COMPLETED_NO));
    };
    m_binding = bound(*manager, endpoint, DISPATCH_INLINE, refuse, forward);
  }
  void bind_and_start() {
    bind();
    start();
  }
  static QZ_IOR::IOREndpoint_var live(const std::string& key_prefix) {
    return IOREndpointImpl::of_addresses({{"server.example", 4711}}, octets(key_prefix));
  }
  void forward_to(const std::string& key_prefix) { m_binding->forward_to(live(key_prefix)); }
  std::string forwarded(Client& client, const std::string& key, std::uint32_t id = 7) {
    Request asked;
    asked.id = id;
    asked.key = key;
    EXPECT_TRUE(client.send(request(asked)));
    return forward_key(client.receive());
  }

  QZ_Binding::ServerBinding_var m_binding;
  std::atomic<int> m_asked{0};
};

TEST_F(FrontDoorForwarding, AsksNoInterceptorInAnyForm) {
  bind_and_start();
  forward_to("live/");
  Client client(port());
  std::uint32_t id = 0;
  for (const std::uint8_t minor : {0, 1, 2}) {
    for (const bool little_endian : {false, true}) {
      for (const bool locate : {false, true}) {
        Request asked;
        asked.minor = minor;
        asked.little_endian = little_endian;
        asked.locate = locate;
        asked.id = ++id;
        asked.key = endpoint + "object";
        ASSERT_TRUE(client.send(request(asked)));
        const auto reply = client.receive();
        EXPECT_EQ(forward_key(reply), "live/object");
        ASSERT_TRUE(reply);
        EXPECT_EQ(reply->id(), id);
        EXPECT_EQ(reply->minor, minor);
        EXPECT_EQ(reply->little_endian, little_endian);
      }
    }
  }
  EXPECT_EQ(m_asked, 0);
  EXPECT_EQ(counters().forwards, id);
  EXPECT_EQ(counters().requests + counters().locate_requests, id);
}

TEST_F(FrontDoorForwarding, LeavesToTheInterceptorWhatWantsNoAnswerOrNamesNoObject) {
  bind_and_start();
  forward_to("live/");
  Client client(port());
  Request oneway;
  oneway.response = false;
  oneway.key = endpoint + "object";
  ASSERT_TRUE(client.send(request(oneway)));
  EXPECT_TRUE(eventually([this] { return m_asked == 1; }));
  EXPECT_EQ(forwarded(client, endpoint), "no forward");
  EXPECT_EQ(m_asked, 2);
}

TEST_F(FrontDoorForwarding, FollowsItsBindingFromOneEndpointToTheNextAndBack) {
  bind_and_start();
  Client client(port());
  EXPECT_EQ(forwarded(client, endpoint + "a"), "no forward");
  forward_to("one/");
  EXPECT_EQ(forwarded(client, endpoint + "a"), "one/a");
  forward_to("two/");
  EXPECT_EQ(forwarded(client, endpoint + "a"), "two/a");
  m_binding->forward_to(QZ_IOR::IOREndpoint::_nil());
  EXPECT_EQ(forwarded(client, endpoint + "a"), "no forward");
  EXPECT_EQ(m_asked, 2);
}

TEST_F(FrontDoorForwarding, EndsWithItsBinding) {
  bind_and_start();
  forward_to("live/");
  Client client(port());
  EXPECT_EQ(forwarded(client, endpoint + "a"), "live/a");
  m_binding->destroy();
  forward_to("late/");
  EXPECT_EQ(forwarded(client, endpoint + "a"), "no forward");
  auto successor = bound(*manager, endpoint, DISPATCH_INLINE,
                         [](const Pending& p) { p.refuse(CORBA::NO_IMPLEMENT(1, CORBA::COMPLETED_NO)); });
  forward_to("late/");
  EXPECT_EQ(forwarded(client, endpoint + "a"), "no forward");
  EXPECT_EQ(m_asked, 0);
}

// Replies of one turn stand one behind the other, and a profile may end anywhere.
TEST_F(FrontDoorForwarding, AnswersRequestsThatArriveTogetherWhereverTheirProfilesEnd) {
  bind_and_start();
  Octets head;
  QZ_CORBA::CdrWriter writer(head, true);
  for (const std::uint8_t octet : {1, 1, 0}) writer.write_octet(octet);  // little endian, IIOP 1.0
  writer.write_string("server.example");
  writer.write_ushort(4711);
  writer.align(4);
  const Octets prefix = octets("live/");
  Octets profiles;
  QZ_IOR::ProfileList::append(profiles, {QZ_IOR::TAG_INTERNET_IOP, true, true, head, prefix, {}});
  QZ_IOR::IOREndpoint_var live = new IOREndpointImpl(profiles);
  m_binding->forward_to(live);
  Octets together;
  std::vector<std::string> ids;
  for (std::uint32_t id = 0; id < 48; ++id) {
    Request asked;
    asked.minor = static_cast<std::uint8_t>(id / 4 % 3);
    asked.little_endian = id % 2 == 0;
    asked.locate = id % 7 < 3;
    asked.id = id;
    ids.push_back("object" + std::string(id % 5, 'x'));
    asked.key = endpoint + ids.back();
    const Octets octets = request(asked);
    together.insert(together.end(), octets.begin(), octets.end());
  }
  Client client(port());
  ASSERT_TRUE(client.send(together));
  for (const std::string& id : ids) EXPECT_EQ(forward_key(client.receive()), "live/" + id);
  EXPECT_EQ(m_asked, 0);
}

// Of the endpoint that the answer leads to; 0: to none.
int number_of(const std::string& answer) {
  if (answer == "no forward") return 0;
  int number = 0;
  const auto end = std::from_chars(answer.data(), answer.data() + answer.size(), number).ptr;
  if (number < 1 || !std::string_view(end, answer.data() + answer.size()).starts_with('/')) {
    throw std::runtime_error("not to be expected: " + answer);
  }
  return number;
}

// Endpoints are numbered. Whoever asks once a forward has been taken back must not be led there any more, in whichever
// way it was taken back.
TEST_F(FrontDoorForwarding, LeadsNobodyToAnEndpointThatHasBeenTakenBack) {
  bind_and_start();
  std::atomic<int> taken_back{0};
  std::atomic<int> late{0};
  struct Asker {
    std::function<std::string()> question;
    std::atomic<int> asked{0}, led{0};
  };
  const Octets key = octets(endpoint + "object");
  const auto ask_routes = [&] {
    std::string answer = "no forward";
    manager->with_forward(key, [&](const QZ_IOR::ProfileList& profiles, auto) {
      const auto prefix = profiles.first_keyed()->key_prefix;
      answer.assign(prefix.begin(), prefix.end());
    });
    return answer;
  };
  Client client(port());
  std::array<Asker, 3> askers{{{ask_routes}, {ask_routes}, {[&] { return forwarded(client, endpoint + "object"); }}}};
  const auto ask = [&](const std::stop_token& stop, Asker& asker) {
    try {
      while (!stop.stop_requested()) {
        const int before = taken_back;
        const int number = number_of(asker.question());
        if (number > 0) ++asker.led;
        if (number > 0 && number <= before) ++late;
        ++asker.asked;
      }
    } catch (const std::exception& unexpected) {
      ADD_FAILURE() << unexpected.what();
    }
  };
  // Two more questions of each: of these, the second surely begins after the call.
  const auto each_twice_more = [&](std::atomic<int> Asker::* count) {
    std::array<int, 3> wanted{};
    for (std::size_t i = 0; i < askers.size(); ++i) wanted[i] = askers[i].*count + 2;
    return eventually([&] {
      return std::ranges::equal(askers, wanted, [&](const Asker& a, int least) { return a.*count >= least; });
    });
  };
  std::vector<std::jthread> threads;
  for (Asker& asker : askers) threads.emplace_back(ask, std::ref(asker));

  for (int number = 1; number <= 1000; ++number) {
    const bool wait = number % 25 == 0;  // in turn for each way to take back
    forward_to(std::to_string(number) + "/");
    ASSERT_TRUE(!wait || each_twice_more(&Asker::led)) << "somebody was not led there";
    if (number % 3 == 0) {
      m_binding->forward_to(QZ_IOR::IOREndpoint::_nil());
    } else if (number % 3 == 1) {
      m_binding->destroy();
      bind();
    } else {
      forward_to(std::to_string(number + 1) + "/");
    }
    taken_back = number;
    ASSERT_TRUE(!wait || each_twice_more(&Asker::asked)) << "somebody asks no more";
  }
  threads.clear();
  EXPECT_EQ(late, 0);
}

TEST_F(FrontDoorForwarding, MayForwardFromTheBeginning) {
  bind(live("live/"));
  start();
  Client client(port());
  EXPECT_EQ(forwarded(client, endpoint + "object"), "live/object");
  EXPECT_EQ(m_asked, 0);
  m_binding->forward_to(QZ_IOR::IOREndpoint::_nil());
  EXPECT_EQ(forwarded(client, endpoint + "object", 8), "no forward");
  EXPECT_EQ(m_asked, 1);
}

class ForeignEndpoint : public virtual QZ_IOR::IOREndpoint, public QZ_CORBA::RefCountedLocalObject {
 public:
  QZ_IOR::IOR_ptr make_ior(const CORBA::OctetSeq&, const char*) override { return QZ_IOR::IOR::_nil(); }
};

TEST_F(FrontDoorForwarding, RefusesAnEndpointThatIsNotOfItsMaking) {
  bind_and_start();
  QZ_IOR::IOREndpoint_var foreign = new ForeignEndpoint;
  EXPECT_THROW(m_binding->forward_to(foreign), CORBA::BAD_PARAM);
  m_binding->destroy();
  EXPECT_THROW(bind(foreign), CORBA::BAD_PARAM);
  EXPECT_NO_THROW(bind()) << "the prefix is taken by what was refused";
}

}  // namespace
}  // namespace test
