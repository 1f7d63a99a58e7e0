// The fixture of the raw GIOP tests: a running locator and a server ORB that the test plays itself.
#pragma once

#include <algorithm>
#include <mutex>
#include <set>

#include "tests/support/fake_server.h"
#include "tests/support/locator_test.h"
#include "tests/support/object_key.h"
#include "tests/support/wait.h"

// Octets are of a standard type, so that its operator is not found by itself.
using support::operator+;

class GiopTest : public support::LocatorTest {
 protected:
  void SetUp() override { m_locator.start(); }

  // A request for that POA's object "object", GIOP 1.2 unless said otherwise.
  support::RequestSpec spec_for(const std::string& path, std::uint32_t id = 1) const {
    support::RequestSpec spec;
    spec.id = id;
    spec.key = m_server.key_of(path);
    return spec;
  }

  // Makes the POA known and its activator waiting: requests for it are kept until add.
  void prepare_stopped(const std::vector<std::string>& paths) {
    m_server.register_and_leave(paths);
    m_server.add_activator([this](const std::vector<support::Octets>& ids) {
      const std::scoped_lock lock(m_mutex);
      m_activated.insert(ids.begin(), ids.end());
    });
  }

  // Sends the first request for a stopped POA; it is kept when this returns.
  void send_and_wait_for_activation(support::GiopClient& client, const support::RequestSpec& spec) {
    client.send(support::request(spec));
    ASSERT_TRUE(support::wait_until([&] {
      const std::scoped_lock lock(m_mutex);
      return std::any_of(m_activated.begin(), m_activated.end(), [&](const support::Octets& id) {
        return id.size() <= spec.key.size() && std::equal(id.begin(), id.end(), spec.key.begin());
      });
    }));
    // The locator serves one such call or first request at a time.
    m_server.remove("Nobody");
  }

  // The answer to the request leads to the server.
  ::testing::AssertionResult is_forward_to_server(const support::Reply& reply, const std::string& path) const {
    return support::is_forward(reply, support::FakeServer::HOST, support::FakeServer::PORT,
                               support::FakeServer::server_key(path));
  }

  // Every request so far on this connection has been read when this returns; no answer may come in between.
  void pass_fence(support::GiopClient& client) {
    support::RequestSpec fence;
    fence.id = 0xFE4CE;
    fence.key = support::octets_of("no such name");
    ASSERT_TRUE(support::is_object_not_exist(client.call(support::request(fence))));
  }

  // The locator answers a stranger.
  void expect_serves_on() {
    support::GiopClient client = connect();
    pass_fence(client);
  }

  std::mutex m_mutex;
  std::set<support::Octets> m_activated;  // guarded by m_mutex
  support::FakeServer m_server{m_locator, "server"};
};
