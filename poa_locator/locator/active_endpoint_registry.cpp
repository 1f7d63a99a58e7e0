#include "poa_locator/locator/active_endpoint_registry.h"

#include <cstring>
#include <exception>
#include <functional>
#include <future>
#include <utility>

#include "platform/base/ref_count_handle.h"
#include "platform/pss/result_set.h"
#include "platform/pss/statement.h"
#include "poa_locator/idl/home_configuration.h"
#include "poa_locator/imr/endpoint_id_utils.h"
#include "poa_locator/imr/endpoint_registry.h"
#include "poa_locator/imr/poa_imr_impl.h"
#include "poa_locator/locator/poa_active_orb_registry.h"
#include "poa_locator/locator/restored_endpoint.h"
#include "poa_locator/plugin/event_report.h"
#include "poa_locator/plugin/minor_codes.h"
#include "poa_locator/plugin/poa_loc_event_msg.h"
#include "poa_locator/plugin/poa_locator_impl.h"

using QZ_PoaLocatorStore::ActiveEndpointDataRef;
using QZ_PoaLocatorStore::ActiveEndpointHome;

namespace {

// An id of which the repository knows nothing is left to ActiveEndpoint's constructor.
bool can_be_activated(POALocatorImpl& locator, const CORBA::OctetSeq& id) {
  const Endpoint entry = locator.impl_poa_imr().impl_endpoint_registry().find(id);
  if (entry.is_null() || !entry.persistent()) return true;
  const QZ_String orb_name = entry.orb_name();
  return !orb_name.empty() && locator.impl_poa_active_orb_registry().can_activate(orb_name.c_str());
}

constexpr std::size_t READ_AHEAD = ActiveEndpointRegistry::READ_AHEAD;

struct Batch {
  QZ_Vector<RestoredEndpoint> endpoints;
  std::exception_ptr failure;  // of the one after them
};

// The next ones, fewer than READ_AHEAD only at the end or before a failure.
Batch read_batch(POALocatorImpl& locator, QZ_PSS::ResultSet& rows) {
  Batch batch;
  batch.endpoints.reserve(READ_AHEAD);
  try {
    while (batch.endpoints.size() < READ_AHEAD && rows.next())
      batch.endpoints.emplace_back(locator, ActiveEndpointDataRef::from_row(rows).deref());
  } catch (...) {
    batch.failure = std::current_exception();
  }
  return batch;
}

}  // namespace

ActiveEndpointRegistry::ActiveEndpointRegistry(POALocatorImpl& locator)
    : m_locator(locator), m_home_type_id(configured_home_type_id<ActiveEndpointHome>(locator.impl_config_nc())) {
  QZ_PSS::register_home<ActiveEndpointHome>(locator.impl_session_manager_nc(), m_home_type_id);
}

ActiveEndpointRegistry::~ActiveEndpointRegistry() {
  for (ActiveEndpoint& endpoint : list()) endpoint.detach();
}

ActiveEndpoint ActiveEndpointRegistry::create(POALocatorImpl& locator, const CORBA::OctetSeq& id) {
  ActiveEndpoint endpoint = find(id);
  if (!endpoint.is_null()) return endpoint;
  {
    QZ_MutexLock creation(m_creation_mutex);
    endpoint = find(id);
    if (!endpoint.is_null()) return endpoint;
    // The record would be destroyed again at once, and each request for it cost the store four commits.
    if (!can_be_activated(locator, id)) throw CORBA::TRANSIENT(MINOR_NOT_STARTABLE, CORBA::COMPLETED_NO);
    endpoint = ActiveEndpoint(locator, id);
    put_in_place(endpoint);
  }
  // Nobody would activate the record later, so whoever waited for it would wait for ever.
  const auto give_up = [&endpoint](const CORBA::SystemException& outcome) {
    endpoint.clear_pending_requests(outcome);
    if (!endpoint.has_ended()) endpoint.destroy_unless_running(outcome);
  };
  try {
    endpoint.activate();
  } catch (const CORBA::SystemException& ex) {
    give_up(ex);
    throw;
  } catch (...) {
    give_up(CORBA::UNKNOWN(MINOR_LOCATOR_UNKNOWN, CORBA::COMPLETED_NO));
    throw;
  }
  return endpoint;
}

ActiveEndpoint ActiveEndpointRegistry::create(POALocatorImpl& locator, const CORBA::OctetSeq& id,
                                              const char* orb_name) {
  QZ_MutexLock creation(m_creation_mutex);
  ActiveEndpoint endpoint = find(id);
  if (endpoint.is_null()) {
    endpoint = ActiveEndpoint(locator, id, orb_name);
    put_in_place(endpoint);
    return endpoint;
  }
  const RefCountHandle<POAActiveORBImpl> orb(endpoint.orb());
  if (!orb.is_null() && std::strcmp(orb->impl_name(), orb_name) != 0)
    throw QZ_POA_PersistentServer::EndpointRegistry::InvalidOrbName(orb_name);
  return endpoint;
}

void ActiveEndpointRegistry::put_in_place(ActiveEndpoint& endpoint) {
  {
    QZ_MutexLock lock(m_mutex);
    impl_insert(endpoint);
  }
  // Its ORB, which has it since it was constructed, may have been destroyed meanwhile, and the endpoint with it. That
  // is over when has_ended says so, so what remains is to take it out again.
  if (endpoint.has_ended()) {
    endpoint.destroy();
    throw CORBA::TRANSIENT(MINOR_ENDPOINT_DESTROYED, CORBA::COMPLETED_NO);
  }
}

ActiveEndpoint ActiveEndpointRegistry::find(const CORBA::OctetSeq& id) {
  QZ_MutexLock lock(m_mutex);
  return impl_find(id);
}

ActiveEndpoint ActiveEndpointRegistry::find(const QZ_POAIMRAdmin::FullyQualifiedName& name) {
  const CORBA::OctetSeq_var id = EndpointIdUtils::id_from_fqpn(name);
  return find(id.in());
}

CORBA::ULong ActiveEndpointRegistry::number_of_entries() {
  QZ_MutexLock lock(m_mutex);
  return static_cast<CORBA::ULong>(m_table.size());
}

QZ_Vector<ActiveEndpoint> ActiveEndpointRegistry::list() {
  QZ_MutexLock lock(m_mutex);
  return m_table.list();
}

void ActiveEndpointRegistry::remove(ActiveEndpoint& endpoint) {
  QZ_MutexLock lock(m_mutex);
  const ActiveEndpoint entry = impl_find(endpoint.id());
  if (!entry.is_null() && entry.same_as(endpoint)) {
    m_table.erase(endpoint.id());
  } else {
    report(m_locator.impl_event_log(), POALocEvent::ACTIVE_ENDPOINT_TABLE_REMOVE_FAILED, QZ_Logging::WARNING,
           ACTIVE_ENDPOINT_TABLE_REMOVE_FAILED_MSG,
           {EndpointIdUtils::id_to_string(endpoint.id()).c_str(),
            EndpointIdUtils::id_to_fqpn_string(endpoint.id()).c_str()});
    if (!entry.is_null()) return;
  }
  endpoint.destroy_persistent_data();
}

void ActiveEndpointRegistry::load() {
  QZ_PSS::TxSessionAssociation association(m_locator.impl_session_manager_nc(), QZ_PSS::READ_ONLY);
  if (!ActiveEndpointHome::_narrow(association.find_storage_home(home_type_id())))
    throw CORBA::INTERNAL(0, CORBA::COMPLETED_NO);
  QZ_PSS::Statement statement(association.session());
  const auto rows = statement.execute(home_query(m_home_type_id));
  // Reading takes about as long as restoring, so it runs ahead by one batch. It has the association to itself.
  const auto read_on = [&] { return std::async(std::launch::async, read_batch, std::ref(m_locator), std::ref(*rows)); };
  std::future<Batch> reading = read_on();
  for (bool more = true; more;) {
    Batch batch = reading.get();
    more = batch.endpoints.size() == READ_AHEAD && !batch.failure;
    if (more) reading = read_on();
    for (RestoredEndpoint& restored : batch.endpoints) {
      const ActiveEndpoint endpoint(m_locator, std::move(restored));
      QZ_MutexLock lock(m_mutex);
      impl_insert(endpoint);
    }
    if (batch.failure) std::rethrow_exception(batch.failure);
  }
}

void ActiveEndpointRegistry::validate() {
  QZ_AppServices::ServiceControlManager_ptr supervisor = m_locator.impl_service_control_manager_nc();
  // A long table must not make the daemon look hung.
  const auto still_working = [supervisor] { supervisor->status(QZ_AppServices::STATUS_WORKING); };
  QZ_Vector<ActiveEndpoint> invalid;
  for (ActiveEndpoint& endpoint : list()) {
    still_working();
    if (!endpoint.validate()) invalid.push_back(endpoint);
  }
  for (ActiveEndpoint& endpoint : invalid) {
    still_working();
    endpoint.destroy();
  }
}

void ActiveEndpointRegistry::impl_insert(const ActiveEndpoint& endpoint) {
  m_table.insert(endpoint);
}

ActiveEndpoint ActiveEndpointRegistry::impl_find(const CORBA::OctetSeq& id) {
  const ActiveEndpoint* entry = m_table.find(id);
  return entry ? *entry : ActiveEndpoint();
}
