#include "daemon/host.h"

#include <algorithm>
#include <system_error>
#include <utility>

#include "daemon/connection_gate.h"
#include "daemon/exception_text.h"
#include "daemon/host_event.h"
#include "daemon/imr_store.h"
#include "daemon/locator_store.h"
#include "daemon/open_files.h"
#include "daemon/orb_setup.h"
#include "daemon/run_search.h"
#include "platform/orb/exception_text.h"
#include "platform/pss/pss_errors.h"
#include "platform/pss/session_manager_impl.h"
#include "platform/transactions/current_impl.h"

namespace poalocd {

namespace {

EventLogImpl* make_event_log(const EventLogSettings& settings) {
  try {
    return new EventLogImpl(settings);
  } catch (const std::exception& e) {
    throw StartError(std::string(e.what()) + "; set event_log.file to a file that poalocd may write");
  }
}

// A listener on every address is reached on this machine by the loopback address.
QZ_IOR::Address local_address(QZ_IOR::Address address) {
  if (address.host == "0.0.0.0") address.host = "127.0.0.1";
  if (address.host == "::") address.host = "::1";
  return address;
}

}  // namespace

Host::Host(RefCountHandle<ConfigurationImpl> configuration, Listen listen)
    : m_configuration(std::move(configuration)),
      m_event_log(make_event_log(m_configuration->settings().event_log)),
      m_service_control(new ServiceControlImpl),
      m_orb_access(m_configuration->settings().orb_endpoint.listeners) {
  report(m_event_log.get(), DAEMON_STARTING_EVENT, {POALOCATOR_VERSION, m_configuration->settings().domain});
  try {
    m_store_lock = std::make_unique<StoreLock>(m_configuration->settings().store.url);
    open_orb();
    open_store();
    open_front_door(listen);
    open_locator();
  } catch (...) {
    report(m_event_log.get(), DAEMON_START_FAILED_EVENT, {current_exception_text()});
    turn_connections_away();
    forget_orb_log();
    m_locator = {};
    if (!CORBA::is_nil(m_orb)) m_orb->destroy();
    throw;
  }
}

Host::~Host() {
  stop();
  // ORBs and processes refer to each other; plug-ins are gone by now.
  m_locator->active_orbs().clear();
  for (const auto& process : m_locator->active_processes().list()) process->detach_all();
  m_front_door.reset();
  m_admin.reset();
  forget_orb_log();
  m_orb->destroy();
}

void Host::open_orb() {
  m_orb = make_orb(m_configuration->settings().orb_endpoint, m_orb_access, m_event_log.get());
  register_initial_reference("QZ_EventLog", m_event_log.get());
  register_initial_reference("QZ_Configuration", m_configuration.get());

  const CORBA::Object_var object = m_orb->resolve_initial_references("RootPOA");
  const PortableServer::POA_var root = PortableServer::POA::_narrow(object);
  m_root_manager = root->the_POAManager();
  CORBA::PolicyList policies;
  policies.length(2);
  policies[0] = root->create_lifespan_policy(PortableServer::PERSISTENT);
  policies[1] = root->create_id_assignment_policy(PortableServer::USER_ID);
  m_parent_poa = root->create_POA("poalocd", PortableServer::POAManager::_nil(), policies);
  report(m_event_log.get(), ORB_LISTENING_EVENT, {m_orb_access.text()});
}

void Host::open_store() {
  const auto& settings = m_configuration->settings().store;
  m_store.current = new CurrentImpl;
  register_initial_reference("TransactionCurrent", m_store.current);
  QZ_PSS::StoreOptions options;
  options.busy_timeout = settings.busy_timeout;
  options.orb = m_orb;
  try {
    m_store.session_manager = QZ_PSS::SessionManagerImpl::open(settings.url, options);
    QZ_PSS::register_home<QZ_ImrStore::ProcessDataHome>(m_store.session_manager, QZ_ImrStore::ProcessDataHome::TYPE_ID);
    QZ_PSS::register_home<QZ_ImrStore::OrbDataHome>(m_store.session_manager, QZ_ImrStore::OrbDataHome::TYPE_ID);
    QZ_PSS::register_home<QZ_LocatorStore::ActiveProcessHome>(m_store.session_manager,
                                                              QZ_LocatorStore::ActiveProcessHome::TYPE_ID);
  } catch (const QZ_PSS::OpenError& e) {
    throw StartError("store.url: " + std::string(e.what()) +
                     "; make the folder and give it to poalocd's user, or set store.url to another place");
  } catch (const CORBA::SystemException& e) {
    throw StartError("store.url: " + settings.url + " cannot be used: " + QZ_PSS::last_error() + " (" +
                     QZ_CORBA::to_string(e) + "); set store.url to a store of this version of poalocd");
  }
}

void Host::open_front_door(Listen listen) {
  auto config = m_configuration->settings().front_door;
  m_binding_manager = RefCountHandle<QZ_Binding::BindingManagerImpl>(new QZ_Binding::BindingManagerImpl);
  register_initial_reference("QZ_BindingManager", m_binding_manager.get());
  if (listen == Listen::NO) {
    auto addresses = config.published;
    if (addresses.empty())
      for (const auto& listener : config.listeners) addresses.push_back({listener.host, listener.port});
    m_binding_manager->set_addresses(std::move(addresses));
    return;
  }
  const std::size_t wanted = std::exchange(config.max_connections, allow_connections(config.max_connections));
  if (config.max_connections < wanted) {
    report(m_event_log.get(), FEW_FILES_EVENT, {std::to_string(config.max_connections), std::to_string(wanted)});
  }
  m_front_door = std::make_unique<QZ_Binding::FrontDoor>(config, *m_binding_manager, m_event_log.get());
  try {
    m_front_door->open();
  } catch (const std::system_error& e) {
    throw StartError("front_door.listen: " + std::string(e.what()) +
                     "; stop the program that uses the port, or choose another address of this machine");
  }
  const auto listening = m_front_door->listening();
  for (std::size_t i = 0; i < listening.size(); ++i) {
    const auto& roles = config.listeners.at(i).roles;
    const bool for_servers = std::find(roles.begin(), roles.end(), QZ_LocatorInternal::ROLE_SERVER) != roles.end();
    if (m_url.empty() && for_servers) m_url = "corbaloc::" + QZ_IOR::to_text(local_address(listening[i]));
  }
}

void Host::open_locator() {
  const auto& settings = m_configuration->settings();
  try {
    m_imr = RefCountHandle<ImrImpl>(new ImrImpl(m_store, m_event_log.get()));
    m_imr->load(settings);
    m_loop = std::make_unique<EventLoop>(m_event_log.get());
    const QZ_Logging::EventLog_var log = QZ_Logging::EventLog::_duplicate(m_event_log.get());
    m_process_context = std::make_unique<ProcessContext>(ProcessContext{*m_loop, log, m_store, m_imr->orb_registry(),
                                                                        m_imr->process_registry(), settings.domain,
                                                                        m_url, *m_store_lock});
    m_locator = RefCountHandle<LocatorImpl>(
        new LocatorImpl(m_orb, m_orb_access, m_imr, *m_binding_manager, *m_process_context));
    m_locator->active_processes().load(find_runs(m_store_lock->runs_of_killed()));
    m_store_lock->forget_runs_of_killed();
  } catch (const CORBA::SystemException& e) {
    throw StartError("store.url: " + settings.store.url + " cannot be used: " + QZ_PSS::last_error() + " (" +
                     QZ_CORBA::to_string(e) + ")");
  }
  m_liveness_monitor = std::make_unique<LivenessMonitor>(settings.liveness, m_locator->active_orbs(),
                                                         m_locator->active_processes(), m_event_log.get());
  m_admin = std::make_unique<HostAdmin>(*this);
  report(m_event_log.get(), STORE_OPENED_EVENT,
         {settings.store.url, std::to_string(m_imr->processes().size()), std::to_string(m_imr->orbs().size())});
}

void Host::register_initial_reference(const char* name, CORBA::Object_ptr object) {
  m_orb->register_initial_reference(name, object);
}

void Host::start() {
  m_loop->begin();
  m_liveness_monitor->begin();
  const PortableServer::POAManager_var manager = m_parent_poa->the_POAManager();
  manager->activate();
  m_root_manager->activate();
  let_connections_in();
  if (m_front_door) m_front_door->start();
}

void Host::stop() {
  if (std::exchange(m_stopped, true)) return;
  if (m_front_door) m_front_door->stop();
  m_event_log->ring().close();  // who waits for events would be waited for below
  // Not deactivate(): omniORB does not survive its destroy() after that while objects are active.
  m_root_manager->discard_requests(true);
  const PortableServer::POAManager_var manager = m_parent_poa->the_POAManager();
  manager->discard_requests(true);
  // Plug-ins take their POAs away now.
  turn_connections_away();
  m_admin->stop();
  m_liveness_monitor->stop();
  m_loop->stop();
}

}  // namespace poalocd
