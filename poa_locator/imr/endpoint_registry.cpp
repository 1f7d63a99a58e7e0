#include "poa_locator/imr/endpoint_registry.h"

#include <qz_locator_internal.hh>

#include <functional>
#include <set>

#include "platform/pss/statement.h"
#include "platform/pss/transaction_guard.h"
#include "platform/pss/tx_session_association.h"
#include "poa_locator/idl/home_configuration.h"
#include "poa_locator/imr/endpoint_id_utils.h"
#include "poa_locator/plugin/poa_locator_impl.h"

using QZ_PoaImrStore::NamespaceData;
using QZ_PoaImrStore::NamespaceDataRef;
using QZ_PoaImrStore::NamespaceHome;
using Refusals = QZ_POA_PersistentServer::EndpointRegistry;

namespace {

constexpr CORBA::ULong MINOR_NO_HOME = 0x515A0C00;
constexpr CORBA::ULong MINOR_NO_POA = 0x515A0C00;

// Calls visit with every record of the repository, in the store's order.
void walk(QZ_PSS::TxSessionAssociation& association, const QZ_String& home_type_id,
          const std::function<void(const NamespaceData&)>& visit) {
  QZ_PSS::Statement statement(association.session());
  const auto rows = statement.execute(home_query(home_type_id));
  while (rows->next()) visit(NamespaceDataRef::from_row(*rows).deref());
}

}  // namespace

EndpointRegistry::EndpointRegistry(POALocatorImpl& locator)
    : m_locator(locator),
      m_event_log(QZ_Logging::EventLog::_duplicate(locator.impl_event_log())),
      m_session_manager(QZ_PSS::SessionManager::_duplicate(locator.impl_session_manager_nc())),
      m_tx_current(CosTransactions::Current::_duplicate(locator.impl_tx_current_nc())),
      m_home_type_id(configured_home_type_id<NamespaceHome>(locator.impl_config_nc())) {
  register_home();
  create_root();
}

Endpoint EndpointRegistry::root() {
  return find(QZ_POAIMRAdmin::FullyQualifiedName());
}

Endpoint EndpointRegistry::find(const CORBA::OctetSeq& id) {
  QZ_RecursiveMutexLock lock(m_mutex);
  QZ_PSS::TxSessionAssociation association(m_session_manager, QZ_PSS::READ_ONLY);
  const NamespaceDataRef data = home(association).find_if_any(id);
  return data.is_nil() ? Endpoint() : Endpoint(*this, data.deref());
}

Endpoint EndpointRegistry::find(const QZ_POAIMRAdmin::FullyQualifiedName& name) {
  const CORBA::OctetSeq_var id = EndpointIdUtils::id_from_fqpn(name);
  return find(id.in());
}

QZ_Vector<Endpoint> EndpointRegistry::list_in_process(const char* process_name) {
  QZ_RecursiveMutexLock lock(m_mutex);
  QZ_Vector<Endpoint> result;
  const QZ_IMRInternal::IMR_var imr = m_locator.impl_locator_nc()->imr();
  const QZ_IMRInternal::ProcessRegistry_var processes = imr->process_registry();
  const QZ_IMRInternal::Process_var process = processes->find(process_name);
  if (CORBA::is_nil(process)) return result;
  const QZ_IMRInternal::ORBRegistry_var orbs = imr->orb_registry();
  QZ_IMRInternal::ORBList_var in_process = orbs->list_by_process(process_name);
  std::set<QZ_String> names;
  for (CORBA::ULong i = 0; i < in_process->length(); ++i) names.insert(CORBA::String_var(in_process[i]->name()).in());

  QZ_PSS::TxSessionAssociation association(m_session_manager, QZ_PSS::READ_ONLY);
  walk(association, m_home_type_id, [&](const NamespaceData& data) {
    if (names.count(data.orb()) != 0) result.emplace_back(*this, data);
  });
  return result;
}

QZ_Vector<Endpoint> EndpointRegistry::list_in_orb(const char* orb_name) {
  QZ_RecursiveMutexLock lock(m_mutex);
  QZ_Vector<Endpoint> result;
  QZ_PSS::TxSessionAssociation association(m_session_manager, QZ_PSS::READ_ONLY);
  walk(association, m_home_type_id, [&](const NamespaceData& data) {
    if (data.orb() == orb_name) result.emplace_back(*this, data);
  });
  return result;
}

Endpoint EndpointRegistry::on_demand_create(const CORBA::OctetSeq& id, const char* orb_name) {
  QZ_RecursiveMutexLock lock(m_mutex);
  const Endpoint existing = find(id);
  if (!existing.is_null()) return existing;

  const CORBA::OctetSeq_var parent_id = EndpointIdUtils::parent_id(id);
  // Only an id without names has no parent, and it is not the root's, which always exists.
  if (!parent_id.operator->()) throw CORBA::BAD_PARAM(MINOR_NO_POA, CORBA::COMPLETED_NO);
  const Endpoint parent = find(parent_id.in());
  if (parent.is_null()) throw Refusals::EntryNotExist(parent_id);
  if (!parent.allow_dynamic_registration()) throw Refusals::DynamicRegistrationNotAllowed(id);
  if (parent.persistent() && parent.orb_name() != orb_name) throw Refusals::InvalidOrbName(orb_name);
  require_host_orb(orb_name);

  const QZ_POAIMRAdmin::FullyQualifiedName_var name = EndpointIdUtils::id_to_fqpn(id);
  // Who registers the POA is answered after a durable commit of his own.
  return parent.add(name.in()[name->length() - 1], true, true, orb_name, QZ_PSS::Durable::WITH_NEXT);
}

void EndpointRegistry::remove(Endpoint& endpoint) {
  QZ_RecursiveMutexLock lock(m_mutex);
  QZ_PSS::TransactionGuard guard(m_tx_current);
  endpoint.destroy_persistent_data();
  const CORBA::OctetSeq_var parent_id = EndpointIdUtils::parent_id(endpoint.id());
  // Without a root nothing could be registered any more.
  if (!parent_id.operator->()) create_root();
  guard.commit();
}

void EndpointRegistry::orb_destroyed(const char* orb_name) {
  QZ_RecursiveMutexLock lock(m_mutex);
  QZ_PSS::in_transaction(m_tx_current, m_session_manager, [&](QZ_PSS::TxSessionAssociation& association) {
    QZ_Vector<CORBA::OctetSeq> owned;
    walk(association, m_home_type_id, [&](const NamespaceData& data) {
      if (data.persistent() && data.orb() == orb_name) owned.push_back(data.ep_id());
    });
    NamespaceHome& namespace_home = home(association);
    for (const CORBA::OctetSeq& id : owned) {
      const NamespaceDataRef data = namespace_home.find_if_any(id);
      if (data.is_nil()) continue;  // went with an entry above it
      Endpoint(*this, id).impl_remove_from_parent(data);
      Endpoint::impl_destroy(*this, id, namespace_home);
    }
  });
}

NamespaceHome& EndpointRegistry::home(QZ_PSS::TxSessionAssociation& association) const {
  auto* narrowed = NamespaceHome::_narrow(association.find_storage_home(m_home_type_id.c_str()));
  if (!narrowed) throw CORBA::INTERNAL(MINOR_NO_HOME, CORBA::COMPLETED_NO);
  return *narrowed;
}

void EndpointRegistry::register_home() {
  try {
    QZ_PSS::TxSessionAssociation association(m_session_manager, QZ_PSS::READ_ONLY);
    home(association);
  } catch (const CosPersistentState::NotFound&) {
    QZ_PSS::register_home<NamespaceHome>(m_session_manager, m_home_type_id);
  }
}

void EndpointRegistry::create_root() {
  const CORBA::OctetSeq_var id = EndpointIdUtils::id_from_fqpn(QZ_POAIMRAdmin::FullyQualifiedName());
  QZ_PSS::in_transaction(m_tx_current, m_session_manager, [&](QZ_PSS::TxSessionAssociation& association) {
    NamespaceHome& namespace_home = home(association);
    if (namespace_home.find_if_any(id).is_nil()) {
      namespace_home.create_transient(id, "", NamespaceDataRef(), true);
      association.session().flush();
    }
  });
}

void EndpointRegistry::require_host_orb(const char* orb_name) {
  const QZ_IMRInternal::IMR_var imr = m_locator.impl_locator_nc()->imr();
  const QZ_IMRInternal::ORBRegistry_var orbs = imr->orb_registry();
  QZ_IMRInternal::ORB_var orb = orbs->find(orb_name);
  if (CORBA::is_nil(orb)) orb = orbs->add(orb_name);
}
