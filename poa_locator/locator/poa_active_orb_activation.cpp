// Activation, the part of POAActiveORBImpl that deals with activators and with starting the process.
#include <algorithm>

#include "platform/base/qz_octet_seq_hash.h"
#include "platform/orb/exception_text.h"
#include "poa_locator/imr/endpoint_id_utils.h"
#include "poa_locator/locator/endpoint_activator_thread.h"
#include "poa_locator/locator/poa_active_orb_impl.h"
#include "poa_locator/locator/server_call.h"
#include "poa_locator/plugin/event_report.h"
#include "poa_locator/plugin/minor_codes.h"
#include "poa_locator/plugin/poa_loc_event_msg.h"
#include "poa_locator/plugin/poa_locator_impl.h"

using QZ_Logging::INFORMATION;
using QZ_Logging::WARNING;
using QZ_POA_PersistentServer::EndpointActivator;
using QZ_POA_PersistentServer::EndpointIdList;

QZ_POA_PersistentServer::EndpointActivator_ptr POAActiveORBImpl::impl_endpoint_activator_nc() {
  QZ_RecursiveMutexLock lock(m_mutex);
  return m_endpoint_activator;
}

bool POAActiveORBImpl::impl_endpoint_activator(QZ_POA_PersistentServer::EndpointActivator_ptr fresh,
                                               std::optional<bool> held_answers) {
  QZ_RecursiveMutexLock lock(m_mutex);
  if (m_destroying) return false;
  replace_activator(fresh, held_answers);
  if (!m_awaiting_activation.empty()) {
    // A server may register POAs before its activator; those need no activation any more.
    std::erase_if(m_awaiting_activation, [this](const CORBA::OctetSeq& id) REQUIRES(m_mutex) {
      const ActiveEndpoint* endpoint = m_endpoints.find(id);
      return endpoint && endpoint->is_dynamic_state_set();
    });
    EndpointIdList ids;
    ids.length(static_cast<CORBA::ULong>(m_awaiting_activation.size()));
    std::copy(m_awaiting_activation.begin(), m_awaiting_activation.end(), ids.get_buffer());
    if (ids.length() != 0) EndpointActivatorThread::start(m_locator, m_endpoint_activator, ids, *this);
    m_awaiting_activation.clear();
  } else {
    destroy_if_unused();
  }
  return true;
}

void POAActiveORBImpl::replace_activator(QZ_POA_PersistentServer::EndpointActivator_ptr fresh,
                                         std::optional<bool> held_answers) {
  QZ_Logging::EventLog_ptr log = m_locator.impl_event_log();
  const bool held = !CORBA::is_nil(m_endpoint_activator);
  if (held && !CORBA::is_nil(fresh)) {
    // A server that lives is told of in the log, and gives way all the same.
    if (!held_answers) held_answers = answers(m_endpoint_activator, m_locator.impl_probe_time_limit());
    if (*held_answers)
      report(log, POALocEvent::ENDPOINT_ACTIVATOR_ALREADY_REGISTERED, WARNING,
             ENDPOINT_ACTIVATOR_ALREADY_REGISTERED_MSG, {impl_name()});
    report(log, POALocEvent::ENDPOINT_ACTIVATOR_STALE_REGISTRATION, INFORMATION,
           ENDPOINT_ACTIVATOR_STALE_REGISTRATION_MSG, {impl_name()});
  } else if (held) {
    report(log, POALocEvent::ENDPOINT_ACTIVATOR_UNREGISTERED, INFORMATION, ENDPOINT_ACTIVATOR_UNREGISTERED_MSG,
           {impl_name()});
  } else {
    report(log, POALocEvent::ENDPOINT_ACTIVATOR_REGISTERED, INFORMATION, ENDPOINT_ACTIVATOR_REGISTERED_MSG,
           {impl_name()});
  }
  write_mirror(fresh);
  m_endpoint_activator = EndpointActivator::_duplicate(fresh);
}

void POAActiveORBImpl::impl_activate(ActiveEndpoint& endpoint) {
  QZ_RecursiveMutexLock lock(m_mutex);
  if (m_destroying) throw CORBA::TRANSIENT(MINOR_ENDPOINT_DESTROYED, CORBA::COMPLETED_NO);
  if (!CORBA::is_nil(m_endpoint_activator)) {
    EndpointIdList ids;
    ids.length(1);
    ids[0] = endpoint.id();
    EndpointActivatorThread::start(m_locator, m_endpoint_activator, ids, *this);
  } else if (!CORBA::is_nil(m_active_process)) {
    start_process(endpoint.id());
  } else {
    throw CORBA::TRANSIENT(MINOR_NOT_STARTABLE, CORBA::COMPLETED_NO);
  }
}

bool POAActiveORBImpl::impl_can_activate() {
  QZ_RecursiveMutexLock lock(m_mutex);
  return m_destroying || !CORBA::is_nil(m_endpoint_activator) || !CORBA::is_nil(m_active_process);
}

void POAActiveORBImpl::start_process(const CORBA::OctetSeq& id) {
  await_activation(id);
  QZ_String reason;
  try {
    m_active_process->start();
    return;
  } catch (const QZ_LocatorInternal::StartFailed& ex) {
    reason = ex.reason;
  } catch (const CORBA::Exception& ex) {
    reason = QZ_CORBA::to_string(ex);
  } catch (...) {
    reason = "unknown exception";
  }
  stop_awaiting(id);
  const CORBA::String_var process_name = m_active_process->name();
  report(m_locator.impl_event_log(), POALocEvent::SERVER_START_FAILURE, QZ_Logging::ERROR_PRIORITY,
         SERVER_START_FAILURE_MSG,
         {process_name.in(), impl_name(), EndpointIdUtils::id_to_fqpn_string(id).c_str(), reason.c_str()});
  throw CORBA::TRANSIENT(MINOR_START_FAILED, CORBA::COMPLETED_NO);
}

void POAActiveORBImpl::await_activation(const CORBA::OctetSeq& id) {
  stop_awaiting(id);
  m_awaiting_activation.push_back(id);
}

void POAActiveORBImpl::stop_awaiting(const CORBA::OctetSeq& id) {
  const QZ_Cxx_OctetSeqEqual<CORBA::OctetSeq> equal;
  std::erase_if(m_awaiting_activation, [&](const CORBA::OctetSeq& other) { return equal(other, id); });
}
