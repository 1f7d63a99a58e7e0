#include "daemon/process_registry_impl.h"

#include "daemon/imr_store.h"
#include "daemon/store_query.h"
#include "platform/pss/transaction_guard.h"

namespace poalocd {

namespace {

using QZ_ImrStore::ProcessData;
using QZ_ImrStore::ProcessDataHome;

std::vector<std::string> to_lines(const std::map<std::string, std::string>& environment) {
  std::vector<std::string> result;
  for (const auto& [name, value] : environment) result.push_back(name + "=" + value);
  return result;
}

ProcessSettings to_settings(const ProcessData& record) {
  ProcessSettings result;
  result.name = record.name();
  result.argv = record.argv();
  result.working_directory = record.working_directory();
  for (const auto& line : record.environment())
    if (const auto equals = line.find('='); equals != std::string::npos)
      result.environment.emplace(line.substr(0, equals), line.substr(equals + 1));
  result.user = record.user();
  result.startup_time_limit = Milliseconds(record.startup_time_limit());
  result.stop_grace = Milliseconds(record.stop_grace());
  result.log_file = record.log_file();
  return result;
}

void write_record(ProcessData& record, const ProcessSettings& settings) {
  record.argv(settings.argv);
  record.working_directory(settings.working_directory);
  record.environment(to_lines(settings.environment));
  record.user(settings.user);
  record.startup_time_limit(static_cast<CORBA::ULongLong>(settings.startup_time_limit.count()));
  record.stop_grace(static_cast<CORBA::ULongLong>(settings.stop_grace.count()));
  record.log_file(settings.log_file);
}

}  // namespace

ProcessRegistryImpl::ProcessRegistryImpl(StoreAccess store) : m_store(std::move(store)) {}

void ProcessRegistryImpl::load() {
  QZ_PSS::TxSessionAssociation association(m_store.session_manager, QZ_PSS::READ_ONLY);
  for_each_record<ProcessDataHome>(association, [&](const ProcessData& record) { show(to_settings(record)); });
}

QZ_IMRInternal::Process_ptr ProcessRegistryImpl::find(const char* name) {
  const auto process = get(name);
  return process.is_null() ? QZ_IMRInternal::Process::_nil() : QZ_IMRInternal::Process::_duplicate(process.get());
}

RefCountHandle<ImrProcess> ProcessRegistryImpl::get(const std::string& name) const {
  const QZ_MutexLock lock(m_mutex);
  const auto found = m_processes.find(name);
  return found == m_processes.end() ? RefCountHandle<ImrProcess>() : found->second;
}

std::size_t ProcessRegistryImpl::size() const {
  const QZ_MutexLock lock(m_mutex);
  return m_processes.size();
}

ProcessRegistryImpl::ImrProcesses ProcessRegistryImpl::page(const std::string& after, std::size_t how_many) const {
  const QZ_MutexLock lock(m_mutex);
  ImrProcesses result;
  for (auto entry = m_processes.upper_bound(after); entry != m_processes.end() && result.size() < how_many; ++entry)
    result.push_back(entry->second);
  return result;
}

void ProcessRegistryImpl::write(const ProcessSettings& settings) {
  QZ_PSS::in_transaction(m_store.current, m_store.session_manager, [&](QZ_PSS::TxSessionAssociation& association) {
    auto& home = find_home<ProcessDataHome>(association);
    const auto record =
        find_or_create([&] { return home.find_by_name(settings.name); }, [&] { return home.create(settings.name); });
    write_record(record.deref(), settings);
  });
}

void ProcessRegistryImpl::show(const ProcessSettings& settings) {
  const RefCountHandle<ImrProcess> process(new ImrProcess(settings));
  const QZ_MutexLock lock(m_mutex);
  m_processes.insert_or_assign(settings.name, process);
}

void ProcessRegistryImpl::erase(const std::string& name) {
  QZ_PSS::in_transaction(m_store.current, m_store.session_manager, [&](QZ_PSS::TxSessionAssociation& association) {
    auto& home = find_home<ProcessDataHome>(association);
    destroy_if_found([&] { return home.find_by_name(name); });
  });
}

void ProcessRegistryImpl::hide(const std::string& name) {
  const QZ_MutexLock lock(m_mutex);
  m_processes.erase(name);
}

}  // namespace poalocd
