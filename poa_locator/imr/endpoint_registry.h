// The repository of POA names: a tree of records whose root always exists.
//
// All operations hold the registry's mutex for their whole duration; all are safe from any thread. What they raise
// beyond what stands below: PERSIST_STORE or TRANSIENT when the store fails. The guarded transactions are rolled back
// when anything is raised.
#pragma once

#include <cos_transactions.hh>
#include <qz_logging.hh>
#include <qz_pss.hh>

#include "platform/base/qz_recursive_mutex.h"
#include "poa_locator/imr/endpoint.h"

class POALocatorImpl;

class EndpointRegistry {
 public:
  // Creates the root's record when the store has none. INTERNAL 0x515A0C00 when the configured home does not exist.
  explicit EndpointRegistry(POALocatorImpl& locator);
  EndpointRegistry(const EndpointRegistry&) = delete;
  EndpointRegistry& operator=(const EndpointRegistry&) = delete;

  // Looked up afresh on every call.
  Endpoint root();
  // A null handle when no entry has that identifier.
  Endpoint find(const CORBA::OctetSeq& id);
  Endpoint find(const QZ_POAIMRAdmin::FullyQualifiedName& name);

  // In the store's order. Empty for a name that the host does not know.
  QZ_Vector<Endpoint> list_in_process(const char* process_name);
  QZ_Vector<Endpoint> list_in_orb(const char* orb_name);

  // The entry of that identifier; when there is none, a new one below its parent, if the parent lets this ORB register
  // children. Raises the exceptions of QZ_POA_PersistentServer::EndpointRegistry, and BAD_PARAM 0x515A0C00 for an
  // identifier that names no POA; the repository is unchanged then. A new entry is durable with the next durable
  // commit.
  Endpoint on_demand_create(const CORBA::OctetSeq& id, const char* orb_name);

  // The entry and all below it. The root comes back at once, empty, as in a new store.
  void remove(Endpoint& endpoint);
  // Removes every persistent entry of that ORB with all below it, in one transaction.
  void orb_destroyed(const char* orb_name);

  const QZ_String& home_type_id() const { return m_home_type_id; }
  QZ_RecursiveMutex& mutex() RETURN_CAPABILITY(m_mutex) { return m_mutex; }

  // Not duplicated.
  QZ_Logging::EventLog_ptr event_log_nc() const { return m_event_log; }
  QZ_PSS::SessionManager_ptr session_manager_nc() const { return m_session_manager; }
  CosTransactions::Current_ptr tx_current_nc() const { return m_tx_current; }
  PortableServer::POA_ptr endpoint_poa_nc() const { return m_endpoint_poa; }
  // The POA in which entries have their administration objects. Once, before anybody else knows the registry.
  void serve_entries_in(PortableServer::POA_ptr poa) { m_endpoint_poa = PortableServer::POA::_duplicate(poa); }
  // The core.
  POALocatorImpl& locator() const { return m_locator; }

  // The home as that association sees it, and living as long as it. INTERNAL 0x515A0C00 when the type id is another
  // home's.
  QZ_PoaImrStore::NamespaceHome& home(QZ_PSS::TxSessionAssociation& association) const;

 private:
  void register_home();
  void create_root();
  void require_host_orb(const char* orb_name);

  POALocatorImpl& m_locator;
  // Serialises the operations of the registry and the structural ones of its entries. Outside the store's own locks:
  // a thread that has written in a transaction of its own must not wait for it.
  QZ_RecursiveMutex m_mutex;
  const QZ_Logging::EventLog_var m_event_log;
  PortableServer::POA_var m_endpoint_poa;
  const QZ_PSS::SessionManager_var m_session_manager;
  const CosTransactions::Current_var m_tx_current;
  const QZ_String m_home_type_id;
};
