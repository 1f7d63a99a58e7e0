#include "daemon/orb_registry_impl.h"

#include "daemon/host_event.h"
#include "daemon/imr_store.h"
#include "daemon/store_query.h"
#include "platform/pss/transaction_guard.h"

namespace poalocd {

namespace {

using QZ_ImrStore::OrbData;
using QZ_ImrStore::OrbDataHome;

}  // namespace

QZ_IMRInternal::Process_ptr ImrOrb::get_process() {
  return m_settings.process.empty() ? QZ_IMRInternal::Process::_nil() : m_processes->find(m_settings.process.c_str());
}

QZ_LocationCommon::ORBInfo* ImrOrb::info() {
  QZ_LocationCommon::ORBInfo_var result = new QZ_LocationCommon::ORBInfo;
  result->name = m_settings.name.c_str();
  result->process = m_settings.process.c_str();
  return result._retn();
}

OrbRegistryImpl::OrbRegistryImpl(StoreAccess store, QZ_Logging::EventLog_ptr log,
                                 QZ_IMRInternal::ProcessRegistry_ptr processes)
    : m_store(std::move(store)),
      m_log(QZ_Logging::EventLog::_duplicate(log)),
      m_processes(QZ_IMRInternal::ProcessRegistry::_duplicate(processes)) {}

void OrbRegistryImpl::load() {
  QZ_PSS::TxSessionAssociation association(m_store.session_manager, QZ_PSS::READ_ONLY);
  for_each_record<OrbDataHome>(association,
                               [&](const OrbData& record) { show({record.name(), record.process_name()}); });
}

QZ_IMRInternal::ORB_ptr OrbRegistryImpl::find(const char* name) {
  const auto orb = get(name);
  return orb.is_null() ? QZ_IMRInternal::ORB::_nil() : QZ_IMRInternal::ORB::_duplicate(orb.get());
}

QZ_IMRInternal::ORB_ptr OrbRegistryImpl::add(const char* name) {
  if (!name || !*name) throw CORBA::BAD_PARAM(0, CORBA::COMPLETED_NO);
  QZ_IMRInternal::ORB_var existing = find(name);
  if (!CORBA::is_nil(existing)) return existing._retn();
  OrbSettings settings{name, ""};
  const bool created =
      QZ_PSS::in_transaction(m_store.current, m_store.session_manager, [&](QZ_PSS::TxSessionAssociation& association) {
        auto& home = find_home<OrbDataHome>(association);
        bool is_new = false;
        const auto record = find_or_create([&] { return home.find_by_name(name); },
                                           [&] {
                                             is_new = true;
                                             return home.create(name, "");
                                           });
        // Another thread may have been faster.
        settings.process = record->process_name();
        return is_new;
      });
  place(settings, false);
  if (created) report(m_log, ORB_ADDED_EVENT, {name});
  return find(name);
}

QZ_IMRInternal::ORBList* OrbRegistryImpl::list_by_process(const char* process_name) {
  const auto orbs = of_process(process_name);
  QZ_IMRInternal::ORBList_var result = new QZ_IMRInternal::ORBList;
  result->length(static_cast<CORBA::ULong>(orbs.size()));
  for (CORBA::ULong i = 0; i < result->length(); ++i) result[i] = QZ_IMRInternal::ORB::_duplicate(orbs[i].get());
  return result._retn();
}

RefCountHandle<ImrOrb> OrbRegistryImpl::get(const std::string& name) const {
  const QZ_MutexLock lock(m_mutex);
  const auto found = m_orbs.find(name);
  return found == m_orbs.end() ? RefCountHandle<ImrOrb>() : found->second.orb;
}

std::size_t OrbRegistryImpl::size() const {
  const QZ_MutexLock lock(m_mutex);
  return m_orbs.size();
}

OrbRegistryImpl::ImrOrbs OrbRegistryImpl::page(const std::string& after, std::size_t how_many) const {
  const QZ_MutexLock lock(m_mutex);
  ImrOrbs result;
  for (auto entry = m_orbs.upper_bound(after); entry != m_orbs.end() && result.size() < how_many; ++entry)
    result.push_back(entry->second.orb);
  return result;
}

OrbRegistryImpl::ImrOrbs OrbRegistryImpl::of_process(const std::string& process_name) const {
  const QZ_MutexLock lock(m_mutex);
  ImrOrbs result;
  const auto group = m_by_process.find(process_name);
  if (group == m_by_process.end()) return result;
  for (const auto& [number, orb] : group->second) result.push_back(orb);
  return result;
}

void OrbRegistryImpl::write(const OrbSettings& settings) {
  QZ_PSS::in_transaction(m_store.current, m_store.session_manager, [&](QZ_PSS::TxSessionAssociation& association) {
    auto& home = find_home<OrbDataHome>(association);
    find_or_create([&] { return home.find_by_name(settings.name); }, [&] { return home.create(settings.name, ""); })
        ->process_name(settings.process);
  });
}

void OrbRegistryImpl::place(const OrbSettings& settings, bool replace) {
  const RefCountHandle<ImrOrb> orb(new ImrOrb(settings, m_processes));
  const QZ_MutexLock lock(m_mutex);
  auto& entry = m_orbs[settings.name];
  if (entry.orb.is_null()) {
    entry.number = ++m_latest;
  } else {
    if (!replace) return;
    leave_process(entry);
  }
  entry.orb = orb;
  if (!settings.process.empty()) m_by_process[settings.process].emplace(entry.number, orb);
}

void OrbRegistryImpl::erase(const std::string& name) {
  QZ_PSS::in_transaction(m_store.current, m_store.session_manager, [&](QZ_PSS::TxSessionAssociation& association) {
    auto& home = find_home<OrbDataHome>(association);
    destroy_if_found([&] { return home.find_by_name(name); });
  });
}

void OrbRegistryImpl::hide(const std::string& name) {
  const QZ_MutexLock lock(m_mutex);
  const auto found = m_orbs.find(name);
  if (found == m_orbs.end()) return;
  leave_process(found->second);
  m_orbs.erase(found);
}

void OrbRegistryImpl::leave_process(const Entry& entry) {
  const auto group = m_by_process.find(entry.orb->settings().process);
  if (group == m_by_process.end()) return;
  group->second.erase(entry.number);
  if (group->second.empty()) m_by_process.erase(group);
}

}  // namespace poalocd
