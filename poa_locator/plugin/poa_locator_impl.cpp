#include "poa_locator/plugin/poa_locator_impl.h"

#include "platform/orb/initial_reference.h"
#include "platform/orb/vendor_policy.h"
#include "poa_locator/imr/poa_imr_impl.h"
#include "poa_locator/interceptors/poa_loc_interceptor.h"
#include "poa_locator/locator/active_endpoint_registry.h"
#include "poa_locator/locator/poa_active_orb_registry.h"
#include "poa_locator/servants/ext_active_poa_impl.h"
#include "poa_locator/servants/ext_active_poa_registry_impl.h"
#include "poa_locator/servants/ext_endpoint_activator_registry_impl.h"
#include "poa_locator/servants/ext_endpoint_registry_impl.h"
#include "poa_locator/servants/ext_poa_active_orb_impl.h"

namespace {

template <class Value>
void append_policy(CORBA::PolicyList& policies, CORBA::ORB_ptr orb, CORBA::PolicyType type, Value value) {
  CORBA::Any any;
  any <<= value;
  const CORBA::ULong length = policies.length();
  policies.length(length + 1);
  policies[length] = QZ_PortableServer::create_policy(orb, type, any);
}

// Milliseconds. A call to a server without a limit would hold up everybody behind it.
void read_time_limit(QZ_Config::Configuration_ptr config, const char* key, unsigned long& limit) {
  CORBA::LongLong value = 0;
  if (!config->get_long(key, value)) return;
  if (value <= 0 || value > 0x7FFFFFFF) throw CORBA::BAD_PARAM(0, CORBA::COMPLETED_NO);
  limit = static_cast<unsigned long>(value);
}

// One step of tearing down: whatever it raises, the next one is taken.
template <class Work>
void quietly(Work&& work) noexcept {
  try {
    work();
  } catch (...) {
    // What cannot be undone has gone with the host already.
  }
}

template <class Servant>
void close(const OwnedServant<Servant>& servant) {
  if (servant) servant->impl_close();
}

}  // namespace

POALocatorImpl::POALocatorImpl(QZ_AppServices::ServiceControlManager_ptr service_control_manager,
                               QZ_LocatorInternal::Locator_ptr locator, PortableServer::POA_ptr parent_poa,
                               QZ_PSS::SessionManager_ptr session_manager)
    : m_name("POALocator"),
      m_service_control_manager(QZ_AppServices::ServiceControlManager::_duplicate(service_control_manager)),
      m_locator(QZ_LocatorInternal::Locator::_duplicate(locator)),
      m_orb(QZ_CORBA::orb_of(locator)),
      m_session_manager(QZ_PSS::SessionManager::_duplicate(session_manager)) {
  try {
    start(parent_poa);
  } catch (...) {
    quietly([this] { withdraw(); });
    tear_down();
    throw;
  }
}

POALocatorImpl::~POALocatorImpl() {
  quietly([this] { withdraw(); });
  tear_down();
}

void POALocatorImpl::start(PortableServer::POA_ptr parent_poa) {
  const CORBA::ORB_var orb = _qz_get_orb();
  m_event_log = initial_reference<QZ_Logging::EventLog>(orb, "QZ_EventLog");
  m_binding_manager = initial_reference<QZ_Binding::BindingManager>(orb, "QZ_BindingManager");
  m_config = initial_reference<QZ_Config::Configuration>(orb, "QZ_Configuration");
  m_poa_current = initial_reference<PortableServer::Current>(orb, "POACurrent");
  m_tx_current = initial_reference<CosTransactions::Current>(orb, "TransactionCurrent");
  read_time_limits();
  create_poa(orb, parent_poa);

  const QZ_IMRInternal::IMR_var imr = m_locator->imr();
  const QZ_IMRInternal::OAIMRRegistry_var imr_registry = imr->oa_imr_registry();
  m_poa_imr.reset(new POAIMRImpl(*this, imr_registry));

  // ORBs first: endpoints refer to them.
  const QZ_LocatorInternal::ActiveORBRegistry_var orb_registry = m_locator->active_orb_registry();
  m_poa_active_orb_registry = std::make_unique<POAActiveORBRegistry>(*this, orb_registry);
  m_poa_active_orb_registry->load();
  m_active_endpoint_registry = std::make_unique<ActiveEndpointRegistry>(*this);
  m_active_endpoint_registry->load();

  ActiveEndpointRegistry& endpoints = *m_active_endpoint_registry;
  POAActiveORBRegistry& orbs = *m_poa_active_orb_registry;
  m_ext_active_poa.reset(new ExternalActivePOAImpl(orb, m_poa, endpoints));
  m_ext_active_poa_registry.reset(new ExternalActivePOARegistryImpl(*this, m_poa, endpoints));
  m_ext_endpoint_activator_registry.reset(new ExternalEndpointActivatorRegistryImpl(*this, m_poa, orbs));
  m_ext_endpoint_registry.reset(new ExternalEndpointRegistryImpl(*this, m_poa, endpoints));
  m_ext_poa_active_orb.reset(new ExternalPOAActiveORBImpl(orb, m_poa, orbs));

  const QZ_LocatorInternal::OALocatorRegistry_var locators = m_locator->oa_locator_registry();
  locators->register_locator(m_name.c_str(), this);
  m_registered = true;

  const RefCountHandle<PoaLocInterceptor> interceptor(new PoaLocInterceptor(*this));
  m_server_binding = interceptor->impl_register();
}

void POALocatorImpl::read_time_limits() {
  read_time_limit(m_config, "orb_endpoint:probe_time_limit", m_probe_time_limit);
  read_time_limit(m_config, "orb_endpoint:activate_time_limit", m_activate_time_limit);
}

CORBA::PolicyList POALocatorImpl::poa_policies(CORBA::ORB_ptr orb) {
  CORBA::PolicyList policies;
  append_policy(policies, orb, PortableServer::LIFESPAN_POLICY_ID, PortableServer::PERSISTENT);
  append_policy(policies, orb, PortableServer::ID_ASSIGNMENT_POLICY_ID, PortableServer::USER_ID);
  append_policy(policies, orb, PortableServer::SERVANT_RETENTION_POLICY_ID, PortableServer::RETAIN);
  append_policy(policies, orb, PortableServer::THREAD_POLICY_ID, PortableServer::ORB_CTRL_MODEL);
  append_policy(policies, orb, QZ_PortableServer::BINDING_SCOPE_POLICY_TYPE, QZ_PortableServer::LOCATOR_SCOPE);
  append_policy(policies, orb, QZ_PortableServer::PERSISTENCE_MODE_POLICY_TYPE, QZ_PortableServer::DIRECT_PERSISTENCE);
  append_policy(policies, orb, QZ_PortableServer::FIREWALL_POLICY_TYPE, CORBA::UShort{0});
  return policies;
}

void POALocatorImpl::create_poa(CORBA::ORB_ptr orb, PortableServer::POA_ptr parent_poa) {
  const PortableServer::POAManager_var manager = parent_poa->the_POAManager();
  m_poa = QZ_PortableServer::create_poa(parent_poa, m_name.c_str(), manager, poa_policies(orb));
}

char* POALocatorImpl::name() {
  return CORBA::string_dup(m_name.c_str());
}

CORBA::ORB_ptr POALocatorImpl::_qz_get_orb() {
  return CORBA::ORB::_duplicate(m_orb);
}

void POALocatorImpl::impl_shutdown() {
  withdraw();
}

void POALocatorImpl::impl_validate_persistent_data() {
  m_active_endpoint_registry->validate();
}

PortableServer::POA_ptr POALocatorImpl::impl_poa_active_orb_poa_nc() {
  return m_ext_poa_active_orb->impl_poa_nc();
}

PortableServer::POA_ptr POALocatorImpl::impl_active_endpoint_poa_nc() {
  return m_ext_active_poa->impl_poa_nc();
}

void POALocatorImpl::withdraw() {
  if (m_registered) {
    m_registered = false;
    const QZ_LocatorInternal::OALocatorRegistry_var locators = m_locator->oa_locator_registry();
    locators->unregister_locator(m_name.c_str());
  }
  if (!CORBA::is_nil(m_server_binding)) m_server_binding->destroy();
}

void POALocatorImpl::tear_down() noexcept {
  // First everybody out: requests of servers and administrators, then those of the front door, host and workers, which
  // still find everything in place.
  quietly([this] { close(m_ext_poa_active_orb); });
  quietly([this] { close(m_ext_endpoint_registry); });
  quietly([this] { close(m_ext_endpoint_activator_registry); });
  quietly([this] { close(m_ext_active_poa_registry); });
  quietly([this] { close(m_ext_active_poa); });
  // With it the POAs of the repository's servants.
  quietly([this] {
    if (!CORBA::is_nil(m_poa)) m_poa->destroy(true, true);
  });
  m_gate->close_and_wait();

  m_ext_poa_active_orb.reset();
  m_ext_endpoint_registry.reset();
  m_ext_endpoint_activator_registry.reset();
  m_ext_active_poa_registry.reset();
  m_ext_active_poa.reset();
  m_poa_active_orb_registry.reset();
  m_active_endpoint_registry.reset();
  m_poa_imr.reset();
}
