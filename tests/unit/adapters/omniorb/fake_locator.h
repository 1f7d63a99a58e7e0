// A locator's registration servants in the process of the test, which keep what they are told.
#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <poa_persistent_server.hh>
#include <string>
#include <vector>

class FakeLocator {
 public:
  // LOST_ANSWER: the POA is registered, but the server does not learn of it.
  enum class Refusal { NONE, OTHER_ORB, NO_ENTRY, NOT_ALLOWED, STORE, SILENCE, LOST_ANSWER };

  // Serves "EndpointRegistry" and "EndpointActivatorRegistry" at test_orb::url() until it is destroyed.
  FakeLocator();
  ~FakeLocator();
  FakeLocator(const FakeLocator&) = delete;
  FakeLocator& operator=(const FakeLocator&) = delete;

  // From now on registrations of the POA are refused so.
  void refuse(const std::string& path, Refusal how);
  // As after a restart with an empty store.
  void forget_everything();
  void forget_poa(const std::string& path);

  // Called, once, before the activator is forgotten at the server's wish.
  void before_activator_is_removed(std::function<void()> action);

  // "add Bank as bank-orb", "remove Bank", "add activator of bank-orb", "remove activator of bank-orb".
  std::vector<std::string> calls() const;
  // The paths that are registered, sorted.
  std::vector<std::string> registered() const;
  // The prototype of a registered POA; nil when it is not registered.
  CORBA::Object_ptr prototype(const std::string& path) const;
  // The activator that was registered last; nil when there is none.
  QZ_POA_PersistentServer::EndpointActivator_ptr activator() const;

  // With the locator's domain, "poalocator".
  static QZ_POA_PersistentServer::EndpointIdList ids(const std::vector<std::string>& paths);

 private:
  class Endpoints;
  class Activators;
  struct Entry {
    CORBA::Object_var prototype;
    QZ_POA_PersistentServer::EndpointDynamicState_var state;
  };

  mutable std::mutex m_mutex;  // guards all below
  std::vector<std::string> m_calls;
  std::map<std::string, Refusal> m_refusals;
  std::map<std::string, Entry> m_entries;
  QZ_POA_PersistentServer::EndpointActivator_var m_activator;
  std::function<void()> m_before_removal;
};
