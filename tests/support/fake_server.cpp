#include "tests/support/fake_server.h"

#include <iostream>
#include <utility>

#include "tests/support/object_key.h"

namespace support {

using QZ_POA_PersistentServer::EndpointActivatorRegistry;
using QZ_POA_PersistentServer::EndpointActivatorRegistry_var;
using QZ_POA_PersistentServer::EndpointRegistry;
using QZ_POA_PersistentServer::EndpointRegistry_var;

FakeServer::FakeServer(const Locator& locator, std::string orb_name)
    : m_locator(locator), m_orb_name(std::move(orb_name)) {}

Octets FakeServer::id_of(const std::string& path) const {
  return endpoint_id(m_locator.domain(), split_path(path));
}

Octets FakeServer::key_of(const std::string& path, const std::string& object) const {
  return id_of(path) + octets_of(object);
}

Octets FakeServer::server_key(const std::string& path, const std::string& object) {
  return octets_of("server's own prefix for " + path + ":" + object);
}

CORBA::ULong FakeServer::add(const std::string& path) {
  const EndpointRegistry_var registry = resolve<EndpointRegistry>(m_locator, "EndpointRegistry");
  const CORBA::Object_var prototype = make_reference(HOST, PORT, server_key(path, ""));
  QZ_POA_PersistentServer::EndpointDynamicState_var state = new_dynamic_state();
  CORBA::Object_var locator_reference;
  CORBA::ULong number = 0;
  try {
    registry->add(m_orb_name.c_str(), octet_seq(id_of(path)), prototype, state, locator_reference.out(), number);
  } catch (const CORBA::Exception& error) {
    // Exceptions of CORBA that nobody expected would be reported without their name.
    std::cout << "registration of " << path << ": " << error._name() << std::endl;
    throw;
  }
  const std::scoped_lock lock(m_mutex);
  m_locator_reference = locator_reference;
  m_states[path] = state;
  return number;
}

CORBA::Object_var FakeServer::locator_reference() const {
  const std::scoped_lock lock(m_mutex);
  return m_locator_reference;
}

void FakeServer::remove(const std::string& path) {
  const EndpointRegistry_var registry = resolve<EndpointRegistry>(m_locator, "EndpointRegistry");
  registry->remove(m_orb_name.c_str(), octet_seq(id_of(path)));
}

void FakeServer::crash(const std::string& path) {
  end_servant(m_states.at(path));
}

void FakeServer::add_activator(ActivatorFunction function) {
  const auto registry = resolve<EndpointActivatorRegistry>(m_locator, "EndpointActivatorRegistry");
  m_activator = new_activator(std::move(function));
  QZ_POA_PersistentServer::EndpointIdList_var ids;
  registry->add(m_orb_name.c_str(), m_activator, ids.out());
}

void FakeServer::remove_activator() {
  resolve<EndpointActivatorRegistry>(m_locator, "EndpointActivatorRegistry")->remove(m_orb_name.c_str());
}

void FakeServer::register_and_leave(const std::vector<std::string>& paths) {
  for (const std::string& path : paths) add(path);
  for (const std::string& path : paths) remove(path);
}

}  // namespace support
