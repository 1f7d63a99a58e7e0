// The host's part of an import: processes and ORBs.
#pragma once

#include <qz_imr_internal.hh>
#include <set>
#include <string>
#include <vector>

#include "daemon/admin/import_entries.h"
#include "daemon/imr_impl.h"

namespace poalocd {

// Used once, by one thread: take(), and unless there has been a problem write(), and show() when that is durable. What
// take() has found holds as long as nobody else changes the repository.
class HostImport {
 public:
  // listener: told of problems and of each entry. None of the arguments is kept beyond this object.
  HostImport(ImrImpl& imr, QZ_IMRAdmin::ImportMode mode, QZ_IMRInternal::ImportListener_ptr listener)
      : m_imr(imr), m_mode(mode), m_listener(listener) {}
  HostImport(const HostImport&) = delete;
  HostImport& operator=(const HostImport&) = delete;

  // Finds out what is to be written. Writes nothing. INTERNAL when the listener cancels.
  void take(const ImportEntries& entries);
  // In the calling thread's transaction.
  void write() const;
  void show() const;

  const QZ_IMRInternal::ImportCounts& counts() const { return m_counts; }

 private:
  void take_process(const QZ_IMRAdmin::ProcessInfo& info);
  void take_orb(const OrbSettings& settings);
  // What is to be done with an entry: nothing when it is the same already.
  template <class Settings>
  void sort_in(const std::string& entry, const Settings& wanted, const Settings* existing, std::vector<Settings>& list);
  void entry_done() const;
  void problem(const std::string& entry, const std::string& reason);

  ImrImpl& m_imr;
  const QZ_IMRAdmin::ImportMode m_mode;
  const QZ_IMRInternal::ImportListener_ptr m_listener;
  QZ_IMRInternal::ImportCounts m_counts{};
  std::set<std::string> m_process_names;  // of this import
  std::set<std::string> m_orb_names;
  std::vector<ProcessSettings> m_processes;  // to be written
  std::vector<OrbSettings> m_orbs;
};

}  // namespace poalocd
