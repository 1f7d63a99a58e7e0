// Where every request and LocateRequest for a persistent POA of this domain enters the plug-in, unless the POA's active
// endpoint takes it itself: finds the endpoint of the request's object key, or makes one and has it activated, and
// hands the request to it. Safe from any thread, also when the core has gone: a call may still be inside then.
#pragma once

#include <qz_binding.hh>

#include <memory>

#include "platform/base/gate.h"
#include "platform/orb/ref_counted_local_object.h"

class ActiveEndpointRegistry;
class POALocatorImpl;
class RequestInfoBase;

class PoaLocInterceptor : public virtual QZ_Binding::ServerRequestInterceptor, public QZ_CORBA::RefCountedLocalObject {
 public:
  // The core's active endpoint registry must exist.
  explicit PoaLocInterceptor(POALocatorImpl& locator);

  // "POALocation"
  char* name() override;
  // Nil: always the last of its chain.
  QZ_Binding::ServerRequestInterceptor_ptr next_interceptor() override;
  void invoke(QZ_Binding::ServerRequestData_ptr data, QZ_Binding::ServerRequestCallback_ptr callback) override;
  void locate(QZ_Binding::ServerLocateRequestData_ptr data, QZ_Binding::ServerRequestCallback_ptr callback) override;
  CORBA::ORB_ptr _qz_get_orb() override;

  // Takes all keys of persistent POAs of this domain. The caller releases the binding.
  QZ_Binding::ServerBinding_ptr impl_register();

  // Holds the core mutex meanwhile. Every failure is reported and set on the request.
  void impl_handle_request(RequestInfoBase& request);

 private:
  void forward(RequestInfoBase& request);

  POALocatorImpl& m_locator;
  const std::shared_ptr<Gate> m_gate;
  const CORBA::ORB_var m_orb;
  const QZ_Binding::BindingManager_var m_binding_manager;
  ActiveEndpointRegistry& m_active_endpoint_registry;
};
