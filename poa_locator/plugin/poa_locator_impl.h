// The plug-in's core: resolves the host's services, builds and owns the registries, the servants and the interceptor,
// and joins them to the host locator as the object-adapter locator "POALocator". One for each plug-in object.
//
// Construction starts everything and raises whatever made the start fail, with what had been set up undone again.
// impl_shutdown withdraws the plug-in from the host; the destructor ends all work that is still under way and then
// tears down. Both come from the daemon's start-up and shutdown thread. Accessors are safe from any thread between
// construction and destruction; those ending in _nc, and the ones that return references, hand out no ownership.
//
// Lock order, outermost first:
//   core mutex -> creation mutexes of the two active registries -> active ORB (recursive) -> active endpoint
//   -> active endpoint registry / active ORB registry -> store.
// The request mutex of an endpoint (EndpointRequests) and the gate are leaves that may be taken under any of them.
#pragma once

#include <cos_transactions.hh>
#include <qz_app_services.hh>
#include <qz_binding.hh>
#include <qz_config.hh>
#include <qz_locator_internal.hh>
#include <qz_logging.hh>
#include <qz_pss.hh>

#include <memory>

#include "platform/base/gate.h"
#include "platform/base/qz_mutex.h"
#include "platform/base/qz_string.h"
#include "platform/orb/ref_counted_local_object.h"
#include "platform/orb/servant_poa.h"

class ActiveEndpointRegistry;
class ExternalActivePOAImpl;
class ExternalActivePOARegistryImpl;
class ExternalEndpointActivatorRegistryImpl;
class ExternalEndpointRegistryImpl;
class ExternalPOAActiveORBImpl;
class POAActiveORBRegistry;
class POAIMRImpl;

class POALocatorImpl : public virtual QZ_LocatorInternal::OALocator, public QZ_CORBA::RefCountedLocalObject {
 public:
  // The references are duplicated. parent_poa: under which, and with whose manager, the POA "POALocator" is created.
  POALocatorImpl(QZ_AppServices::ServiceControlManager_ptr service_control_manager,
                 QZ_LocatorInternal::Locator_ptr locator, PortableServer::POA_ptr parent_poa,
                 QZ_PSS::SessionManager_ptr session_manager);
  // Waits until no call and no worker of the plug-in is inside the core; each of them has a time limit.
  ~POALocatorImpl() override;
  POALocatorImpl(const POALocatorImpl&) = delete;
  POALocatorImpl& operator=(const POALocatorImpl&) = delete;

  char* name() override;
  CORBA::ORB_ptr _qz_get_orb() override;

  // No new request is routed to the plug-in from here on; the loaded state stays.
  void impl_shutdown();
  // Drops restored endpoints that do not hold any more.
  void impl_validate_persistent_data();

  // Serialises changes of the active state with the forwarding of requests.
  QZ_Mutex& impl_mutex() RETURN_CAPABILITY(m_mutex) { return m_mutex; }

  QZ_AppServices::ServiceControlManager_ptr impl_service_control_manager_nc() { return m_service_control_manager; }
  QZ_LocatorInternal::Locator_ptr impl_locator_nc() { return m_locator; }
  // The POA "POALocator", parent of all POAs of the plug-in's servants.
  PortableServer::POA_ptr impl_poa_nc() { return m_poa; }
  QZ_Logging::EventLog_ptr impl_event_log() { return m_event_log; }
  QZ_Binding::BindingManager_ptr impl_binding_manager_nc() { return m_binding_manager; }
  QZ_PSS::SessionManager_ptr impl_session_manager_nc() { return m_session_manager; }
  PortableServer::Current_ptr impl_poa_current_nc() { return m_poa_current; }
  CosTransactions::Current_ptr impl_tx_current_nc() { return m_tx_current; }
  QZ_Config::Configuration_ptr impl_config_nc() { return m_config; }

  // The POAs of the administration objects; only once the core is built.
  PortableServer::POA_ptr impl_poa_active_orb_poa_nc();
  PortableServer::POA_ptr impl_active_endpoint_poa_nc();

  POAIMRImpl& impl_poa_imr() { return *m_poa_imr; }
  ActiveEndpointRegistry& impl_active_endpoint_registry() { return *m_active_endpoint_registry; }
  POAActiveORBRegistry& impl_poa_active_orb_registry() { return *m_poa_active_orb_registry; }

  // Whoever enters the core on a thread that the core cannot stop (front door, host, workers) passes this gate.
  // It outlives the core for those who hold it.
  const std::shared_ptr<Gate>& impl_gate() const { return m_gate; }

  // Time limits of calls to servers, in milliseconds: "orb_endpoint:probe_time_limit" (2000) and
  // "orb_endpoint:activate_time_limit" (30000).
  unsigned long impl_probe_time_limit() const { return m_probe_time_limit; }
  unsigned long impl_activate_time_limit() const { return m_activate_time_limit; }

 private:
  void read_time_limits();
  void create_poa(CORBA::ORB_ptr orb, PortableServer::POA_ptr parent_poa);
  static CORBA::PolicyList poa_policies(CORBA::ORB_ptr orb);
  void start(PortableServer::POA_ptr parent_poa);
  void withdraw();
  void tear_down() noexcept;

  QZ_Mutex m_mutex;
  const QZ_String m_name;
  QZ_AppServices::ServiceControlManager_var m_service_control_manager;
  QZ_LocatorInternal::Locator_var m_locator;
  const CORBA::ORB_var m_orb;  // the host locator's
  PortableServer::POA_var m_poa;
  QZ_Logging::EventLog_var m_event_log;
  QZ_Binding::BindingManager_var m_binding_manager;
  bool m_registered = false;  // with the host locator
  QZ_Binding::ServerBinding_var m_server_binding;
  OwnedServant<POAIMRImpl> m_poa_imr;
  std::unique_ptr<ActiveEndpointRegistry> m_active_endpoint_registry;
  std::unique_ptr<POAActiveORBRegistry> m_poa_active_orb_registry;
  OwnedServant<ExternalActivePOAImpl> m_ext_active_poa;
  OwnedServant<ExternalActivePOARegistryImpl> m_ext_active_poa_registry;
  OwnedServant<ExternalEndpointActivatorRegistryImpl> m_ext_endpoint_activator_registry;
  OwnedServant<ExternalEndpointRegistryImpl> m_ext_endpoint_registry;
  OwnedServant<ExternalPOAActiveORBImpl> m_ext_poa_active_orb;
  QZ_PSS::SessionManager_var m_session_manager;
  PortableServer::Current_var m_poa_current;
  CosTransactions::Current_var m_tx_current;
  QZ_Config::Configuration_var m_config;
  const std::shared_ptr<Gate> m_gate = std::make_shared<Gate>();
  unsigned long m_probe_time_limit = 2000;
  unsigned long m_activate_time_limit = 30000;
};
