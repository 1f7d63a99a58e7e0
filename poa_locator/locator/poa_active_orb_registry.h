// The plug-in's view of the host locator's table of active ORBs: its own records in it, by ORB name. Safe from any
// thread.
#pragma once

#include <poa_persistent_server.hh>
#include <qz_locator_internal.hh>

#include "platform/base/qz_mutex.h"
#include "platform/base/qz_string.h"
#include "platform/base/qz_vector.h"
#include "platform/base/ref_count_handle.h"
#include "poa_locator/locator/poa_active_orb_impl.h"

class POALocatorImpl;

class POAActiveORBRegistry {
 public:
  using Handle = RefCountHandle<POAActiveORBImpl>;

  // Duplicates the reference. Reads "plugins:locator:active_orb_home_type_id" and makes that home known to the store.
  POAActiveORBRegistry(POALocatorImpl& locator, QZ_LocatorInternal::ActiveORBRegistry_ptr host_registry);
  // Takes the records left out of the host's table; their mirrors stay for the next start.
  ~POAActiveORBRegistry();
  POAActiveORBRegistry(const POAActiveORBRegistry&) = delete;
  POAActiveORBRegistry& operator=(const POAActiveORBRegistry&) = delete;

  // BAD_PARAM when the name is taken.
  void insert(POAActiveORBImpl* orb) EXCLUDES(m_mutex);
  // Null when there is none, or it is not one of the plug-in's.
  Handle find(const char* orb_name) EXCLUDES(m_mutex);

  // The record of that name, made and inserted when there is none. BAD_PARAM when the name belongs to a record that is
  // not the plug-in's; INTERNAL 0x515A0C04 when the host's process record cannot be joined; what the store raises.
  // Nothing is left behind then.
  Handle find_or_create(const char* orb_name, bool running) EXCLUDES(m_creation_mutex, m_mutex);
  // The same with an activator for a new record; created says whether it is one.
  Handle find_or_create(const char* orb_name, QZ_POA_PersistentServer::EndpointActivator_ptr endpoint_activator,
                        bool& created) EXCLUDES(m_creation_mutex, m_mutex);

  // Whether a POA of that ORB can be activated, or could if the ORB had a record. True when the host cannot tell.
  bool can_activate(const char* orb_name) EXCLUDES(m_mutex);

  // Of the host's table.
  CORBA::ULong number_of_entries() EXCLUDES(m_mutex);
  // In the host's order.
  QZ_Vector<Handle> list() EXCLUDES(m_mutex);
  QZ_Vector<Handle> list_by_process(const char* process_name) EXCLUDES(m_mutex);

  // Out of the host's table, and its mirror out of the store. OBJECT_NOT_EXIST when the table has no such entry; one of
  // the same name that is another record stays.
  void remove(POAActiveORBImpl& orb) EXCLUDES(m_mutex);

  // Restores the records of the store; at start-up. Raises what fails.
  void load();
  // Active ORBs are validated only through their endpoints: does nothing.
  void validate() {}

  const char* home_type_id() const { return m_home_type_id.c_str(); }

 private:
  Handle find_or_make(const char* orb_name, QZ_POA_PersistentServer::EndpointActivator_ptr endpoint_activator,
                      bool running, bool& created) EXCLUDES(m_creation_mutex, m_mutex);
  void put_in_place(POAActiveORBImpl& orb, bool running, bool mirrored) EXCLUDES(m_mutex);
  Handle own_record(const char* orb_name) REQUIRES(m_mutex);
  static QZ_Vector<Handle> own_records(const QZ_LocatorInternal::ActiveORBList& list);

  POALocatorImpl& m_locator;
  // Guards no member: makes one out of two creations of the same record. Taken before the lock of any active ORB.
  QZ_Mutex m_creation_mutex ACQUIRED_BEFORE(m_mutex);
  // Serialises use of the host's table; a leaf apart from the store.
  QZ_Mutex m_mutex;
  QZ_LocatorInternal::ActiveORBRegistry_var m_host_registry;
  QZ_String m_home_type_id;
};
