// A server ORB that lives in the test process: it registers POAs by hand and answers nothing itself.
#pragma once

#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "tests/support/corba_side.h"

namespace support {

// add and remove are safe from any thread.
class FakeServer {
 public:
  // Address of the references that it registers.
  static constexpr const char* HOST = "127.9.8.7";
  static constexpr unsigned PORT = 4711;

  FakeServer(const Locator& locator, std::string orb_name);
  // After the last add of an activation that the test has seen the end of.
  ~FakeServer() { const std::scoped_lock lock(m_mutex); }
  FakeServer(const FakeServer&) = delete;
  FakeServer& operator=(const FakeServer&) = delete;

  Octets id_of(const std::string& path) const;
  // What clients send: the id and an object id.
  Octets key_of(const std::string& path, const std::string& object = "object") const;
  // Where a forward for that key must lead: the prefix that the server registered, and the object id.
  static Octets server_key(const std::string& path, const std::string& object = "object");

  // Registers the POA and returns the creation sequence number. Raises what the registry raises.
  CORBA::ULong add(const std::string& path);
  void remove(const std::string& path);
  // The dynamic state of that POA answers no more, as if the server had crashed.
  void crash(const std::string& path);

  void add_activator(ActivatorFunction function);
  void remove_activator();
  void crash_activator() { end_servant(m_activator); }

  // The reference that the last add returned.
  CORBA::Object_var locator_reference() const;
  const std::string& orb_name() const { return m_orb_name; }

  // The POAs come into the repository and leave the active state again: the server is known and does not run.
  void register_and_leave(const std::vector<std::string>& paths);

 private:
  const Locator& m_locator;
  std::string m_orb_name;
  QZ_POA_PersistentServer::EndpointActivator_var m_activator;
  mutable std::mutex m_mutex;  // guards the members below
  std::map<std::string, QZ_POA_PersistentServer::EndpointDynamicState_var> m_states;
  CORBA::Object_var m_locator_reference;
};

}  // namespace support
