// The host in which locator plug-ins live: everything of the daemon but its plug-ins, signals and command line.
#pragma once

#include <omniORB4/CORBA.h>

#include <memory>
#include <string>

#include "daemon/active_orb_registry_impl.h"
#include "daemon/active_process_registry_impl.h"
#include "daemon/admin/host_admin.h"
#include "daemon/configuration_impl.h"
#include "daemon/event_log_impl.h"
#include "daemon/event_loop.h"
#include "daemon/imr_impl.h"
#include "daemon/liveness_monitor.h"
#include "daemon/locator_impl.h"
#include "daemon/orb_access.h"
#include "daemon/process_context.h"
#include "daemon/service_control_impl.h"
#include "daemon/start_error.h"
#include "daemon/store_lock.h"
#include "platform/base/ref_count_handle.h"
#include "platform/binding/binding_manager_impl.h"
#include "platform/binding/front_door.h"

namespace poalocd {

// The constructor makes the host ready for plug-ins to be initialised; start() lets servers and clients in. One host
// at a time in a process, as there is one ORB; the next may be made when the last is gone.
//
//   RefCountHandle<ConfigurationImpl> configuration(ConfigurationImpl::parse("[store] ...", "test"));
//   Host host(configuration, Host::Listen::NO);
//   plugin.initialize(&host.service_control(), &host.locator(), host.parent_poa_nc(), host.session_manager_nc());
//
// Accessors give borrowed references, valid as long as the host. Constructor, start, stop and destructor belong to one
// thread; everything else is safe from any.
class Host {
 public:
  // Listen::NO: without a front door; references to the locator carry its configured addresses all the same.
  enum class Listen { YES, NO };

  // Makes, in this order: event log, configuration, lock of the store, ORB with its initial references "QZ_EventLog",
  // "QZ_Configuration", "QZ_BindingManager" and "TransactionCurrent", store, binding manager, front door (its ports are
  // taken, but nobody is served), repository, locator and their administration. Takes up what the store knows of running
  // processes.
  // StartError, ConfigurationError.
  explicit Host(RefCountHandle<ConfigurationImpl> configuration, Listen listen = Listen::YES);
  // Stops, gives up active ORBs without telling them, and ends the ORB.
  ~Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  // After the plug-ins' initialisation: reports processes that ended meanwhile, watches the others, and serves.
  void start();
  // Before the plug-ins' clean-up: no client, no server and no process is attended to any more. A second call does
  // nothing.
  void stop();

  CORBA::ORB_ptr orb_nc() const { return m_orb; }
  // Under which plug-ins make their POAs; persistent, with a POA manager that start() activates.
  PortableServer::POA_ptr parent_poa_nc() const { return m_parent_poa; }
  QZ_PSS::SessionManager_ptr session_manager_nc() const { return m_store.session_manager; }
  CosTransactions::Current_ptr tx_current_nc() const { return m_store.current; }

  ConfigurationImpl& configuration() const { return *m_configuration; }
  EventLogImpl& event_log() const { return *m_event_log; }
  ServiceControlImpl& service_control() const { return *m_service_control; }
  QZ_Binding::BindingManagerImpl& binding_manager() const { return *m_binding_manager; }
  ImrImpl& imr() const { return *m_imr; }
  LocatorImpl& locator() const { return *m_locator; }
  EventLoop& loop() const { return *m_loop; }
  LivenessMonitor& liveness_monitor() const { return *m_liveness_monitor; }
  // Null without one.
  QZ_Binding::FrontDoor* front_door() const { return m_front_door.get(); }

  // Where servers reach the locator: "corbaloc::HOST:PORT"; empty without a front door.
  const std::string& url() const { return m_url; }

  // Asks every object adapter's repository, then removes the ORB; see ImrImpl::destroy_orb.
  void destroy_orb(const std::string& name, QZ_LocationCommon::DestroyType type) { m_imr->destroy_orb(name, type); }

 private:
  void open_store();
  void open_orb();
  void open_front_door(Listen listen);
  void open_locator();
  void register_initial_reference(const char* name, CORBA::Object_ptr object);

  const RefCountHandle<ConfigurationImpl> m_configuration;
  const RefCountHandle<EventLogImpl> m_event_log;
  const RefCountHandle<ServiceControlImpl> m_service_control;
  std::unique_ptr<StoreLock> m_store_lock;  // goes after whatever uses the store
  OrbAccess m_orb_access;
  CORBA::ORB_var m_orb;
  PortableServer::POAManager_var m_root_manager;
  PortableServer::POA_var m_parent_poa;
  StoreAccess m_store;
  RefCountHandle<QZ_Binding::BindingManagerImpl> m_binding_manager;
  std::unique_ptr<QZ_Binding::FrontDoor> m_front_door;
  std::string m_url;
  std::unique_ptr<EventLoop> m_loop;
  std::unique_ptr<ProcessContext> m_process_context;
  RefCountHandle<ImrImpl> m_imr;
  RefCountHandle<LocatorImpl> m_locator;
  std::unique_ptr<LivenessMonitor> m_liveness_monitor;
  std::unique_ptr<HostAdmin> m_admin;
  bool m_stopped = false;
};

}  // namespace poalocd
