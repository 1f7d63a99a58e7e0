#include "poa_locator/servants/ext_endpoint_activator_registry_impl.h"

#include <optional>

#include "poa_locator/locator/poa_active_orb_registry.h"
#include "poa_locator/locator/server_call.h"
#include "poa_locator/plugin/event_report.h"
#include "poa_locator/plugin/minor_codes.h"
#include "poa_locator/plugin/poa_loc_event_msg.h"
#include "poa_locator/plugin/poa_locator_impl.h"

using QZ_POA_PersistentServer::EndpointActivator;
using QZ_POA_PersistentServer::EndpointActivator_var;

namespace {

EndpointActivator_var activator_of(POAActiveORBImpl& orb) {
  QZ_RecursiveMutexLock lock(orb.impl_mutex());
  return EndpointActivator::_duplicate(orb.impl_endpoint_activator_nc());
}

}  // namespace

// The activator that an ORB has already; nil when it has none.
struct ExternalEndpointActivatorRegistryImpl::Holder {
  EndpointActivator_var activator;
  bool answers = false;
};

ExternalEndpointActivatorRegistryImpl::ExternalEndpointActivatorRegistryImpl(POALocatorImpl& locator,
                                                                             PortableServer::POA_ptr parent,
                                                                             POAActiveORBRegistry& registry)
    : m_locator(locator),
      m_active_orb_registry(registry),
      m_poa(CORBA::ORB_var(locator._qz_get_orb()), parent, "QZ_POA_PersistentServer::EndpointActivatorRegistry", this) {
  const CORBA::Object_var reference = m_poa.create_reference(
      "ExternalEndpointActivatorRegistry", QZ_POA_PersistentServer::EndpointActivatorRegistry::_PD_repoId);
  m_locator.impl_locator_nc()->make_known(QZ_POA_PersistentServer::POA_ACTIVATOR_REGISTRY, reference,
                                          QZ_LocatorInternal::ROLE_SERVER);
}

void ExternalEndpointActivatorRegistryImpl::add(const char* orb_name,
                                                QZ_POA_PersistentServer::EndpointActivator_ptr activator,
                                                QZ_POA_PersistentServer::EndpointIdList_out ids) {
  ids = new QZ_POA_PersistentServer::EndpointIdList;
  if (CORBA::is_nil(activator)) throw CORBA::BAD_PARAM(MINOR_NIL_REFERENCE, CORBA::COMPLETED_NO);
  if (*orb_name == '\0') throw CORBA::BAD_PARAM(MINOR_BAD_NAME, CORBA::COMPLETED_NO);
  for (int round = 0; round < 3; ++round) {
    const Holder holder = current_holder(orb_name);
    QZ_MutexLock lock(m_locator.impl_mutex());
    if (!add_locked(orb_name, activator, holder)) continue;
    report(m_locator.impl_event_log(), POALocEvent::ENDPOINT_ACTIVATOR_REGISTERED, QZ_Logging::INFORMATION,
           ENDPOINT_ACTIVATOR_REGISTERED_MSG, {orb_name});
    return;
  }
  throw CORBA::TRANSIENT(MINOR_ENDPOINT_DESTROYED, CORBA::COMPLETED_NO);
}

ExternalEndpointActivatorRegistryImpl::Holder ExternalEndpointActivatorRegistryImpl::current_holder(
    const char* orb_name) {
  const POAActiveORBRegistry::Handle orb = m_active_orb_registry.find(orb_name);
  if (orb.is_null()) return {};
  Holder holder;
  holder.activator = activator_of(*orb);
  holder.answers = answers(holder.activator, m_locator.impl_probe_time_limit());
  return holder;
}

// False when the ORB's record has just been destroyed.
bool ExternalEndpointActivatorRegistryImpl::add_locked(const char* orb_name,
                                                       QZ_POA_PersistentServer::EndpointActivator_ptr activator,
                                                       const Holder& holder) {
  bool created = false;
  const POAActiveORBRegistry::Handle orb = m_active_orb_registry.find_or_create(orb_name, activator, created);
  if (created) return true;
  std::optional<bool> held_answers;
  if (activator_of(*orb).in() == holder.activator.in()) held_answers = holder.answers;
  return orb->impl_endpoint_activator(activator, held_answers);
}

void ExternalEndpointActivatorRegistryImpl::remove(const char* orb_name) {
  QZ_MutexLock lock(m_locator.impl_mutex());
  QZ_Logging::EventLog_ptr log = m_locator.impl_event_log();
  const POAActiveORBRegistry::Handle orb = m_active_orb_registry.find(orb_name);
  if (orb.is_null() || !orb->impl_endpoint_activator(EndpointActivator::_nil())) {
    report(log, POALocEvent::ENDPOINT_ACTIVATOR_NOT_REGISTERED, QZ_Logging::WARNING,
           ENDPOINT_ACTIVATOR_NOT_REGISTERED_MSG, {orb_name});
    throw QZ_POA_PersistentServer::EndpointActivatorRegistry::EntryNotExist(orb_name);
  }
  report(log, POALocEvent::ENDPOINT_ACTIVATOR_UNREGISTERED, QZ_Logging::INFORMATION,
         ENDPOINT_ACTIVATOR_UNREGISTERED_MSG, {orb_name});
}
