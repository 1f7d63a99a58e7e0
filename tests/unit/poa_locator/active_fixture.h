// The plug-in's core with servers and clients around it: servants of this process stand for what servers register,
// and requests are handed to whatever interceptor the binding manager has for their key.
#pragma once

#include <poa_persistent_server.hh>

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "poa_locator/locator/active_endpoint.h"
#include "poa_locator/locator/active_endpoint_registry.h"
#include "poa_locator/locator/poa_active_orb_registry.h"
#include "tests/support/wait.h"
#include "tests/unit/poa_locator/active_requests.h"
#include "tests/unit/poa_locator/plugin_fixture.h"

using Names = std::vector<std::string>;

class TestDynamicState : public POA_QZ_POA_PersistentServer::EndpointDynamicState {};

// Calls a function with the names of the POAs that it is to activate, and remembers them.
class TestActivator : public POA_QZ_POA_PersistentServer::EndpointActivator {
 public:
  using Function = std::function<void(const std::vector<Names>&)>;

  explicit TestActivator(Function function = [](const std::vector<Names>&) {}) : m_function(std::move(function)) {}

  void activate(const QZ_POA_PersistentServer::EndpointIdList& ids) override;
  std::vector<std::vector<Names>> calls() const;

 private:
  const Function m_function;
  mutable std::mutex m_mutex;  // guards m_calls
  std::vector<std::vector<Names>> m_calls;
};

class ActiveFixture : public PluginFixture {
 protected:
  ActiveFixture();
  ~ActiveFixture() override;

  // Lets the servants of the test die first: the ORB does not end with any of them alive.
  void stop();
  void stop_host();

  ActiveEndpointRegistry& endpoints() { return core().impl_active_endpoint_registry(); }
  POAActiveORBRegistry& orbs() { return core().impl_poa_active_orb_registry(); }

  // A persistent entry in the repository, with those above it that are missing.
  Endpoint add_entry(const Names& names, const std::string& orb_name);

  // What a server registers: references that live until they are told to die, and one that nobody answers for.
  QZ_POA_PersistentServer::EndpointDynamicState_var make_state();
  QZ_POA_PersistentServer::EndpointDynamicState_var dead_state();
  QZ_POA_PersistentServer::EndpointActivator_var make_activator(TestActivator*& servant,
                                                                TestActivator::Function function = nullptr);
  QZ_POA_PersistentServer::EndpointActivator_var dead_activator();
  void die(CORBA::Object_ptr reference);
  // A reference at an address where nobody listens.
  CORBA::Object_var prototype(const std::string& key);
  static std::string server_key(const Names& names);

  // The registration servants as servers see them.
  QZ_POA_PersistentServer::EndpointRegistry_var server_registry();
  QZ_POA_PersistentServer::EndpointActivatorRegistry_var activator_registry();
  // Registers the POA with a living state; returns the creation sequence number.
  CORBA::ULong add(const Names& names, const std::string& orb_name);
  CORBA::ULong add(const Names& names, const std::string& orb_name,
                   QZ_POA_PersistentServer::EndpointDynamicState_ptr state);
  void remove(const Names& names, const std::string& orb_name);

  ActiveEndpoint find(const Names& names) { return endpoints().find(*id_of(names)); }
  POAActiveORBRegistry::Handle find_orb(const std::string& name) { return orbs().find(name.c_str()); }

  static std::string key_of(const Names& names, const std::string& object = "object") {
    return octets(*id_of(names)) + object;
  }
  // The interceptor that the front door would call; nil when there is none. Requests live until the test ends, because
  // the plug-in may answer them any time until then.
  QZ_Binding::ServerRequestInterceptor_var interceptor_of(const std::string& key);
  // From now on the prefix belongs to somebody else, called "nobody", who answers no request.
  QZ_Binding::ServerBinding_var take_key_prefix(const CORBA::OctetSeq& prefix);
  std::shared_ptr<FakeRequest> send(const std::string& key, FakeRequest::Kind kind = FakeRequest::REQUEST);
  std::shared_ptr<FakeRequest> send_to(const Names& names, const std::string& object = "object",
                                       FakeRequest::Kind kind = FakeRequest::REQUEST) {
    return send(key_of(names, object), kind);
  }

  // A process that runs until it is told to end, and ORBs that run in it. Before start().
  void configure_living_process(const std::string& name, const std::vector<std::string>& orb_names);
  // Has it end by itself; anew: lets further runs live again.
  void end_process(const std::string& name);
  void allow_process(const std::string& name);

  // How many records the store has under a home.
  std::size_t stored(const char* home_type_id);
  std::size_t stored_endpoints() { return stored(endpoints().home_type_id()); }
  std::size_t stored_orbs() { return stored(orbs().home_type_id()); }

 private:
  void live(CORBA::Object_ptr reference);
  void end_all();

  const support::TestDir m_own_dir;
  std::vector<std::string> m_processes;
  std::vector<std::shared_ptr<FakeRequest>> m_requests;
  std::mutex m_mutex;  // guards m_living
  std::vector<CORBA::Object_var> m_living;
};
