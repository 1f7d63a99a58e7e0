// The fixture of the tests of the daemon as a process.
#pragma once

#include "tests/support/fake_server.h"
#include "tests/support/files.h"
#include "tests/support/locator_test.h"
#include "tests/support/object_key.h"
#include "tests/support/proc_info.h"
#include "tests/support/wait.h"

using support::operator+;

class DaemonTest : public support::LocatorTest {
 protected:
  support::RequestSpec spec_for(const support::FakeServer& server, const std::string& path) const {
    support::RequestSpec spec;
    spec.key = server.key_of(path);
    return spec;
  }
  support::Reply call(const support::FakeServer& server, const std::string& path) const {
    return connect().call(request(spec_for(server, path)));
  }
  ::testing::AssertionResult is_active(const support::FakeServer& server, const std::string& path) const {
    return support::is_forward(call(server, path), support::FakeServer::HOST, support::FakeServer::PORT,
                               support::FakeServer::server_key(path));
  }

  support::FakeServer m_server{m_locator, "server"};
};
