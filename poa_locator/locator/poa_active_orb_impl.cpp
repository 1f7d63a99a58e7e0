#include "poa_locator/locator/poa_active_orb_impl.h"

#include <chrono>

#include "platform/orb/exception_text.h"
#include "poa_locator/imr/endpoint_id_utils.h"
#include "poa_locator/locator/endpoint_activator_thread.h"
#include "poa_locator/locator/poa_active_orb_mirror.h"
#include "poa_locator/locator/poa_active_orb_registry.h"
#include "poa_locator/locator/server_call.h"
#include "poa_locator/plugin/event_report.h"
#include "poa_locator/plugin/gate_pass.h"
#include "poa_locator/plugin/minor_codes.h"
#include "poa_locator/plugin/poa_loc_event_msg.h"
#include "poa_locator/plugin/poa_locator_impl.h"

using QZ_Logging::ERROR_PRIORITY;
using QZ_Logging::INFORMATION;
using QZ_Logging::WARNING;
using QZ_POA_PersistentServer::EndpointActivator;
using QZ_POA_PersistentServer::EndpointActivator_var;
using QZ_POA_PersistentServer::EndpointDynamicState_var;

namespace {

QZ_String printable(const CORBA::OctetSeq& id) {
  return EndpointIdUtils::id_to_fqpn_string(id);
}

}  // namespace

POAActiveORBImpl::POAActiveORBImpl(POALocatorImpl& locator, const char* name,
                                   QZ_POA_PersistentServer::EndpointActivator_ptr endpoint_activator)
    : m_locator(locator),
      m_gate(locator.impl_gate()),
      m_name(name),
      m_endpoint_activator(EndpointActivator::_duplicate(endpoint_activator)) {}

POAActiveORBImpl::POAActiveORBImpl(POALocatorImpl& locator, QZ_PoaLocatorStore::PoaActiveOrbDataRef& data)
    : POAActiveORBImpl(locator, data->name().c_str(), EndpointActivator_var(data->endpoint_activator())) {
  const QZ_PoaLocatorStore::EndpointIdList endpoints = data->endpoints();
  QZ_RecursiveMutexLock lock(m_mutex);
  for (CORBA::ULong i = 0; i < endpoints.length(); ++i) await_activation(endpoints[i]);
}

QZ_IMRInternal::ORB_ptr POAActiveORBImpl::impl_imr_orb(POALocatorImpl& locator, const char* name) {
  const QZ_IMRInternal::IMR_var imr = locator.impl_locator_nc()->imr();
  const QZ_IMRInternal::ORBRegistry_var orbs = imr->orb_registry();
  return orbs->find(name);
}

void POAActiveORBImpl::impl_construct(bool running) {
  QZ_RecursiveMutexLock lock(m_mutex);
  try {
    m_imr_orb = impl_imr_orb(m_locator, impl_name());
    if (CORBA::is_nil(m_imr_orb)) return;
    const QZ_IMRInternal::Process_var process = m_imr_orb->get_process();
    if (CORBA::is_nil(process)) return;
    const CORBA::String_var process_name = process->name();
    const QZ_LocatorInternal::ActiveProcessRegistry_var processes =
        m_locator.impl_locator_nc()->active_process_registry();
    QZ_LocatorInternal::ActiveProcess_var active = processes->find(process_name);
    if (CORBA::is_nil(active)) active = processes->create(process, running);
    active->add_orb(this);
    m_active_process = active;
  } catch (const CORBA::Exception& ex) {
    report(m_locator.impl_event_log(), POALocEvent::ACTIVE_ORB_CONSTRUCT_FAILED, ERROR_PRIORITY,
           ACTIVE_ORB_CONSTRUCT_FAILED_MSG, {impl_name(), QZ_CORBA::to_string(ex).c_str()});
    throw CORBA::INTERNAL(MINOR_NO_PROCESS_RECORD, CORBA::COMPLETED_NO);
  }
}

void POAActiveORBImpl::impl_add_to_persistent_store() {
  QZ_RecursiveMutexLock lock(m_mutex);
  write_mirror(m_endpoint_activator);
}

void POAActiveORBImpl::impl_withdraw() {
  QZ_RecursiveMutexLock lock(m_mutex);
  leave_process();
  impl_detach();
}

void POAActiveORBImpl::write_mirror(QZ_POA_PersistentServer::EndpointActivator_ptr endpoint_activator) {
  CORBA::String_var process_name = CORBA::string_dup("");
  if (!CORBA::is_nil(m_active_process)) process_name = m_active_process->name();
  PoaActiveOrbMirror(m_locator, m_name).write(process_name, endpoint_activator);
}

void POAActiveORBImpl::leave_process() {
  const QZ_LocatorInternal::ActiveProcess_var process = m_active_process._retn();
  if (!CORBA::is_nil(process)) process->remove_orb(impl_name());
}

CORBA::ORB_ptr POAActiveORBImpl::_qz_get_orb() {
  const GatePass pass(m_gate);
  return pass ? m_locator._qz_get_orb() : CORBA::ORB::_nil();
}

char* POAActiveORBImpl::name() {
  return CORBA::string_dup(impl_name());
}

QZ_LocationCommon::ORBInfo* POAActiveORBImpl::orb_info() {
  return impl_orb_info_nc();
}

QZ_LocationCommon::ORBInfo* POAActiveORBImpl::impl_orb_info_nc() {
  QZ_RecursiveMutexLock lock(m_mutex);
  if (!CORBA::is_nil(m_imr_orb)) return m_imr_orb->info();
  QZ_LocationCommon::ORBInfo_var info = new QZ_LocationCommon::ORBInfo;
  info->name = CORBA::string_dup(impl_name());
  info->process = CORBA::string_dup("");
  return info._retn();
}

QZ_LocatorInternal::ActiveProcess_ptr POAActiveORBImpl::process() {
  return impl_process_nc();
}

QZ_LocatorInternal::ActiveProcess_ptr POAActiveORBImpl::impl_process_nc() {
  QZ_RecursiveMutexLock lock(m_mutex);
  return QZ_LocatorInternal::ActiveProcess::_duplicate(m_active_process);
}

void POAActiveORBImpl::process_died() {
  const GatePass pass(m_gate);
  if (!pass) return;
  QZ_MutexLock lock(m_locator.impl_mutex());
  impl_process_died();
}

void POAActiveORBImpl::impl_process_died() {
  impl_destroy();
}

QZ_LocatorAdmin::ActiveORB_ptr POAActiveORBImpl::external_reference() {
  const GatePass pass(m_gate);
  if (!pass) throw CORBA::OBJECT_NOT_EXIST(MINOR_NO_ACTIVE_ORB, CORBA::COMPLETED_NO);
  return impl_external_reference();
}

QZ_POALocatorAdmin::POAActiveORB_ptr POAActiveORBImpl::impl_external_reference() {
  const PortableServer::ObjectId_var id = PortableServer::string_to_ObjectId(impl_name());
  const CORBA::Object_var object = m_locator.impl_poa_active_orb_poa_nc()->create_reference_with_id(
      id, QZ_POALocatorAdmin::POAActiveORB::_PD_repoId);
  return QZ_POALocatorAdmin::POAActiveORB::_unchecked_narrow(object);
}

CORBA::Boolean POAActiveORBImpl::validate() {
  const GatePass pass(m_gate);
  return pass ? impl_validate() : false;
}

CORBA::Boolean POAActiveORBImpl::impl_validate() {
  QZ_RecursiveMutexLock lock(m_mutex);
  const bool valid = !CORBA::is_nil(m_endpoint_activator) ||
                     m_endpoints.any_of([](const ActiveEndpoint& endpoint) { return endpoint.validate(); });
  report(m_locator.impl_event_log(), valid ? POALocEvent::ACTIVE_ORB_VALID : POALocEvent::ACTIVE_ORB_INVALID,
         INFORMATION, valid ? ACTIVE_ORB_VALID_MSG : ACTIVE_ORB_INVALID_MSG, {impl_name()});
  return valid;
}

CORBA::Boolean POAActiveORBImpl::probe() {
  const GatePass pass(m_gate);
  if (!pass) return true;
  EndpointActivator_var activator;
  QZ_Vector<ActiveEndpoint> endpoints;
  {
    QZ_RecursiveMutexLock lock(m_mutex);
    activator = EndpointActivator::_duplicate(m_endpoint_activator);
    endpoints = impl_endpoints();
  }
  const std::chrono::milliseconds limit(m_locator.impl_probe_time_limit());
  if (!CORBA::is_nil(activator)) {
    if (answers(activator, m_locator.impl_probe_time_limit())) return true;
    // One that has been replaced while it was asked says nothing of the server that runs now.
    QZ_RecursiveMutexLock lock(m_mutex);
    return m_endpoint_activator.in() != activator.in();
  }

  // One endpoint that answers is enough. The limit holds for all of them together.
  const auto deadline = std::chrono::steady_clock::now() + limit;
  bool asked = false;
  for (const ActiveEndpoint& endpoint : endpoints) {
    if (endpoint.server_answers(m_locator.impl_probe_time_limit()) || endpoint.has_ended()) return true;
    if (!endpoint.is_dynamic_state_set()) continue;
    asked = true;
    if (std::chrono::steady_clock::now() >= deadline) break;
  }
  return !asked;
}

CORBA::Boolean POAActiveORBImpl::registered() {
  QZ_RecursiveMutexLock lock(m_mutex);
  if (!CORBA::is_nil(m_endpoint_activator)) return true;
  return m_endpoints.any_of([](const ActiveEndpoint& endpoint) { return endpoint.is_dynamic_state_set(); });
}

CORBA::Boolean POAActiveORBImpl::activator_held() {
  QZ_RecursiveMutexLock lock(m_mutex);
  return !CORBA::is_nil(m_endpoint_activator);
}

CORBA::ULong POAActiveORBImpl::number_of_poas() {
  QZ_RecursiveMutexLock lock(m_mutex);
  return static_cast<CORBA::ULong>(m_endpoints.size());
}

void POAActiveORBImpl::destroy() {
  const GatePass pass(m_gate);
  if (pass) impl_destroy();
}

void POAActiveORBImpl::impl_destroy() {
  QZ_RecursiveMutexLock lock(m_mutex);
  if (m_destroying) return;
  m_destroying = true;
  m_endpoint_activator = EndpointActivator::_nil();
  m_awaiting_activation.clear();
  QZ_Logging::EventLog_ptr log = m_locator.impl_event_log();
  // Each step is done even if one before it failed: half a record would be in everybody's way.
  const auto step = [&](const auto& work) {
    try {
      work();
    } catch (...) {
      report(log, POALocEvent::ACTIVE_ORB_DESTROY_FAILED, ERROR_PRIORITY, ACTIVE_ORB_DESTROY_FAILED_MSG, {impl_name()});
    }
  };
  step([this]() NO_THREAD_SAFETY_ANALYSIS { leave_process(); });
  QZ_Vector<ActiveEndpoint> endpoints = impl_endpoints();
  ActiveEndpoint::destroy_persistent_data(m_locator, endpoints);
  for (ActiveEndpoint& endpoint : endpoints) step([&endpoint] { endpoint.destroy(); });
  try {
    m_locator.impl_poa_active_orb_registry().remove(*this);
  } catch (...) {
    report(log, POALocEvent::ACTIVE_ORB_TABLE_REMOVE_FAILED, WARNING, ACTIVE_ORB_TABLE_REMOVE_FAILED_MSG,
           {impl_name()});
  }
}

void POAActiveORBImpl::impl_destroy_persistent_data() {
  QZ_Logging::EventLog_ptr log = m_locator.impl_event_log();
  try {
    PoaActiveOrbMirror(m_locator, m_name).destroy();
  } catch (const CosPersistentState::NotFound&) {
    report(log, POALocEvent::ACTIVE_ORB_DESTROY_NO_PERSIS_DATA, WARNING, ACTIVE_ORB_DESTROY_NO_PERSIS_DATA_MSG,
           {impl_name()});
  } catch (const CORBA::SystemException& ex) {
    report(log, POALocEvent::ACTIVE_ORB_REMOVE_PERSIS_DATA_FAILED, ERROR_PRIORITY,
           ACTIVE_ORB_REMOVE_PERSIS_DATA_FAILED_MSG, {impl_name(), QZ_CORBA::to_string(ex).c_str()});
  }
}

void POAActiveORBImpl::impl_detach() {
  QZ_RecursiveMutexLock lock(m_mutex);
  m_destroying = true;
  m_endpoints.clear();
  m_endpoint_activator = EndpointActivator::_nil();
  m_active_process = QZ_LocatorInternal::ActiveProcess::_nil();
}

void POAActiveORBImpl::destroy_if_unused() {
  if (m_endpoints.empty() && CORBA::is_nil(m_endpoint_activator)) impl_destroy();
}

QZ_Vector<ActiveEndpoint> POAActiveORBImpl::impl_endpoints() {
  QZ_RecursiveMutexLock lock(m_mutex);
  return m_endpoints.list();
}

bool POAActiveORBImpl::impl_add_active_endpoint(ActiveEndpoint& endpoint) {
  QZ_RecursiveMutexLock lock(m_mutex);
  if (m_destroying) return false;
  if (!m_endpoints.insert(endpoint))
    report(m_locator.impl_event_log(), POALocEvent::ACTIVE_ORB_ADD_ENDPOINT_DUPLICATE, WARNING,
           ACTIVE_ORB_ADD_ENDPOINT_DUPLICATE_MSG, {impl_name(), printable(endpoint.id()).c_str()});
  return true;
}

void POAActiveORBImpl::impl_remove_active_endpoint(const CORBA::OctetSeq& id) {
  QZ_RecursiveMutexLock lock(m_mutex);
  remove_entry(id, m_endpoints.find(id) != nullptr);
}

void POAActiveORBImpl::impl_remove_active_endpoint(const ActiveEndpoint& endpoint) {
  QZ_RecursiveMutexLock lock(m_mutex);
  const ActiveEndpoint* entry = m_endpoints.find(endpoint.id());
  remove_entry(endpoint.id(), entry && entry->same_as(endpoint));
}

void POAActiveORBImpl::remove_entry(const CORBA::OctetSeq& id, bool present) {
  if (present) {
    stop_awaiting(id);
    m_endpoints.erase(id);
  } else {
    report(m_locator.impl_event_log(), POALocEvent::ACTIVE_ORB_REMOVE_ENDPOINT_NOT_EXIST, WARNING,
           ACTIVE_ORB_REMOVE_ENDPOINT_NOT_EXIST_MSG, {impl_name(), printable(id).c_str()});
  }
  destroy_if_unused();
}

void POAActiveORBImpl::impl_remove_active_endpoint(const QZ_POAIMRAdmin::FullyQualifiedName& name) {
  const CORBA::OctetSeq_var id = EndpointIdUtils::id_from_fqpn(name);
  QZ_RecursiveMutexLock lock(m_mutex);
  // Destroyed, not only taken out of the table: nobody would end it otherwise when the server dies.
  if (const ActiveEndpoint* entry = m_endpoints.find(id)) {
    ActiveEndpoint endpoint = *entry;
    endpoint.destroy();
  } else {
    remove_entry(id, false);
  }
}
