#include "poa_locator/locator/poa_active_orb_registry.h"

#include "platform/pss/result_set.h"
#include "platform/pss/statement.h"
#include "poa_locator/idl/home_configuration.h"
#include "poa_locator/plugin/event_report.h"
#include "poa_locator/plugin/minor_codes.h"
#include "poa_locator/plugin/poa_loc_event_msg.h"
#include "poa_locator/plugin/poa_locator_impl.h"

using QZ_LocatorInternal::ActiveORB_var;
using QZ_LocatorInternal::ActiveORBList_var;
using QZ_POA_PersistentServer::EndpointActivator;
using QZ_PoaLocatorStore::PoaActiveOrbDataRef;
using QZ_PoaLocatorStore::PoaActiveOrbHome;

POAActiveORBRegistry::POAActiveORBRegistry(POALocatorImpl& locator,
                                           QZ_LocatorInternal::ActiveORBRegistry_ptr host_registry)
    : m_locator(locator),
      m_host_registry(QZ_LocatorInternal::ActiveORBRegistry::_duplicate(host_registry)),
      m_home_type_id(configured_home_type_id<PoaActiveOrbHome>(locator.impl_config_nc())) {
  QZ_PSS::register_home<PoaActiveOrbHome>(locator.impl_session_manager_nc(), m_home_type_id);
}

POAActiveORBRegistry::~POAActiveORBRegistry() {
  try {
    for (const Handle& orb : list()) {
      orb->impl_detach();
      m_host_registry->remove(orb->impl_name());
    }
  } catch (const CORBA::Exception&) {
    // The host has given them up itself.
  }
}

void POAActiveORBRegistry::insert(POAActiveORBImpl* orb) {
  // Not under m_mutex: the host asks the record for its process, which takes the record's own mutex.
  m_host_registry->insert(orb);
}

POAActiveORBRegistry::Handle POAActiveORBRegistry::own_record(const char* orb_name) {
  const ActiveORB_var entry = m_host_registry->find(orb_name);
  return Handle::share(dynamic_cast<POAActiveORBImpl*>(entry.in()));
}

POAActiveORBRegistry::Handle POAActiveORBRegistry::find(const char* orb_name) {
  QZ_MutexLock lock(m_mutex);
  return own_record(orb_name);
}

POAActiveORBRegistry::Handle POAActiveORBRegistry::find_or_create(const char* orb_name, bool running) {
  bool created = false;
  return find_or_make(orb_name, EndpointActivator::_nil(), running, created);
}

POAActiveORBRegistry::Handle POAActiveORBRegistry::find_or_create(
    const char* orb_name, QZ_POA_PersistentServer::EndpointActivator_ptr endpoint_activator, bool& created) {
  return find_or_make(orb_name, endpoint_activator, true, created);
}

POAActiveORBRegistry::Handle POAActiveORBRegistry::find_or_make(
    const char* orb_name, QZ_POA_PersistentServer::EndpointActivator_ptr endpoint_activator, bool running,
    bool& created) {
  QZ_MutexLock creation(m_creation_mutex);
  Handle orb = find(orb_name);
  created = orb.is_null();
  if (!created) return orb;
  orb = Handle(new POAActiveORBImpl(m_locator, orb_name, endpoint_activator));
  put_in_place(*orb, running, false);
  return orb;
}

void POAActiveORBRegistry::put_in_place(POAActiveORBImpl& orb, bool running, bool mirrored) {
  // The process may die at once: its end then finds the record in its place.
  QZ_RecursiveMutexLock lock(orb.impl_mutex());
  orb.impl_construct(running);
  bool written = false;
  try {
    if (!mirrored) orb.impl_add_to_persistent_store();
    written = !mirrored;
    insert(&orb);
  } catch (...) {
    if (written) orb.impl_destroy_persistent_data();
    orb.impl_withdraw();
    throw;
  }
}

bool POAActiveORBRegistry::can_activate(const char* orb_name) {
  const Handle orb = find(orb_name);
  if (!orb.is_null()) return orb->impl_can_activate();
  try {
    const QZ_IMRInternal::ORB_var configured = POAActiveORBImpl::impl_imr_orb(m_locator, orb_name);
    return !CORBA::is_nil(configured) && !CORBA::is_nil(QZ_IMRInternal::Process_var(configured->get_process()));
  } catch (const CORBA::Exception&) {
    return true;
  }
}

CORBA::ULong POAActiveORBRegistry::number_of_entries() {
  QZ_MutexLock lock(m_mutex);
  return m_host_registry->number_of_entries();
}

QZ_Vector<POAActiveORBRegistry::Handle> POAActiveORBRegistry::list() {
  QZ_MutexLock lock(m_mutex);
  const ActiveORBList_var all = m_host_registry->list();
  return own_records(all);
}

QZ_Vector<POAActiveORBRegistry::Handle> POAActiveORBRegistry::list_by_process(const char* process_name) {
  QZ_MutexLock lock(m_mutex);
  const ActiveORBList_var all = m_host_registry->list_by_process(process_name);
  return own_records(all);
}

QZ_Vector<POAActiveORBRegistry::Handle> POAActiveORBRegistry::own_records(
    const QZ_LocatorInternal::ActiveORBList& list) {
  QZ_Vector<Handle> records;
  for (CORBA::ULong i = 0; i < list.length(); ++i)
    if (auto* orb = dynamic_cast<POAActiveORBImpl*>(list[i].in())) records.push_back(Handle::share(orb));
  return records;
}

void POAActiveORBRegistry::remove(POAActiveORBImpl& orb) {
  QZ_MutexLock lock(m_mutex);
  const ActiveORB_var entry = m_host_registry->find(orb.impl_name());
  const auto* own = dynamic_cast<POAActiveORBImpl*>(entry.in());
  const bool present = own == &orb;
  if (present) m_host_registry->remove(orb.impl_name());
  // The mirror of another record of the plug-in with this name is that record's.
  if (present || !own) orb.impl_destroy_persistent_data();
  if (!present) throw CORBA::OBJECT_NOT_EXIST(MINOR_NO_ACTIVE_ORB, CORBA::COMPLETED_NO);
}

void POAActiveORBRegistry::load() {
  QZ_PSS::TxSessionAssociation association(m_locator.impl_session_manager_nc(), QZ_PSS::READ_ONLY);
  if (!PoaActiveOrbHome::_narrow(association.find_storage_home(home_type_id())))
    throw CORBA::INTERNAL(0, CORBA::COMPLETED_NO);
  QZ_PSS::Statement statement(association.session());
  const auto rows = statement.execute(home_query(m_home_type_id));
  while (rows->next()) {
    PoaActiveOrbDataRef data = PoaActiveOrbDataRef::from_row(*rows);
    const Handle orb(new POAActiveORBImpl(m_locator, data));
    put_in_place(*orb, false, true);
    report(m_locator.impl_event_log(), POALocEvent::ACTIVE_ORB_LOAD, QZ_Logging::INFORMATION, ACTIVE_ORB_LOAD_MSG,
           {orb->impl_name()});
  }
}
