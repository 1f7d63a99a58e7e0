// The fixture of the tests of the registration interfaces, called over the wire.
#pragma once

#include <optional>

#include "tests/support/fake_server.h"
#include "tests/support/locator_test.h"
#include "tests/support/object_key.h"
#include "tests/support/wait.h"

class RegistrationTest : public support::LocatorTest {
 protected:
  void SetUp() override { m_locator.start(); }

  support::RequestSpec spec_for(const support::Octets& key) const {
    support::RequestSpec spec;
    spec.key = key;
    return spec;
  }
  support::Reply call(const support::Octets& key) const { return connect().call(request(spec_for(key))); }

  ::testing::AssertionResult is_active(const support::FakeServer& server, const std::string& path) const {
    return support::is_forward(call(server.key_of(path)), support::FakeServer::HOST, support::FakeServer::PORT,
                               support::FakeServer::server_key(path));
  }
  ::testing::AssertionResult is_unknown(const support::FakeServer& server, const std::string& path) const {
    return support::is_exception(call(server.key_of(path)), "OBJECT_NOT_EXIST", support::minor_code(4));
  }

  QZ_POA_PersistentServer::EndpointRegistry_var endpoint_registry() const {
    return support::resolve<QZ_POA_PersistentServer::EndpointRegistry>(m_locator, "EndpointRegistry");
  }
  QZ_POA_PersistentServer::EndpointActivatorRegistry_var activator_registry() const {
    return support::resolve<QZ_POA_PersistentServer::EndpointActivatorRegistry>(m_locator, "EndpointActivatorRegistry");
  }

  support::FakeServer m_server{m_locator, "server"};
  support::FakeServer m_other{m_locator, "other"};
};

// The exception of that type which the function raises, or nothing.
template <typename Exception, typename Function>
std::optional<Exception> raised_by(Function function) {
  try {
    function();
  } catch (const Exception& error) {
    return error;
  }
  return std::nullopt;
}

// For calls that may be refused or not: what counts is what holds afterwards.
template <typename Function>
void allow_refusal(Function function) {
  try {
    function();
  } catch (const CORBA::Exception&) {
  }
}
