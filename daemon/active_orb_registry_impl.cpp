#include "daemon/active_orb_registry_impl.h"

namespace poalocd {

void ActiveOrbRegistryImpl::insert(QZ_LocatorInternal::ActiveORB_ptr which) {
  if (CORBA::is_nil(which)) throw CORBA::BAD_PARAM(0, CORBA::COMPLETED_NO);
  const CORBA::String_var name = which->name();
  const QZ_LocatorInternal::ActiveProcess_var process = which->process();
  const CORBA::String_var process_name = CORBA::is_nil(process) ? CORBA::string_dup("") : process->name();
  const QZ_MutexLock lock(m_mutex);
  if (m_by_name.contains(name.in())) throw CORBA::BAD_PARAM(0, CORBA::COMPLETED_NO);
  m_entries.push_back({name.in(), process_name.in(), QZ_LocatorInternal::ActiveORB::_duplicate(which)});
  m_by_name.emplace(name.in(), std::prev(m_entries.end()));
}

QZ_LocatorInternal::ActiveORB_ptr ActiveOrbRegistryImpl::find(const char* name) {
  const QZ_MutexLock lock(m_mutex);
  const auto found = m_by_name.find(name);
  return found == m_by_name.end() ? QZ_LocatorInternal::ActiveORB::_nil()
                                  : QZ_LocatorInternal::ActiveORB::_duplicate(found->second->orb);
}

CORBA::ULong ActiveOrbRegistryImpl::number_of_entries() {
  const QZ_MutexLock lock(m_mutex);
  return static_cast<CORBA::ULong>(m_entries.size());
}

template <class Condition>
QZ_LocatorInternal::ActiveORBList* ActiveOrbRegistryImpl::list_if(Condition condition) {
  QZ_LocatorInternal::ActiveORBList_var result = new QZ_LocatorInternal::ActiveORBList;
  const QZ_MutexLock lock(m_mutex);
  result->length(static_cast<CORBA::ULong>(m_entries.size()));
  CORBA::ULong count = 0;
  for (const auto& entry : m_entries)
    if (condition(entry)) result[count++] = QZ_LocatorInternal::ActiveORB::_duplicate(entry.orb);
  result->length(count);
  return result._retn();
}

QZ_LocatorInternal::ActiveORBList* ActiveOrbRegistryImpl::list() {
  return list_if([](const Entry&) { return true; });
}

QZ_LocatorInternal::ActiveORBList* ActiveOrbRegistryImpl::list_by_process(const char* process_name) {
  return list_if([&](const Entry& entry) { return entry.process_name == process_name; });
}

std::vector<QZ_LocatorInternal::ActiveORB_var> ActiveOrbRegistryImpl::page(const std::string& after,
                                                                           std::size_t how_many) {
  std::vector<QZ_LocatorInternal::ActiveORB_var> result;
  const QZ_MutexLock lock(m_mutex);
  for (auto entry = m_by_name.upper_bound(after); entry != m_by_name.end() && result.size() < how_many; ++entry)
    result.push_back(entry->second->orb);
  return result;
}

void ActiveOrbRegistryImpl::remove(const char* name) {
  Entries removed;  // given up without the lock
  const QZ_MutexLock lock(m_mutex);
  const auto found = m_by_name.find(name);
  if (found == m_by_name.end()) throw CORBA::OBJECT_NOT_EXIST(0, CORBA::COMPLETED_NO);
  removed.splice(removed.end(), m_entries, found->second);
  m_by_name.erase(found);
}

void ActiveOrbRegistryImpl::clear() {
  Entries removed;
  const QZ_MutexLock lock(m_mutex);
  removed.swap(m_entries);
  m_by_name.clear();
}

}  // namespace poalocd
