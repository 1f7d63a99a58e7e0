// Clients, registrations, removals and activations all at once: every call ends, and with an outcome that it may have.
#include <atomic>
#include <memory>
#include <random>
#include <thread>

#include "tests/system/registration/registration_test.h"

namespace {

using support::FakeServer;
using support::GiopClient;
using support::Octets;
using support::Reply;

constexpr int ROUNDS = 60;

class StormTest : public RegistrationTest {
 protected:
  static std::vector<std::string> paths(const std::string& prefix) {
    std::vector<std::string> result;
    for (int i = 0; i < 4; ++i) result.push_back(prefix + std::to_string(i));
    return result;
  }

  // Calls random POAs, sometimes leaving before the answer, until there is no time left.
  void call_at_random(unsigned seed, const FakeServer& server, const std::vector<std::string>& targets,
                      const std::atomic<bool>& end) {
    std::mt19937 random(seed);
    std::unique_ptr<GiopClient> client;
    for (std::uint32_t id = 1; !end; ++id) {
      if (!client) client = std::make_unique<GiopClient>(connect());
      support::RequestSpec spec = spec_for(server.key_of(targets[random() % targets.size()]));
      spec.id = id;
      spec.dialect.minor = random() % 3;
      client->send(random() % 3 == 0 ? locate_request(spec) : request(spec));
      if (random() % 8 == 0) {
        client.reset();
        continue;
      }
      check(client->receive_reply(), id);
    }
  }

  static void check(const Reply& reply, std::uint32_t id) {
    EXPECT_EQ(reply.id, id);
    if (reply.forward) return;
    if (reply.type == support::LOCATE_REPLY && reply.status == support::OBJECT_HERE) return;
    ASSERT_TRUE(reply.exception) << describe(reply);
    EXPECT_EQ(reply.exception->id, "IDL:omg.org/CORBA/TRANSIENT:1.0") << describe(reply);
  }

  // Clients that are at work as long as the function runs.
  template <typename Function>
  void with_clients(const FakeServer& server, const std::vector<std::string>& targets, Function function) {
    std::atomic<bool> end = false;
    std::vector<std::thread> clients;
    for (unsigned seed = 1; seed <= 4; ++seed) {
      clients.emplace_back([&, seed] {
        try {
          call_at_random(seed, server, targets, end);
        } catch (const std::exception& error) {
          ADD_FAILURE() << error.what();
        }
      });
    }
    function();
    end = true;
    for (std::thread& client : clients) client.join();
  }
};

TEST_F(StormTest, CallsDuringRegistrationsAndRemovals) {
  const auto targets = paths("P");
  m_server.register_and_leave(targets);
  with_clients(m_server, targets, [&] {
    std::vector<std::thread> servers;
    for (const std::string& path : targets) {
      servers.emplace_back([&, path] {
        for (int i = 0; i < ROUNDS; ++i) {
          m_server.add(path);
          m_server.remove(path);
        }
      });
    }
    for (std::thread& server : servers) server.join();
  });
  for (const std::string& path : targets) {
    EXPECT_EQ(m_server.add(path), ROUNDS + 2U);
    EXPECT_TRUE(is_active(m_server, path));
  }
}

TEST_F(StormTest, CallsDuringActivationsAndRemovals) {
  const auto targets = paths("P");
  m_server.register_and_leave(targets);
  m_server.add_activator([&](const std::vector<Octets>& ids) {
    // One that has been removed and asked for again meanwhile may be up already.
    for (const Octets& id : ids) allow_refusal([&] { m_server.add(support::path_of(id)); });
  });
  with_clients(m_server, targets, [&] {
    std::vector<std::thread> administrators;
    for (const std::string& path : targets) {
      administrators.emplace_back([&, path] {
        for (int i = 0; i < ROUNDS; ++i) m_server.remove(path);
      });
    }
    for (std::thread& administrator : administrators) administrator.join();
  });
  for (const std::string& path : targets) EXPECT_TRUE(is_active(m_server, path));
}

TEST_F(StormTest, CallsDuringActivatorsThatComeAndGo) {
  const auto targets = paths("P");
  m_server.register_and_leave(targets);
  const auto activate = [&](const std::vector<Octets>& ids) {
    for (const Octets& id : ids) allow_refusal([&] { m_server.add(support::path_of(id)); });
  };
  m_server.add_activator(activate);
  with_clients(m_server, targets, [&] {
    for (int i = 0; i < ROUNDS; ++i) {
      for (const std::string& path : targets) m_server.remove(path);
      allow_refusal([&] { m_server.remove_activator(); });
      m_server.add_activator(activate);
    }
  });
  for (const std::string& path : targets) EXPECT_TRUE(is_active(m_server, path));
}

}  // namespace
