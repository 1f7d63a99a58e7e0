// The locator's record of one persistent POA that runs in a server ORB, or is expected to once its server is started:
// whether it runs, where, and the requests that wait until it does. Mirrored by one record in the store, from which the
// table of active endpoints is rebuilt when the daemon starts.
//
// A counted handle: copies share one body and may be passed between threads freely. Operations are safe from any
// thread. Except for is_null(), same_as() and assignment they need a handle that is not null.
//
// A running endpoint never goes back to not running: it is destroyed, and the next request makes a new one. Once
// destroyed it answers whoever still comes with the outcome of its end and keeps nobody.
#pragma once

#include <poa_imr_admin.hh>
#include <poa_locator_admin.hh>
#include <poa_persistent_server.hh>
#include <qz_ior.hh>

#include <functional>

#include "platform/base/qz_handle.h"
#include "platform/base/qz_string.h"
#include "platform/base/qz_vector.h"
#include "poa_locator/imr/endpoint.h"

class POAActiveORBImpl;
class POALocatorImpl;
class RequestInfoBase;
struct ActiveEndpointRep;
struct RestoredEndpoint;

class ActiveEndpoint {
 public:
  ActiveEndpoint();
  ActiveEndpoint(const ActiveEndpoint& other);
  ActiveEndpoint(ActiveEndpoint&& other) noexcept;
  ActiveEndpoint& operator=(const ActiveEndpoint& other);
  ActiveEndpoint& operator=(ActiveEndpoint&& other) noexcept;
  ~ActiveEndpoint();

  // The constructors below join the endpoint to its ORB (made if there is none), write the mirror and take the
  // requests whose keys begin with id. Only one at a time for one id. What was set up is undone when one raises;
  // a mirror that cannot be written is reported and does not count.

  // A server registers the POA. Raises what EndpointRegistry::on_demand_create does, and
  // QZ_POA_PersistentServer::EndpointRegistry::InvalidOrbName when the POA belongs to another ORB.
  ActiveEndpoint(POALocatorImpl& locator, const CORBA::OctetSeq& id, const char* orb_name);
  // A request asks for the POA. OBJECT_NOT_EXIST 0x515A0C04 when the repository has no persistent entry for it.
  ActiveEndpoint(POALocatorImpl& locator, const CORBA::OctetSeq& id);
  // From the mirror, which is left as it is.
  ActiveEndpoint(POALocatorImpl& locator, RestoredEndpoint restored);

  bool is_null() const;
  // Whether both share one body.
  bool same_as(const ActiveEndpoint& other) const;

  // Lives as long as this handle or a copy of it.
  const CORBA::OctetSeq& id() const;
  // The last of its full name; empty for the root.
  QZ_String name() const;
  // The caller deletes it.
  QZ_POAIMRAdmin::FullyQualifiedName* full_name() const;
  // Looked up in the repository; null when it has no entry.
  Endpoint endpoint() const;
  // Null when none; the caller removes the reference.
  POAActiveORBImpl* orb() const;
  // The administration object; the caller releases it.
  QZ_POALocatorAdmin::ActivePOA_ptr external_reference() const;

  bool is_dynamic_state_set() const;
  // Nil when not set; the caller releases it.
  QZ_POA_PersistentServer::EndpointDynamicState_ptr dynamic_state() const;
  // Whether the server that runs it answers within the limit and still knows it. One whose reference the ORB cannot use
  // does not.
  bool server_answers(unsigned long milliseconds) const;
  // Whether the endpoint has been destroyed; waits for a destruction that is under way.
  bool has_ended() const;
  // For tests and diagnosis.
  std::size_t number_of_pending_requests() const;

  // Forwards the request, keeps a copy of it, or answers it with the endpoint's end. Never waits. INV_OBJREF 0x515A0C00
  // when the POA runs and the request's key names no object in it.
  void handle_request(RequestInfoBase& request);

  // Asks the active ORB to start the POA, unless it runs. TRANSIENT 0x515A0C00 when there is none, otherwise what
  // POAActiveORBImpl::impl_activate raises.
  void activate();

  // The POA runs from now on and is reached at ior's addresses. Written to the mirror first, in one transaction with
  // what also_write does; those who wait are then answered on a thread of their own. EntryAlreadyExists when a state is
  // set already; OBJECT_NOT_EXIST 0x515A0C05 when the mirror has gone, as it has once the endpoint is destroyed.
  void set_dynamic_state(
      QZ_POA_PersistentServer::EndpointDynamicState_ptr state, QZ_IOR::IOR_ptr ior,
      const std::function<void()>& also_write = [] {});
  void clear_dynamic_state();

  // Answers every request that waits, in the order of arrival.
  void clear_pending_requests(const CORBA::SystemException& outcome);

  // Takes the endpoint out of everything and answers those who wait, and those who still come, with
  // TRANSIENT 0x515A0C03. Raises nothing of its own: failures are reported.
  void destroy();
  // The same with another outcome, unless the POA runs meanwhile; false then.
  bool destroy_unless_running(const CORBA::SystemException& outcome);
  // Takes the endpoint out of the way of requests and leaves table and mirror as they are: the daemon stops.
  void detach();

  // Whether a restored endpoint still counts, that is, has a state. Asks no server.
  CORBA::Boolean validate() const;

  // Writes state and reference to the mirror. OBJECT_NOT_EXIST 0x515A0C05 when that fails.
  void update_persis_data();
  // Whether the store has no mirror of it, so that it can never be registered.
  bool has_lost_mirror();
  // Removes the mirror; failures are reported.
  void destroy_persistent_data();
  // Removes the mirrors of endpoints that are about to be destroyed, all at once: a commit takes its time, and an ORB
  // may have thousands. What fails is left to destroy_persistent_data.
  static void destroy_persistent_data(POALocatorImpl& locator, const QZ_Vector<ActiveEndpoint>& endpoints) noexcept;

 private:
  void join_orb(const QZ_String& orb_name, bool running);
  void create_mirror(const QZ_String& orb_name);
  void install_interceptor();
  void undo_construction(bool with_mirror) noexcept;
  void release_binding();
  void write_mirror(QZ_POA_PersistentServer::EndpointDynamicState_ptr state, QZ_IOR::IOREndpoint_ptr ior_endpoint);
  bool end(const CORBA::SystemException& outcome, bool unless_running);
  bool end_with_orb_locked(const CORBA::SystemException& outcome, bool unless_running);

  QZ_Handle<ActiveEndpointRep> m_rep;
};
