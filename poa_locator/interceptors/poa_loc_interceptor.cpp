#include "poa_locator/interceptors/poa_loc_interceptor.h"

#include <poa_persistent_server.hh>

#include <cstring>

#include "platform/orb/exception_text.h"
#include "platform/orb/initial_reference.h"
#include "poa_locator/interceptors/request_info.h"
#include "poa_locator/locator/active_endpoint.h"
#include "poa_locator/locator/active_endpoint_registry.h"
#include "poa_locator/plugin/event_report.h"
#include "poa_locator/plugin/gate_pass.h"
#include "poa_locator/plugin/minor_codes.h"
#include "poa_locator/plugin/poa_loc_event_msg.h"
#include "poa_locator/plugin/poa_locator_impl.h"

namespace {

constexpr CORBA::ULong FORMAT_LENGTH = 2;
constexpr CORBA::ULong ENDPOINT_ID_SEGMENTS = 3;

// A sequence over octets that are not copied.
CORBA::OctetSeq view(const char* octets, std::size_t length) {
  const auto count = static_cast<CORBA::ULong>(length);
  return {count, count, reinterpret_cast<CORBA::Octet*>(const_cast<char*>(octets)), false};
}

}  // namespace

PoaLocInterceptor::PoaLocInterceptor(POALocatorImpl& locator)
    : m_locator(locator),
      m_gate(locator.impl_gate()),
      m_orb(locator._qz_get_orb()),
      m_binding_manager(initial_reference<QZ_Binding::BindingManager>(m_orb, "QZ_BindingManager")),
      m_active_endpoint_registry(locator.impl_active_endpoint_registry()) {}

char* PoaLocInterceptor::name() {
  return CORBA::string_dup("POALocation");
}

QZ_Binding::ServerRequestInterceptor_ptr PoaLocInterceptor::next_interceptor() {
  return QZ_Binding::ServerRequestInterceptor::_nil();
}

CORBA::ORB_ptr PoaLocInterceptor::_qz_get_orb() {
  return CORBA::ORB::_duplicate(m_orb);
}

void PoaLocInterceptor::invoke(QZ_Binding::ServerRequestData_ptr data, QZ_Binding::ServerRequestCallback_ptr callback) {
  RequestInfo request(data, callback);
  impl_handle_request(request);
}

void PoaLocInterceptor::locate(QZ_Binding::ServerLocateRequestData_ptr data,
                               QZ_Binding::ServerRequestCallback_ptr callback) {
  LocateRequestInfo request(data, callback);
  impl_handle_request(request);
}

QZ_Binding::ServerBinding_ptr PoaLocInterceptor::impl_register() {
  CORBA::OctetSeq prefix(1024);
  m_binding_manager->start_key(prefix);
  m_binding_manager->append_segment(prefix, view(QZ_POA_PersistentServer::PERSISTENT_ENDPOINT_FORMAT, FORMAT_LENGTH));
  const CORBA::String_var domain = m_locator.impl_locator_nc()->domain_name();
  m_binding_manager->append_segment(prefix, view(domain, std::strlen(domain)));
  return m_binding_manager->register_interceptor(prefix, this, QZ_Binding::DISPATCH_WORKER,
                                                 QZ_IOR::IOREndpoint::_nil());
}

void PoaLocInterceptor::impl_handle_request(RequestInfoBase& request) {
  const GatePass pass(m_gate);
  if (!pass) {
    request.set_exception(CORBA::TRANSIENT(MINOR_ENDPOINT_DESTROYED, CORBA::COMPLETED_NO));
    return;
  }
  QZ_Logging::EventLog_ptr log = m_locator.impl_event_log();
  const auto report_exception = [log](const CORBA::Exception& ex) {
    report(log, POALocEvent::POA_LOC_INTERCEPTOR_SYS_EXCEPTION, QZ_Logging::ERROR_PRIORITY,
           POA_LOC_INTERCEPTOR_SYS_EXCEPTION_MSG, {QZ_CORBA::to_string(ex).c_str()});
  };
  QZ_MutexLock lock(m_locator.impl_mutex());
  try {
    forward(request);
  } catch (const CORBA::SystemException& ex) {
    report_exception(ex);
    request.set_exception(ex);
  } catch (const CORBA::Exception& ex) {
    report_exception(ex);
    request.set_exception(CORBA::TRANSIENT(MINOR_USER_EXCEPTION, CORBA::COMPLETED_NO));
  } catch (...) {
    report(log, POALocEvent::POA_LOC_INTERCEPTOR_EXCEPTION, QZ_Logging::ERROR_PRIORITY,
           POA_LOC_INTERCEPTOR_EXCEPTION_MSG);
    request.set_exception(CORBA::UNKNOWN(MINOR_LOCATOR_UNKNOWN, CORBA::COMPLETED_NO));
  }
}

void PoaLocInterceptor::forward(RequestInfoBase& request) {
  const CORBA::OctetSeq* key = request.object_key();
  if (!key || key->length() == 0) throw CORBA::INV_OBJREF(MINOR_NO_KEY, CORBA::COMPLETED_NO);
  CORBA::ULong end = 0;
  for (CORBA::ULong segment = 0; segment < ENDPOINT_ID_SEGMENTS; ++segment) {
    CORBA::ULong offset = 0;
    CORBA::ULong length = 0;
    m_binding_manager->segment_at(*key, end, offset, length);
    end = offset + length;
  }
  const CORBA::OctetSeq id(end, end, const_cast<CORBA::Octet*>(key->get_buffer()), false);
  ActiveEndpoint endpoint = m_active_endpoint_registry.create(m_locator, id);
  endpoint.handle_request(request);
}
