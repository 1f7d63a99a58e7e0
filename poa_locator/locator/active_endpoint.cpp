#include "poa_locator/locator/active_endpoint.h"

#include <utility>

#include "platform/orb/exception_text.h"
#include "platform/orb/ref_counted_local_object.h"
#include "platform/pss/transaction_guard.h"
#include "poa_locator/imr/endpoint_id_utils.h"
#include "poa_locator/imr/endpoint_registry.h"
#include "poa_locator/imr/poa_imr_impl.h"
#include "poa_locator/interceptors/endpoint_interceptor.h"
#include "poa_locator/locator/active_endpoint_mirror.h"
#include "poa_locator/locator/active_endpoint_registry.h"
#include "poa_locator/locator/active_endpoint_rep.h"
#include "poa_locator/locator/poa_active_orb_registry.h"
#include "poa_locator/locator/request_response_thread.h"
#include "poa_locator/locator/restored_endpoint.h"
#include "poa_locator/locator/server_call.h"
#include "poa_locator/plugin/event_report.h"
#include "poa_locator/plugin/minor_codes.h"
#include "poa_locator/plugin/poa_loc_event_msg.h"
#include "poa_locator/plugin/poa_locator_impl.h"

using QZ_POA_PersistentServer::EndpointDynamicState;
using ServerRegistry = QZ_POA_PersistentServer::EndpointRegistry;

namespace {

CORBA::TRANSIENT destroyed() {
  return CORBA::TRANSIENT(MINOR_ENDPOINT_DESTROYED, CORBA::COMPLETED_NO);
}

CORBA::OBJECT_NOT_EXIST mirror_lost() {
  return CORBA::OBJECT_NOT_EXIST(MINOR_NO_MIRROR, CORBA::COMPLETED_NO);
}

}  // namespace

ActiveEndpointRep::ActiveEndpointRep(POALocatorImpl& core, const CORBA::OctetSeq& endpoint_id)
    : locator(core), id(endpoint_id) {
  full_name();  // raises before anything is done for an id that cannot be reported later
}

QZ_String ActiveEndpointRep::full_name() const {
  return EndpointIdUtils::id_to_fqpn_string(id);
}

ActiveEndpoint::ActiveEndpoint() = default;
ActiveEndpoint::ActiveEndpoint(const ActiveEndpoint& other) = default;
ActiveEndpoint::ActiveEndpoint(ActiveEndpoint&& other) noexcept = default;
ActiveEndpoint& ActiveEndpoint::operator=(const ActiveEndpoint& other) = default;
ActiveEndpoint& ActiveEndpoint::operator=(ActiveEndpoint&& other) noexcept = default;
ActiveEndpoint::~ActiveEndpoint() = default;

ActiveEndpoint::ActiveEndpoint(POALocatorImpl& locator, const CORBA::OctetSeq& id, const char* orb_name)
    : m_rep(new ActiveEndpointRep(locator, id)) {
  EndpointRegistry& repository = locator.impl_poa_imr().impl_endpoint_registry();
  const Endpoint entry = repository.find(id);
  if (!entry.is_null() && entry.persistent()) {
    const QZ_String owner = entry.orb_name();
    if (!owner.empty() && owner != orb_name) throw ServerRegistry::InvalidOrbName(orb_name);
  } else {
    repository.on_demand_create(id, orb_name);
  }
  bool mirrored = false;
  try {
    join_orb(orb_name, true);
    mirrored = true;
    create_mirror(orb_name);
    install_interceptor();
  } catch (...) {
    undo_construction(mirrored);
    throw;
  }
}

ActiveEndpoint::ActiveEndpoint(POALocatorImpl& locator, const CORBA::OctetSeq& id)
    : m_rep(new ActiveEndpointRep(locator, id)) {
  const Endpoint entry = locator.impl_poa_imr().impl_endpoint_registry().find(id);
  if (entry.is_null() || !entry.persistent()) throw CORBA::OBJECT_NOT_EXIST(MINOR_NOT_PERSISTENT, CORBA::COMPLETED_NO);
  const QZ_String orb_name = entry.orb_name();
  bool mirrored = false;
  try {
    if (!orb_name.empty()) join_orb(orb_name, false);
    mirrored = true;
    create_mirror(orb_name);
    try {
      install_interceptor();
    } catch (const CORBA::SystemException& ex) {
      report(locator.impl_event_log(), POALocEvent::ACTIVE_ENDPOINT_INTERCEPTOR_CREATE, QZ_Logging::ERROR_PRIORITY,
             ACTIVE_ENDPOINT_INTERCEPTOR_CREATE_MSG, {m_rep->full_name().c_str(), QZ_CORBA::to_string(ex).c_str()});
      throw;
    }
  } catch (...) {
    undo_construction(mirrored);
    throw;
  }
}

ActiveEndpoint::ActiveEndpoint(POALocatorImpl& locator, RestoredEndpoint restored) : m_rep(std::move(restored.body)) {
  try {
    if (!restored.orb_name.empty()) join_orb(restored.orb_name, false);
    install_interceptor();
  } catch (...) {
    undo_construction(false);
    throw;
  }
  report(locator.impl_event_log(), POALocEvent::ACTIVE_ENDPOINT_LOAD, QZ_Logging::INFORMATION, ACTIVE_ENDPOINT_LOAD_MSG,
         {m_rep->full_name().c_str()});
}

void ActiveEndpoint::join_orb(const QZ_String& orb_name, bool running) {
  // A record that is just being destroyed takes nobody, and has left the table when it says so.
  for (int attempt = 0; attempt < 3; ++attempt) {
    m_rep->active_orb = m_rep->locator.impl_poa_active_orb_registry().find_or_create(orb_name.c_str(), running);
    if (m_rep->active_orb->impl_add_active_endpoint(*this)) return;
    m_rep->active_orb = {};
  }
  throw destroyed();
}

void ActiveEndpoint::create_mirror(const QZ_String& orb_name) {
  const auto report_failure = [this](QZ_Logging::EventId id, const char* text) {
    report(m_rep->locator.impl_event_log(), id, QZ_Logging::ERROR_PRIORITY, text, {m_rep->full_name().c_str()});
  };
  try {
    if (!ActiveEndpointMirror(m_rep->locator, m_rep->id).create(orb_name.c_str()))
      report_failure(POALocEvent::ACTIVE_ENDPOINT_PERSIS_DATA_EXISTS, ACTIVE_ENDPOINT_PERSIS_DATA_EXISTS_MSG);
  } catch (const CORBA::Exception&) {
    report_failure(POALocEvent::ACTIVE_ENDPOINT_PERSIS_DATA_FAILED, ACTIVE_ENDPOINT_PERSIS_DATA_FAILED_MSG);
  }
}

void ActiveEndpoint::install_interceptor() {
  QZ_Binding::ServerRequestInterceptor_var interceptor = new EndpointInterceptor(m_rep->locator, *this);
  QZ_MutexLock lock(m_rep->mutex);
  m_rep->server_binding = m_rep->requests.bind(m_rep->locator.impl_binding_manager_nc(), m_rep->id, interceptor);
}

void ActiveEndpoint::undo_construction(bool with_mirror) noexcept {
  try {
    release_binding();
    if (!m_rep->active_orb.is_null()) m_rep->active_orb->impl_remove_active_endpoint(*this);
    if (with_mirror) destroy_persistent_data();
  } catch (...) {
    // The exception that ended the construction is the one to tell.
  }
  m_rep->requests.end(destroyed());
}

void ActiveEndpoint::release_binding() {
  QZ_Binding::ServerBinding_var binding;
  {
    QZ_MutexLock lock(m_rep->mutex);
    binding = m_rep->server_binding._retn();
  }
  if (!CORBA::is_nil(binding)) binding->destroy();
}

bool ActiveEndpoint::is_null() const {
  return m_rep.is_null();
}

bool ActiveEndpoint::same_as(const ActiveEndpoint& other) const {
  return m_rep.operator->() == other.m_rep.operator->();
}

const CORBA::OctetSeq& ActiveEndpoint::id() const {
  return m_rep->id;
}

QZ_String ActiveEndpoint::name() const {
  QZ_POAIMRAdmin::FullyQualifiedName_var names = full_name();
  const CORBA::ULong count = names->length();
  return count == 0 ? QZ_String() : QZ_String(names[count - 1].in());
}

QZ_POAIMRAdmin::FullyQualifiedName* ActiveEndpoint::full_name() const {
  return EndpointIdUtils::id_to_fqpn(m_rep->id);
}

Endpoint ActiveEndpoint::endpoint() const {
  return m_rep->locator.impl_poa_imr().impl_endpoint_registry().find(m_rep->id);
}

POAActiveORBImpl* ActiveEndpoint::orb() const {
  if (!m_rep->active_orb.is_null()) m_rep->active_orb->_qz_add_ref();
  return m_rep->active_orb.get();
}

QZ_POALocatorAdmin::ActivePOA_ptr ActiveEndpoint::external_reference() const {
  const CORBA::OctetSeq& id = m_rep->id;
  const PortableServer::ObjectId object_id(id.length(), id.length(), const_cast<CORBA::Octet*>(id.get_buffer()), false);
  CORBA::Object_var object = m_rep->locator.impl_active_endpoint_poa_nc()->create_reference_with_id(
      object_id, QZ_POALocatorAdmin::ActivePOA::_PD_repoId);
  return QZ_POALocatorAdmin::ActivePOA::_unchecked_narrow(object);
}

bool ActiveEndpoint::is_dynamic_state_set() const {
  return m_rep->requests.is_running();
}

QZ_POA_PersistentServer::EndpointDynamicState_ptr ActiveEndpoint::dynamic_state() const {
  return m_rep->requests.dynamic_state();
}

bool ActiveEndpoint::server_answers(unsigned long milliseconds) const {
  try {
    const QZ_POA_PersistentServer::EndpointDynamicState_var state = dynamic_state();
    return answers(state, milliseconds);
  } catch (const CORBA::SystemException&) {
    return false;
  }
}

bool ActiveEndpoint::has_ended() const {
  QZ_MutexLock lock(m_rep->mutex);
  return m_rep->requests.has_ended();
}

std::size_t ActiveEndpoint::number_of_pending_requests() const {
  return m_rep->requests.number_of_pending();
}

void ActiveEndpoint::handle_request(RequestInfoBase& request) {
  m_rep->requests.handle(request, m_rep->id);
}

void ActiveEndpoint::activate() {
  {
    QZ_MutexLock lock(m_rep->mutex);
    if (m_rep->active_orb.is_null()) throw CORBA::TRANSIENT(MINOR_NOT_STARTABLE, CORBA::COMPLETED_NO);
    if (m_rep->requests.is_running()) return;
  }
  m_rep->active_orb->impl_activate(*this);
}

void ActiveEndpoint::set_dynamic_state(QZ_POA_PersistentServer::EndpointDynamicState_ptr state, QZ_IOR::IOR_ptr ior,
                                       const std::function<void()>& also_write) {
  if (CORBA::is_nil(ior)) throw CORBA::BAD_PARAM(MINOR_NIL_REFERENCE, CORBA::COMPLETED_NO);
  QZ_MutexLock lock(m_rep->mutex);
  if (m_rep->requests.has_ended()) throw mirror_lost();
  if (m_rep->requests.is_running()) throw ServerRegistry::EntryAlreadyExists(m_rep->id);
  CORBA::OctetSeq_var key;
  const QZ_IOR::IOREndpoint_var ior_endpoint = ior->split(key.out());
  // A request that is forwarded must find the same after a restart, so the record comes first.
  QZ_PSS::TransactionGuard guard(m_rep->locator.impl_tx_current_nc());
  write_mirror(state, ior_endpoint);
  also_write();
  try {
    guard.commit();
  } catch (const CORBA::Exception&) {
    throw mirror_lost();
  }
  RequestResponseThread::answer(m_rep->locator, *this,
                                m_rep->requests.publish(QZ_CORBA::PackedReference(state), ior_endpoint));
}

void ActiveEndpoint::clear_dynamic_state() {
  QZ_MutexLock lock(m_rep->mutex);
  m_rep->requests.withdraw();
  update_persis_data();
}

void ActiveEndpoint::update_persis_data() {
  const QZ_POA_PersistentServer::EndpointDynamicState_var state = m_rep->requests.dynamic_state();
  const QZ_IOR::IOREndpoint_var ior_endpoint = m_rep->requests.ior_endpoint();
  write_mirror(state, ior_endpoint);
}

void ActiveEndpoint::write_mirror(QZ_POA_PersistentServer::EndpointDynamicState_ptr state,
                                  QZ_IOR::IOREndpoint_ptr ior_endpoint) {
  try {
    CORBA::Object_var reference;
    if (!CORBA::is_nil(ior_endpoint)) {
      const QZ_IOR::IOR_var ior = ior_endpoint->make_ior(CORBA::OctetSeq(), "");
      reference = m_rep->locator.impl_binding_manager_nc()->ior_to_object(ior);
    }
    ActiveEndpointMirror(m_rep->locator, m_rep->id).update(state, reference);
  } catch (const CORBA::Exception&) {
    throw mirror_lost();
  }
}

void ActiveEndpoint::destroy_persistent_data(POALocatorImpl& locator,
                                             const QZ_Vector<ActiveEndpoint>& endpoints) noexcept {
  if (endpoints.empty()) return;
  try {
    QZ_Vector<CORBA::OctetSeq> ids;
    for (const ActiveEndpoint& endpoint : endpoints) ids.push_back(endpoint.id());
    const QZ_Vector<bool> removed = ActiveEndpointMirror::destroy_all(locator, ids);
    for (std::size_t i = 0; i < removed.size(); ++i) endpoints[i].m_rep->mirror_removed = removed[i];
  } catch (...) {
    // Nothing has been removed; each endpoint tries for itself and reports what happens.
  }
}

bool ActiveEndpoint::has_lost_mirror() {
  return ActiveEndpointMirror(m_rep->locator, m_rep->id).is_missing();
}

void ActiveEndpoint::destroy_persistent_data() {
  if (m_rep->mirror_removed.exchange(false)) return;
  QZ_Logging::EventLog_ptr log = m_rep->locator.impl_event_log();
  const QZ_String name = m_rep->full_name();
  try {
    ActiveEndpointMirror(m_rep->locator, m_rep->id).destroy();
  } catch (const CosPersistentState::NotFound&) {
    report(log, POALocEvent::ACTIVE_ENDPOINT_DESTROY_NO_PERSIS_DATA, QZ_Logging::WARNING,
           ACTIVE_ENDPOINT_DESTROY_NO_PERSIS_DATA_MSG, {name.c_str()});
  } catch (const CORBA::SystemException& ex) {
    report(log, POALocEvent::ACTIVE_ENDPOINT_REMOVE_PERSIS_DATA_FAILED, QZ_Logging::ERROR_PRIORITY,
           ACTIVE_ENDPOINT_REMOVE_PERSIS_DATA_FAILED_MSG, {name.c_str(), QZ_CORBA::to_string(ex).c_str()});
  }
}

void ActiveEndpoint::clear_pending_requests(const CORBA::SystemException& outcome) {
  QZ_MutexLock lock(m_rep->mutex);
  m_rep->requests.fail_pending(outcome);
}

void ActiveEndpoint::destroy() {
  end(destroyed(), false);
}

bool ActiveEndpoint::destroy_unless_running(const CORBA::SystemException& outcome) {
  return end(outcome, true);
}

// Leaving the ORB may destroy it, which needs its mutex, and that comes before the endpoint's.
bool ActiveEndpoint::end(const CORBA::SystemException& outcome, bool unless_running) {
  if (m_rep->active_orb.is_null()) return end_with_orb_locked(outcome, unless_running);
  QZ_RecursiveMutexLock lock(m_rep->active_orb->impl_mutex());
  return end_with_orb_locked(outcome, unless_running);
}

bool ActiveEndpoint::end_with_orb_locked(const CORBA::SystemException& outcome, bool unless_running) {
  QZ_MutexLock lock(m_rep->mutex);
  if (unless_running && m_rep->requests.is_running()) return false;
  QZ_Logging::EventLog_ptr log = m_rep->locator.impl_event_log();
  const QZ_String name = m_rep->full_name();
  // Each step is done even if one before it failed: half a record would be in everybody's way.
  const auto step = [&](const auto& work) {
    try {
      work();
    } catch (...) {
      report(log, POALocEvent::ACTIVE_ENDPOINT_DESTROY_FAILED, QZ_Logging::ERROR_PRIORITY,
             ACTIVE_ENDPOINT_DESTROY_FAILED_MSG, {name.c_str()});
    }
  };
  report(log, POALocEvent::ACTIVE_ENDPOINT_DESTROY, QZ_Logging::INFORMATION, ACTIVE_ENDPOINT_DESTROY_MSG,
         {name.c_str()});
  // First of all: once the endpoint has left the table a successor may come and take the same key prefix.
  const QZ_Binding::ServerBinding_var binding = m_rep->server_binding._retn();
  if (!CORBA::is_nil(binding)) step([&] { binding->destroy(); });
  step([&] { m_rep->locator.impl_active_endpoint_registry().remove(*this); });
  if (!m_rep->active_orb.is_null()) step([&] { m_rep->active_orb->impl_remove_active_endpoint(*this); });
  m_rep->requests.end(outcome);
  return true;
}

void ActiveEndpoint::detach() {
  release_binding();
  m_rep->requests.end(destroyed());
}

CORBA::Boolean ActiveEndpoint::validate() const {
  const bool valid = m_rep->requests.is_running();
  report(m_rep->locator.impl_event_log(),
         valid ? POALocEvent::ACTIVE_ENDPOINT_VALID : POALocEvent::ACTIVE_ENDPOINT_INVALID, QZ_Logging::INFORMATION,
         valid ? ACTIVE_ENDPOINT_VALID_MSG : ACTIVE_ENDPOINT_INVALID_MSG, {m_rep->full_name().c_str()});
  return valid;
}
