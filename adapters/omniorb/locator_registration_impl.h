#pragma once

#include <memory>
#include <poa_persistent_server.hh>
#include <string>
#include <vector>

#include "adapters/omniorb/locator_client.h"
#include "adapters/omniorb/locator_registration.h"
#include "adapters/omniorb/periodic_check.h"
#include "adapters/omniorb/registered_poa.h"
#include "platform/base/qz_mutex.h"

namespace PoaLocator {

class LocatorRegistration::Impl {
 public:
  Impl(CORBA::ORB_ptr orb, LocatorOptions options, ActivationCallback on_activate, LocatorRegistration& self);
  ~Impl();

  // Lets the locator call.
  void start();

  PortableServer::POA_ptr create_poa(const std::string& path, const CORBA::PolicyList& policies, const PoaSetup& setup);
  CORBA::Object_ptr mint(const std::string& path, const PortableServer::ObjectId& id, const char* type_id) const;
  void leave();

  // For the locator's sake. False for a POA that this server does not have; TRANSIENT when it could not be made.
  bool activate(const std::string& path);
  const std::string& domain() const { return m_options.domain; }

 private:
  using Poa = std::shared_ptr<RegisteredPoa>;

  Poa bring_up(PortableServer::POA_ptr parent, const std::string& path, const std::string& name,
               const CORBA::PolicyList& policies, const PoaSetup& setup, bool is_upper_level) REQUIRES(m_changes);
  struct Attempt {
    LocatorClient::Answer answer;
    bool is_own = false;  // what is registered now is this server's
    CORBA::Object_var reference;
  };
  Attempt add(const RegisteredPoa& poa) const REQUIRES(m_changes);
  // When this raises, a POA that has no locator reference yet is pending.
  LocatorClient::Answer ask_to_register(RegisteredPoa& poa) REQUIRES(m_changes);
  void register_or_raise(RegisteredPoa& poa) REQUIRES(m_changes);
  // What is to be known of a POA that did not get registered; empty when it did, or is already.
  std::string register_again(RegisteredPoa& poa) REQUIRES(m_changes);
  void register_all_again() REQUIRES(m_changes);
  // Children first.
  void remove_poas() EXCLUDES(m_changes);
  void check();
  void report(const std::string& sentence) const;

  Poa find(const std::string& path) const EXCLUDES(m_table);
  std::vector<Poa> poas() const EXCLUDES(m_table);

  const LocatorOptions m_options;
  const ActivationCallback m_on_activate;
  LocatorRegistration& m_self;
  const LocatorClient m_client;
  const PortableServer::POA_var m_root;
  const PortableServer::POA_var m_calls;  // of the objects that the locator calls
  const QZ_POA_PersistentServer::EndpointActivator_var m_activator;

  // Serialises what changes the registrations; held during calls to the locator.
  QZ_Mutex m_changes;
  bool m_left GUARDED_BY(m_changes) = false;
  std::size_t m_checks GUARDED_BY(m_changes) = 0;
  std::string m_last_problem GUARDED_BY(m_changes);

  // Guards m_poas, and the locator references in it together with m_changes: both are held to write, either to read.
  // What is pending is m_changes' alone.
  // Taken last and never held during a call.
  mutable QZ_Mutex m_table;
  std::vector<Poa> m_poas GUARDED_BY(m_table);  // parents before their children

  PeriodicCheck m_watch;
};

}  // namespace PoaLocator
