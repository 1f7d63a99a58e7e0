// What a request for one active endpoint needs: where the POA runs, who waits until it does, and how it ended.
//
// Front-door threads come here with requests, so nothing in this class waits: its mutex is held for a few instructions
// and never while a request is answered, and only the front door's routes are locked inside of it. Safe from any
// thread.
#pragma once

#include <poa_persistent_server.hh>
#include <qz_binding.hh>
#include <qz_ior.hh>

#include <memory>

#include "platform/base/qz_list.h"
#include "platform/base/qz_mutex.h"
#include "platform/orb/packed_reference.h"
#include "poa_locator/interceptors/request_info.h"

class EndpointRequests {
 public:
  // In order of arrival.
  using Pending = QZ_List<std::unique_ptr<RequestInfoBase>>;

  // Forwards a request to the running POA, keeps a copy of it while the POA does not run, or answers it with the
  // endpoint's end. id: the octets with which the POA's object keys begin at the locator. INV_OBJREF 0x515A0C00 when
  // the POA runs and the key is not longer than that.
  void handle(RequestInfoBase& request, const CORBA::OctetSeq& id);

  // Takes the requests whose keys begin with id to the interceptor. While the POA runs the front door forwards by
  // itself, and only requests for which that is not enough go there. The binding is the caller's. Raises what
  // register_interceptor does.
  QZ_Binding::ServerBinding_ptr bind(QZ_Binding::BindingManager_ptr manager, const CORBA::OctetSeq& id,
                                     QZ_Binding::ServerRequestInterceptor_ptr interceptor);

  // The POA runs from now on; the endpoint is duplicated. Whoever has waited is the caller's to answer.
  // Nothing is changed when the endpoint has ended.
  Pending publish(QZ_CORBA::PackedReference dynamic_state, QZ_IOR::IOREndpoint_ptr ior_endpoint);
  // The POA does not run any more.
  void withdraw();

  // Answers all who wait, in order of arrival.
  void fail_pending(const CORBA::SystemException& outcome);
  // The endpoint is gone: all who wait and all who still come get the outcome. The first end stays.
  void end(const CORBA::SystemException& outcome);

  bool is_running() const;
  bool has_ended() const;
  std::size_t number_of_pending() const;
  // Nil when the POA does not run; the caller releases them.
  QZ_POA_PersistentServer::EndpointDynamicState_ptr dynamic_state() const;
  QZ_IOR::IOREndpoint_ptr ior_endpoint() const;

 private:
  static constexpr std::size_t SMALLEST_SWEEP = 64;

  // Where the front door forwards requests by itself; nil: nowhere. Not duplicated.
  QZ_IOR::IOREndpoint_ptr forward() const REQUIRES(m_mutex);
  // What the front door does with requests follows the state.
  void tell_binding() REQUIRES(m_mutex);
  static void fail(Pending& pending, const CORBA::SystemException& outcome);
  // Clients that come and go while a POA does not run leave requests behind, which would add up.
  Pending take_abandoned() REQUIRES(m_mutex);

  mutable QZ_Mutex m_mutex;
  Pending m_pending GUARDED_BY(m_mutex);  // empty while the POA runs and once the endpoint has ended
  // Of m_pending: with so many, the abandoned ones are taken out. It keeps their share of the work constant.
  std::size_t m_sweep_size GUARDED_BY(m_mutex) = SMALLEST_SWEEP;
  QZ_CORBA::PackedReference m_dynamic_state GUARDED_BY(m_mutex);  // asked seldom, held for every POA
  QZ_IOR::IOREndpoint_var m_ior_endpoint GUARDED_BY(m_mutex);
  QZ_Binding::ServerBinding_var m_binding GUARDED_BY(m_mutex);  // nil once the endpoint has ended
  std::unique_ptr<CORBA::Exception> m_end GUARDED_BY(m_mutex);  // null until the endpoint has ended
};
