#include "poa_locator/interceptors/endpoint_interceptor.h"

#include "platform/orb/exception_text.h"
#include "poa_locator/interceptors/request_info.h"
#include "poa_locator/plugin/event_report.h"
#include "poa_locator/plugin/minor_codes.h"
#include "poa_locator/plugin/poa_loc_event_msg.h"
#include "poa_locator/plugin/poa_locator_impl.h"

EndpointInterceptor::EndpointInterceptor(POALocatorImpl& locator, const ActiveEndpoint& active_endpoint)
    : m_orb(locator._qz_get_orb()),
      m_event_log(QZ_Logging::EventLog::_duplicate(locator.impl_event_log())),
      m_active_endpoint(active_endpoint) {}

char* EndpointInterceptor::name() {
  return CORBA::string_dup("POALocationEndpoint");
}

QZ_Binding::ServerRequestInterceptor_ptr EndpointInterceptor::next_interceptor() {
  return QZ_Binding::ServerRequestInterceptor::_nil();
}

CORBA::ORB_ptr EndpointInterceptor::_qz_get_orb() {
  return CORBA::ORB::_duplicate(m_orb);
}

void EndpointInterceptor::invoke(QZ_Binding::ServerRequestData_ptr data,
                                 QZ_Binding::ServerRequestCallback_ptr callback) {
  RequestInfo request(data, callback);
  handle_request(request);
}

void EndpointInterceptor::locate(QZ_Binding::ServerLocateRequestData_ptr data,
                                 QZ_Binding::ServerRequestCallback_ptr callback) {
  LocateRequestInfo request(data, callback);
  handle_request(request);
}

void EndpointInterceptor::handle_request(RequestInfoBase& request) {
  try {
    m_active_endpoint.handle_request(request);
  } catch (const CORBA::SystemException& ex) {
    report(m_event_log, POALocEvent::ENDPOINT_INTERCEPTOR_SYS_EXCEPTION, QZ_Logging::ERROR_PRIORITY,
           ENDPOINT_INTERCEPTOR_SYS_EXCEPTION_MSG, {QZ_CORBA::to_string(ex).c_str()});
    request.set_exception(ex);
  } catch (...) {
    report(m_event_log, POALocEvent::ENDPOINT_INTERCEPTOR_EXCEPTION, QZ_Logging::ERROR_PRIORITY,
           ENDPOINT_INTERCEPTOR_EXCEPTION_MSG);
    request.set_exception(CORBA::UNKNOWN(MINOR_ENDPOINT_UNKNOWN, CORBA::COMPLETED_NO));
  }
}
