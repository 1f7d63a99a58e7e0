// Passes the requests that the front door routes to one active endpoint on to it. Bound to its endpoint, it needs no
// look-up and no lock. Safe from any thread, also when the core has gone: a call may still be inside then.
#pragma once

#include <qz_binding.hh>
#include <qz_logging.hh>

#include "platform/orb/ref_counted_local_object.h"
#include "poa_locator/locator/active_endpoint.h"

class POALocatorImpl;
class RequestInfoBase;

class EndpointInterceptor : public virtual QZ_Binding::ServerRequestInterceptor,
                            public QZ_CORBA::RefCountedLocalObject {
 public:
  EndpointInterceptor(POALocatorImpl& locator, const ActiveEndpoint& active_endpoint);

  // "POALocationEndpoint"
  char* name() override;
  // Nil: always the last of its chain.
  QZ_Binding::ServerRequestInterceptor_ptr next_interceptor() override;
  void invoke(QZ_Binding::ServerRequestData_ptr data, QZ_Binding::ServerRequestCallback_ptr callback) override;
  void locate(QZ_Binding::ServerLocateRequestData_ptr data, QZ_Binding::ServerRequestCallback_ptr callback) override;
  CORBA::ORB_ptr _qz_get_orb() override;

  // Every failure is reported and set on the request.
  void handle_request(RequestInfoBase& request);

 private:
  const CORBA::ORB_var m_orb;
  const QZ_Logging::EventLog_var m_event_log;
  ActiveEndpoint m_active_endpoint;
};
