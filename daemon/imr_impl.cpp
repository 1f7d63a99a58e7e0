#include "daemon/imr_impl.h"

#include <algorithm>

#include "daemon/configuration_error.h"
#include "daemon/host_event.h"
#include "platform/pss/transaction_guard.h"

namespace poalocd {

namespace {

using QZ_LocationCommon::DestroyType;

[[noreturn]] void raise_no_entry() {
  throw CORBA::OBJECT_NOT_EXIST(0, CORBA::COMPLETED_NO);
}

[[noreturn]] void raise_has_references(const std::vector<std::string>& names) {
  QZ_LocationCommon::ReferenceList references;
  references.length(static_cast<CORBA::ULong>(names.size()));
  for (CORBA::ULong i = 0; i < references.length(); ++i) references[i] = names[i].c_str();
  throw QZ_LocationCommon::HasReferences(references);
}

}  // namespace

ImrImpl::ImrImpl(const StoreAccess& store, QZ_Logging::EventLog_ptr log)
    : m_store(store),
      m_log(QZ_Logging::EventLog::_duplicate(log)),
      m_oa_imrs(new OaImrRegistryImpl),
      m_processes(new ProcessRegistryImpl(store)),
      m_orbs(new OrbRegistryImpl(store, log, m_processes.get())) {}

void ImrImpl::load(const Settings& settings) {
  m_processes->load();
  m_orbs->load();
  const auto configured = settings.processes.size() + settings.orbs.size();
  if (configured == 0) return;
  if (m_processes->size() + m_orbs->size() == 0) return seed(settings);
  report(m_log, CONFIGURED_ENTRIES_IGNORED_EVENT, {std::to_string(configured)});
}

void ImrImpl::seed(const Settings& settings) {
  for (const auto& orb : settings.orbs) {
    const bool known = orb.process.empty() || std::ranges::any_of(settings.processes, [&](const auto& process) {
                         return process.name == orb.process;
                       });
    if (!known)
      throw ConfigurationError("orb \"" + orb.name + "\": there is no process \"" + orb.process +
                               "\"; add a [[process]] of that name");
  }
  QZ_PSS::TransactionGuard guard(m_store.current);
  for (const auto& process : settings.processes) m_processes->write(process);
  for (const auto& orb : settings.orbs) m_orbs->write(orb);
  guard.commit();
  for (const auto& process : settings.processes) m_processes->show(process);
  for (const auto& orb : settings.orbs) m_orbs->show(orb);
}

QZ_IMRInternal::OAIMRRegistry_ptr ImrImpl::oa_imr_registry() {
  return QZ_IMRInternal::OAIMRRegistry::_duplicate(m_oa_imrs.get());
}

QZ_IMRInternal::ORBRegistry_ptr ImrImpl::orb_registry() {
  return QZ_IMRInternal::ORBRegistry::_duplicate(m_orbs.get());
}

QZ_IMRInternal::ProcessRegistry_ptr ImrImpl::process_registry() {
  return QZ_IMRInternal::ProcessRegistry::_duplicate(m_processes.get());
}

QZ_IMRInternal::POARepository_ptr ImrImpl::poa_repository() const {
  for (const auto& repository : m_oa_imrs->list()) {
    const QZ_IMRInternal::POARepository_var found = QZ_IMRInternal::POARepository::_narrow(repository);
    if (!CORBA::is_nil(found)) return QZ_IMRInternal::POARepository::_duplicate(found);
  }
  return QZ_IMRInternal::POARepository::_nil();
}

void ImrImpl::add_process(const ProcessSettings& settings) {
  const QZ_MutexLock lock(m_changes);
  if (!m_processes->get(settings.name).is_null()) throw QZ_IMRAdmin::AlreadyExists(settings.name.c_str());
  m_processes->write(settings);
  m_processes->show(settings);
  report(m_log, PROCESS_ADDED_EVENT, {settings.name});
}

void ImrImpl::change_process(const ProcessSettings& settings) {
  const QZ_MutexLock lock(m_changes);
  if (m_processes->get(settings.name).is_null()) raise_no_entry();
  write_process(settings);
}

bool ImrImpl::change_process(const ProcessSettings& before, const ProcessSettings& settings) {
  const QZ_MutexLock lock(m_changes);
  const auto process = m_processes->get(settings.name);
  if (process.is_null()) raise_no_entry();
  if (process->settings() != before) return false;
  write_process(settings);
  return true;
}

void ImrImpl::write_process(const ProcessSettings& settings) {
  m_processes->write(settings);
  m_processes->show(settings);
  report(m_log, PROCESS_CHANGED_EVENT, {settings.name});
}

void ImrImpl::destroy_process(const std::string& name, DestroyType type, const std::vector<std::string>& in_the_way) {
  const QZ_MutexLock lock(m_changes);
  const auto process = m_processes->get(name);
  if (process.is_null()) raise_no_entry();
  const auto orbs = m_orbs->of_process(name);
  if (type == QZ_LocationCommon::DESTROY_NORMAL) {
    std::vector<std::string> references;
    for (const auto& orb : orbs) references.push_back("ORB " + orb->settings().name);
    references.insert(references.end(), in_the_way.begin(), in_the_way.end());
    if (!references.empty()) raise_has_references(references);
  }
  for (const auto& repository : m_oa_imrs->list()) repository->process_pre_destroy(process.get(), type);
  if (type == QZ_LocationCommon::DESTROY_DEEP)
    for (const auto& orb : orbs) remove_orb(orb->settings().name, type);
  const auto left = m_orbs->of_process(name);
  QZ_PSS::TransactionGuard guard(m_store.current);
  for (const auto& orb : left) m_orbs->write({orb->settings().name, ""});
  m_processes->erase(name);
  guard.commit();
  for (const auto& orb : left) m_orbs->show({orb->settings().name, ""});
  m_processes->hide(name);
  report(m_log, PROCESS_DESTROYED_EVENT, {name});
}

void ImrImpl::check_orb(const OrbSettings& settings) const {
  if (settings.name.empty()) throw QZ_IMRAdmin::InvalidValue("name", "is empty");
  if (!settings.process.empty() && m_processes->get(settings.process).is_null())
    throw QZ_IMRAdmin::InvalidValue("process",
                                    ("is not known: there is no process \"" + settings.process + "\"").c_str());
}

void ImrImpl::add_orb(const OrbSettings& settings) {
  const QZ_MutexLock lock(m_changes);
  check_orb(settings);
  if (!m_orbs->get(settings.name).is_null()) throw QZ_IMRAdmin::AlreadyExists(settings.name.c_str());
  m_orbs->write(settings);
  m_orbs->show(settings);
  report(m_log, ORB_ADDED_EVENT, {settings.name});
}

void ImrImpl::change_orb(const OrbSettings& settings) {
  const QZ_MutexLock lock(m_changes);
  if (m_orbs->get(settings.name).is_null()) raise_no_entry();
  check_orb(settings);
  m_orbs->write(settings);
  m_orbs->show(settings);
  report(m_log, ORB_CHANGED_EVENT, {settings.name, settings.process});
}

void ImrImpl::destroy_orb(const std::string& name, DestroyType type) {
  const QZ_MutexLock lock(m_changes);
  remove_orb(name, type);
}

void ImrImpl::remove_orb(const std::string& name, DestroyType type) {
  const auto orb = m_orbs->get(name);
  if (orb.is_null()) raise_no_entry();
  // All or nothing. The write turn that a repository has taken stays ours; its locks stand before the store, so only
  // one repository may write.
  QZ_PSS::TransactionGuard guard(m_store.current);
  for (const auto& repository : m_oa_imrs->list()) repository->orb_pre_destroy(orb.get(), type);
  // A server that registers from now on makes a new record, when the write turn is its own.
  m_orbs->hide(name);
  try {
    m_orbs->erase(name);
    guard.commit();
  } catch (...) {
    m_orbs->show(orb->settings());
    throw;
  }
  report(m_log, ORB_DESTROYED_EVENT, {name});
}

}  // namespace poalocd
