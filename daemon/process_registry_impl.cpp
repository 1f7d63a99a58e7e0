#include "daemon/process_registry_impl.h"

#include <utility>

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

}  // namespace

ProcessRegistryImpl::ProcessRegistryImpl(StoreAccess store) : m_store(std::move(store)) {}

void ProcessRegistryImpl::load(const std::vector<ProcessSettings>& configured) {
  QZ_PSS::in_transaction(m_store.current, m_store.session_manager, [&](QZ_PSS::TxSessionAssociation& association) {
    auto& home = find_home<ProcessDataHome>(association);
    for (const auto& process : configured) {
      destroy_if_found([&] { return home.find_by_name(process.name); });
      home.create(process.name, process.argv, process.working_directory, to_lines(process.environment), process.user,
                  static_cast<CORBA::ULongLong>(process.startup_time_limit.count()),
                  static_cast<CORBA::ULongLong>(process.stop_grace.count()), process.log_file);
    }
  });
  QZ_PSS::TxSessionAssociation association(m_store.session_manager, QZ_PSS::READ_ONLY);
  for_each_record<ProcessDataHome>(association, [&](const ProcessData& record) {
    QZ_IMRInternal::Process_var process = new ImrProcess(to_settings(record));
    const QZ_MutexLock lock(m_mutex);
    m_processes.insert_or_assign(record.name(), process);
  });
}

QZ_IMRInternal::Process_ptr ProcessRegistryImpl::find(const char* name) {
  const QZ_MutexLock lock(m_mutex);
  const auto found = m_processes.find(name);
  return found == m_processes.end() ? QZ_IMRInternal::Process::_nil()
                                    : QZ_IMRInternal::Process::_duplicate(found->second);
}

std::size_t ProcessRegistryImpl::size() const {
  const QZ_MutexLock lock(m_mutex);
  return m_processes.size();
}

}  // namespace poalocd
