// The locator's record of one server ORB, known by its name: its active endpoints, its endpoint activator if the server
// has registered one, and the host's record of its process if one is configured. It carries out activation, through
// the activator or by having the process started, and is mirrored by one record in the store.
//
// Counted; hold it by RefCountHandle. Operations are safe from any thread. Those named impl_ are the plug-in's own and
// must not be called once the core has gone; the others are the host's and may be: they do nothing then, or raise
// OBJECT_NOT_EXIST. All take the recursive mutex themselves. Once it is being destroyed the record takes no endpoint
// and no activator any more: the caller looks for its successor.
#pragma once

#include <poa_imr_admin.hh>
#include <poa_locator_admin.hh>
#include <poa_persistent_server.hh>
#include <qz_locator_internal.hh>

#include <memory>
#include <optional>

#include "platform/base/gate.h"
#include "platform/base/qz_recursive_mutex.h"
#include "platform/base/qz_string.h"
#include "platform/base/qz_vector.h"
#include "platform/orb/ref_counted_local_object.h"
#include "poa_locator/idl/poa_locator_store.h"
#include "poa_locator/locator/active_endpoint.h"
#include "poa_locator/locator/active_endpoint_table.h"

class POALocatorImpl;

class POAActiveORBImpl final : public virtual QZ_LocatorInternal::ReportingORB, public QZ_CORBA::RefCountedLocalObject {
 public:
  // Nobody knows the record before impl_construct: POAActiveORBRegistry makes it and gives it its place.

  // endpoint_activator: duplicated; nil for none.
  POAActiveORBImpl(POALocatorImpl& locator, const char* name,
                   QZ_POA_PersistentServer::EndpointActivator_ptr endpoint_activator);
  // From the mirror.
  POAActiveORBImpl(POALocatorImpl& locator, QZ_PoaLocatorStore::PoaActiveOrbDataRef& data);

  // Joins the host's process record, if a process is configured. running: a server of this ORB is registering, so its
  // process is known to be up. INTERNAL 0x515A0C04 when it cannot be joined.
  void impl_construct(bool running);
  // Writes the mirror.
  void impl_add_to_persistent_store();
  // Leaves the process again and takes nobody any more: the record does not get its place.
  void impl_withdraw();

  // QZ_LocatorInternal::ReportingORB
  char* name() override;
  QZ_LocationCommon::ORBInfo* orb_info() override;
  QZ_LocatorInternal::ActiveProcess_ptr process() override;
  // Destroys the record with all its endpoints, under the core mutex.
  void process_died() override;
  QZ_LocatorAdmin::ActiveORB_ptr external_reference() override;
  CORBA::Boolean validate() override;
  CORBA::Boolean probe() override;
  CORBA::Boolean registered() override;
  void destroy() override;
  CORBA::Boolean activator_held() override;
  CORBA::ULong number_of_poas() override;
  CORBA::ORB_ptr _qz_get_orb() override;

  const char* impl_name() const { return m_name.c_str(); }
  // Name and process are empty for what the host's repository does not know; the caller deletes it.
  QZ_LocationCommon::ORBInfo* impl_orb_info_nc();
  // A duplicate; nil when the ORB has no process.
  QZ_LocatorInternal::ActiveProcess_ptr impl_process_nc();
  void impl_process_died();
  // The administration object; the caller releases it.
  QZ_POALocatorAdmin::POAActiveORB_ptr impl_external_reference();

  // Whether a restored record still counts: it has an activator, or an endpoint that does. Asks no server.
  CORBA::Boolean impl_validate();
  // Destroys the endpoints, leaves process and registry, and removes the mirror. Failures are reported. Does nothing
  // once it has begun.
  void impl_destroy();
  // Removes the mirror; failures are reported.
  void impl_destroy_persistent_data();
  // Forgets endpoints and process and leaves the mirror: the daemon stops.
  void impl_detach();

  // A snapshot in the table's order.
  QZ_Vector<ActiveEndpoint> impl_endpoints();
  // False when the record is being destroyed. An endpoint of that id that is there already is reported and kept.
  bool impl_add_active_endpoint(ActiveEndpoint& endpoint);
  // An absent one is reported. Destroys the record when nothing is left in it.
  void impl_remove_active_endpoint(const CORBA::OctetSeq& id);
  void impl_remove_active_endpoint(const QZ_POAIMRAdmin::FullyQualifiedName& name);
  // The same, for exactly this endpoint: one of the same id that has its place by now stays.
  void impl_remove_active_endpoint(const ActiveEndpoint& endpoint);

  // Not duplicated; nil when there is none.
  QZ_POA_PersistentServer::EndpointActivator_ptr impl_endpoint_activator_nc();
  // Registers, replaces or (nil) withdraws the activator and activates whoever awaits one. A second activator always
  // takes the place of the first, whether that one still answers or not. held_answers: what a probe of the held
  // activator has shown; without it the probe is made here, under the lock. False when the record is being destroyed.
  bool impl_endpoint_activator(QZ_POA_PersistentServer::EndpointActivator_ptr fresh,
                               std::optional<bool> held_answers = std::nullopt);

  // Has the endpoint's POA activated: by the activator, on a thread of its own, or by starting the process, whose
  // server then registers an activator. TRANSIENT 0x515A0C01 when the process cannot be started, 0x515A0C00 when there
  // is neither. Not with the endpoint's mutex held.
  void impl_activate(ActiveEndpoint& endpoint);
  // False when there is neither. Says nothing of a record that is being destroyed: true.
  bool impl_can_activate();

  // The host's entry of that ORB; nil when it has none. The caller releases it.
  static QZ_IMRInternal::ORB_ptr impl_imr_orb(POALocatorImpl& locator, const char* name);

  // For callers that need several operations in one piece.
  QZ_RecursiveMutex& impl_mutex() RETURN_CAPABILITY(m_mutex) { return m_mutex; }

 private:
  void leave_process() REQUIRES(m_mutex);
  void write_mirror(QZ_POA_PersistentServer::EndpointActivator_ptr endpoint_activator) REQUIRES(m_mutex);
  void replace_activator(QZ_POA_PersistentServer::EndpointActivator_ptr fresh, std::optional<bool> held_answers)
      REQUIRES(m_mutex);
  void start_process(const CORBA::OctetSeq& id) REQUIRES(m_mutex);
  void await_activation(const CORBA::OctetSeq& id) REQUIRES(m_mutex);
  void stop_awaiting(const CORBA::OctetSeq& id) REQUIRES(m_mutex);
  void remove_entry(const CORBA::OctetSeq& id, bool present) REQUIRES(m_mutex);
  void destroy_if_unused() REQUIRES(m_mutex);

  POALocatorImpl& m_locator;
  const std::shared_ptr<Gate> m_gate;
  const QZ_String m_name;
  QZ_RecursiveMutex m_mutex;
  QZ_IMRInternal::ORB_var m_imr_orb GUARDED_BY(m_mutex);                       // nil: unknown to the host's IMR
  QZ_LocatorInternal::ActiveProcess_var m_active_process GUARDED_BY(m_mutex);  // nil: no process is configured
  ActiveEndpointTable m_endpoints GUARDED_BY(m_mutex);
  QZ_POA_PersistentServer::EndpointActivator_var m_endpoint_activator GUARDED_BY(m_mutex);
  // POAs whose activation was asked while the process was being started.
  QZ_Vector<CORBA::OctetSeq> m_awaiting_activation GUARDED_BY(m_mutex);
  bool m_destroying GUARDED_BY(m_mutex) = false;
};
