#include "daemon/orb_registry_impl.h"

#include <algorithm>
#include <utility>

#include "daemon/configuration_error.h"
#include "daemon/host_event.h"
#include "daemon/imr_store.h"
#include "daemon/store_query.h"
#include "platform/pss/transaction_guard.h"

namespace poalocd {

namespace {

using QZ_ImrStore::OrbData;
using QZ_ImrStore::OrbDataHome;

// Immutable; safe from any thread.
class ImrOrb : public virtual QZ_IMRInternal::ORB, public QZ_CORBA::RefCountedLocalObject {
 public:
  ImrOrb(std::string name, std::string process_name, QZ_IMRInternal::ProcessRegistry_ptr processes)
      : m_name(std::move(name)),
        m_process_name(std::move(process_name)),
        m_processes(QZ_IMRInternal::ProcessRegistry::_duplicate(processes)) {}

  char* name() override { return CORBA::string_dup(m_name.c_str()); }
  QZ_IMRInternal::Process_ptr get_process() override {
    return m_process_name.empty() ? QZ_IMRInternal::Process::_nil() : m_processes->find(m_process_name.c_str());
  }
  QZ_LocationCommon::ORBInfo* info() override {
    QZ_LocationCommon::ORBInfo_var result = new QZ_LocationCommon::ORBInfo;
    result->name = m_name.c_str();
    result->process = m_process_name.c_str();
    return result._retn();
  }
  const std::string& process_name() const { return m_process_name; }

 private:
  const std::string m_name;
  const std::string m_process_name;
  const QZ_IMRInternal::ProcessRegistry_var m_processes;
};

}  // namespace

OrbRegistryImpl::OrbRegistryImpl(StoreAccess store, QZ_Logging::EventLog_ptr log,
                                 QZ_IMRInternal::ProcessRegistry_ptr processes)
    : m_store(std::move(store)),
      m_log(QZ_Logging::EventLog::_duplicate(log)),
      m_processes(QZ_IMRInternal::ProcessRegistry::_duplicate(processes)) {}

void OrbRegistryImpl::load(const std::vector<OrbSettings>& configured) {
  for (const auto& orb : configured) {
    const QZ_IMRInternal::Process_var process = m_processes->find(orb.process.c_str());
    if (!orb.process.empty() && CORBA::is_nil(process))
      throw ConfigurationError("orb \"" + orb.name + "\": there is no process \"" + orb.process +
                               "\"; add a [[process]] of that name");
  }
  QZ_PSS::in_transaction(m_store.current, m_store.session_manager, [&](QZ_PSS::TxSessionAssociation& association) {
    auto& home = find_home<OrbDataHome>(association);
    for (const auto& orb : configured) {
      destroy_if_found([&] { return home.find_by_name(orb.name); });
      home.create(orb.name, orb.process);
    }
  });
  for (const auto& orb : configured) keep(orb.name, orb.process);
  QZ_PSS::TxSessionAssociation association(m_store.session_manager, QZ_PSS::READ_ONLY);
  for_each_record<OrbDataHome>(association, [&](const OrbData& record) { keep(record.name(), record.process_name()); });
}

void OrbRegistryImpl::keep(const std::string& name, const std::string& process_name) {
  QZ_IMRInternal::ORB_var orb = new ImrOrb(name, process_name, m_processes);
  const QZ_MutexLock lock(m_mutex);
  if (!m_orbs.emplace(name, orb).second) return;
  if (!process_name.empty()) m_by_process[process_name].push_back(name);
}

QZ_IMRInternal::ORB_ptr OrbRegistryImpl::find(const char* name) {
  const QZ_MutexLock lock(m_mutex);
  const auto found = m_orbs.find(name);
  return found == m_orbs.end() ? QZ_IMRInternal::ORB::_nil() : QZ_IMRInternal::ORB::_duplicate(found->second);
}

QZ_IMRInternal::ORB_ptr OrbRegistryImpl::add(const char* name) {
  if (!name || !*name) throw CORBA::BAD_PARAM(0, CORBA::COMPLETED_NO);
  QZ_IMRInternal::ORB_var existing = find(name);
  if (!CORBA::is_nil(existing)) return existing._retn();
  bool created = true;
  try {
    QZ_PSS::in_transaction(m_store.current, m_store.session_manager, [&](QZ_PSS::TxSessionAssociation& association) {
      find_home<OrbDataHome>(association).create(name, "");
    });
  } catch (const CORBA::PERSIST_STORE& e) {
    // Another thread was faster.
    if (!QZ_PSS::is_already_exists(e)) throw;
    created = false;
  }
  keep(name, "");
  if (created) report(m_log, ORB_ADDED_EVENT, {name});
  return find(name);
}

QZ_IMRInternal::ORBList* OrbRegistryImpl::list_by_process(const char* process_name) {
  QZ_IMRInternal::ORBList_var result = new QZ_IMRInternal::ORBList;
  const QZ_MutexLock lock(m_mutex);
  const auto found = m_by_process.find(process_name);
  if (found == m_by_process.end()) return result._retn();
  result->length(static_cast<CORBA::ULong>(found->second.size()));
  for (CORBA::ULong i = 0; i < result->length(); ++i)
    result[i] = QZ_IMRInternal::ORB::_duplicate(m_orbs.at(found->second[i]));
  return result._retn();
}

bool OrbRegistryImpl::remove(const std::string& name) {
  QZ_IMRInternal::ORB_var orb = find(name.c_str());
  if (CORBA::is_nil(orb)) return false;
  QZ_PSS::in_transaction(m_store.current, m_store.session_manager, [&](QZ_PSS::TxSessionAssociation& association) {
    auto& home = find_home<OrbDataHome>(association);
    destroy_if_found([&] { return home.find_by_name(name); });
  });
  const QZ_LocationCommon::ORBInfo_var info = orb->info();
  const QZ_MutexLock lock(m_mutex);
  const auto group = m_by_process.find(info->process.in());
  if (group != m_by_process.end()) std::erase(group->second, name);
  return m_orbs.erase(name) != 0;
}

std::size_t OrbRegistryImpl::size() const {
  const QZ_MutexLock lock(m_mutex);
  return m_orbs.size();
}

}  // namespace poalocd
