#include "daemon/admin/host_import.h"

#include "daemon/process_info.h"

namespace poalocd {

void HostImport::take(const ImportEntries& entries) {
  for (const auto& info : entries.processes()) {
    take_process(info);
    entry_done();
  }
  for (const auto& info : entries.orbs()) {
    take_orb({info.name.in(), info.process.in()});
    entry_done();
  }
}

void HostImport::entry_done() const {
  if (!m_listener->entry_done()) throw CORBA::INTERNAL(0, CORBA::COMPLETED_NO);
}

void HostImport::take_process(const QZ_IMRAdmin::ProcessInfo& info) {
  const std::string entry = "process " + std::string(info.name.in());
  if (!m_process_names.insert(info.name.in()).second) return problem(entry, "is there twice");
  try {
    const auto wanted = to_settings(info);
    const auto existing = m_imr.processes().get(wanted.name);
    sort_in(entry, wanted, existing.is_null() ? nullptr : &existing->settings(), m_processes);
  } catch (const QZ_IMRAdmin::InvalidValue& e) {
    problem(entry, "cannot be: its " + std::string(e.member.in()) + " " + e.reason.in());
  }
}

void HostImport::take_orb(const OrbSettings& settings) {
  const std::string entry = "ORB " + settings.name;
  if (settings.name.empty()) return problem(entry, "has no name");
  if (!m_orb_names.insert(settings.name).second) return problem(entry, "is there twice");
  if (!settings.process.empty() && m_process_names.count(settings.process) == 0 &&
      m_imr.processes().get(settings.process).is_null())
    return problem(
        entry, "belongs to the process \"" + settings.process + "\", which is neither in the repository nor imported");
  const auto existing = m_imr.orbs().get(settings.name);
  sort_in(entry, settings, existing.is_null() ? nullptr : &existing->settings(), m_orbs);
}

template <class Settings>
void HostImport::sort_in(const std::string& entry, const Settings& wanted, const Settings* existing,
                         std::vector<Settings>& list) {
  if (existing && *existing == wanted) return;
  if (existing && m_mode == QZ_IMRAdmin::IMPORT_ADD) return problem(entry, "exists already with other settings");
  ++(existing ? m_counts.changed : m_counts.added);
  list.push_back(wanted);
}

void HostImport::problem(const std::string& entry, const std::string& reason) {
  m_listener->problem(entry.c_str(), reason.c_str());
}

void HostImport::write() const {
  for (const auto& process : m_processes) m_imr.processes().write(process);
  for (const auto& orb : m_orbs) m_imr.orbs().write(orb);
}

void HostImport::show() const {
  for (const auto& process : m_processes) m_imr.processes().show(process);
  for (const auto& orb : m_orbs) m_imr.orbs().show(orb);
}

}  // namespace poalocd
