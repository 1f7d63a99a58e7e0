#include "daemon/active_process_registry_impl.h"

#include "daemon/locator_store.h"
#include "daemon/store_query.h"

namespace poalocd {

void ActiveProcessRegistryImpl::load(std::map<std::string, ProcessIdentity> found) {
  {
    QZ_PSS::TxSessionAssociation association(m_context.store.session_manager, QZ_PSS::READ_ONLY);
    for_each_record<QZ_LocatorStore::ActiveProcessHome>(
        association, [&](const QZ_LocatorStore::ActiveProcessData& record) {
          const ProcessIdentity identity{static_cast<pid_t>(record.pid()), record.start_time(), record.boot_id()};
          const auto run = found.find(record.name());
          if (run != found.end() && run->second != identity) return;  // the record is of the run before
          found.erase(record.name());
          get_or_make(record.name())->restore(identity, record.leaving());
        });
  }
  for (const auto& [name, identity] : found) get_or_make(name)->take_up(identity);
}

QZ_LocatorInternal::ActiveProcess_ptr ActiveProcessRegistryImpl::find(const char* name) {
  RefCountHandle<ActiveProcessImpl> process;
  {
    const QZ_MutexLock lock(m_mutex);
    const auto found = m_processes.find(name);
    if (found != m_processes.end()) process = found->second;
  }
  if (process.is_null() || process->idle()) return QZ_LocatorInternal::ActiveProcess::_nil();
  return QZ_LocatorInternal::ActiveProcess::_duplicate(process.get());
}

QZ_LocatorInternal::ActiveProcess_ptr ActiveProcessRegistryImpl::create(QZ_IMRInternal::Process_ptr process,
                                                                        CORBA::Boolean running) {
  if (CORBA::is_nil(process)) throw CORBA::BAD_PARAM(0, CORBA::COMPLETED_NO);
  const CORBA::String_var name = process->name();
  const auto result = get_or_make(name.in());
  if (running) result->mark_running();
  return QZ_LocatorInternal::ActiveProcess::_duplicate(result.get());
}

std::vector<RefCountHandle<ActiveProcessImpl>> ActiveProcessRegistryImpl::list() const {
  const QZ_MutexLock lock(m_mutex);
  std::vector<RefCountHandle<ActiveProcessImpl>> result;
  for (const auto& [name, process] : m_processes) result.push_back(process);
  return result;
}

std::vector<RefCountHandle<ActiveProcessImpl>> ActiveProcessRegistryImpl::page(const std::string& after,
                                                                               std::size_t how_many) const {
  const QZ_MutexLock lock(m_mutex);
  std::vector<RefCountHandle<ActiveProcessImpl>> result;
  for (auto entry = m_processes.upper_bound(after); entry != m_processes.end() && result.size() < how_many; ++entry)
    result.push_back(entry->second);
  return result;
}

RefCountHandle<ActiveProcessImpl> ActiveProcessRegistryImpl::find_configured(const std::string& name) {
  const QZ_IMRInternal::Process_var process = m_context.processes->find(name.c_str());
  return CORBA::is_nil(process) ? RefCountHandle<ActiveProcessImpl>() : get_or_make(name);
}

RefCountHandle<ActiveProcessImpl> ActiveProcessRegistryImpl::get_or_make(const std::string& name) {
  const QZ_MutexLock lock(m_mutex);
  auto& process = m_processes[name];
  if (process.is_null()) process = RefCountHandle<ActiveProcessImpl>(new ActiveProcessImpl(m_context, name));
  return process;
}

}  // namespace poalocd
