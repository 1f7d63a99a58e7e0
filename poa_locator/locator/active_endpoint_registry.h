// The table of active endpoints by endpoint id. One for each core. Safe from any thread.
#pragma once

#include <poa_imr_admin.hh>

#include "platform/base/qz_mutex.h"
#include "platform/base/qz_string.h"
#include "platform/base/qz_vector.h"
#include "poa_locator/locator/active_endpoint.h"
#include "poa_locator/locator/active_endpoint_table.h"

class POALocatorImpl;

class ActiveEndpointRegistry {
 public:
  // The records that load reads at a time, while those before them are restored.
  static constexpr unsigned READ_AHEAD = 1000;

  // Reads "plugins:locator:active_endpoint_home_type_id" and makes that home known to the store.
  explicit ActiveEndpointRegistry(POALocatorImpl& locator);
  // Cuts every endpoint left off from its requests; the mirrors stay for the next start.
  ~ActiveEndpointRegistry();
  ActiveEndpointRegistry(const ActiveEndpointRegistry&) = delete;
  ActiveEndpointRegistry& operator=(const ActiveEndpointRegistry&) = delete;

  // The endpoint of a POA that a request asks for. A new one is activated; when that raises, everyone who waits for it
  // gets the same exception and the endpoint is destroyed again. None is made, and TRANSIENT 0x515A0C00 raised, when
  // nothing can activate it. Otherwise raises what ActiveEndpoint's constructor does.
  ActiveEndpoint create(POALocatorImpl& locator, const CORBA::OctetSeq& id) EXCLUDES(m_creation_mutex, m_mutex);
  // The endpoint of a POA that a server registers. InvalidOrbName when it belongs to another ORB; otherwise raises what
  // ActiveEndpoint's constructor does.
  ActiveEndpoint create(POALocatorImpl& locator, const CORBA::OctetSeq& id, const char* orb_name)
      EXCLUDES(m_creation_mutex, m_mutex);

  // Null when there is none.
  ActiveEndpoint find(const CORBA::OctetSeq& id) EXCLUDES(m_mutex);
  ActiveEndpoint find(const QZ_POAIMRAdmin::FullyQualifiedName& name) EXCLUDES(m_mutex);
  CORBA::ULong number_of_entries() EXCLUDES(m_mutex);
  // A snapshot in the table's order.
  QZ_Vector<ActiveEndpoint> list() EXCLUDES(m_mutex);

  // Takes the endpoint out of the table, and its mirror out of the store. An endpoint that is not in the table is
  // reported; another endpoint that has its place by now is left alone, with its mirror.
  void remove(ActiveEndpoint& endpoint) EXCLUDES(m_mutex);

  // Restores the endpoints of the store; at start-up, once the active ORBs are there. Raises what fails, after the
  // endpoints before it have been restored.
  void load() EXCLUDES(m_mutex);
  // Destroys the restored endpoints that do not hold any more.
  void validate() EXCLUDES(m_mutex);

  const char* home_type_id() const { return m_home_type_id.c_str(); }

  // Keeps an entry of that id that is there already.
  void impl_insert(const ActiveEndpoint& endpoint) REQUIRES(m_mutex);
  ActiveEndpoint impl_find(const CORBA::OctetSeq& id) REQUIRES(m_mutex);

 private:
  void put_in_place(ActiveEndpoint& endpoint) REQUIRES(m_creation_mutex) EXCLUDES(m_mutex);

  // Guards no member: makes one out of two creations of the same endpoint. Held while an endpoint is constructed, which
  // the table's mutex never is. Taken before the lock of any active ORB or endpoint.
  QZ_Mutex m_creation_mutex ACQUIRED_BEFORE(m_mutex);
  QZ_Mutex m_mutex;
  POALocatorImpl& m_locator;
  ActiveEndpointTable m_table GUARDED_BY(m_mutex);
  QZ_String m_home_type_id;
};
