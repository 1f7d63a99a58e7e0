// One import into the repository, from the first entry collected to the end of its transaction.
#pragma once

#include <chrono>
#include <qz_imr_internal.hh>
#include <thread>

#include "daemon/admin/import_entries.h"
#include "daemon/admin/import_state.h"
#include "daemon/imr_impl.h"

namespace poalocd {

// Safe from any thread, but cancel() and the destructor are not for the import's own.
class Import {
 public:
  using Clock = std::chrono::steady_clock;

  Import(ImrImpl& imr, QZ_Logging::EventLog_ptr log);
  // Cancels.
  ~Import() { cancel(); }
  Import(const Import&) = delete;
  Import& operator=(const Import&) = delete;

  // As QZ_IMRAdmin::RepositoryImport has them.
  void add(const QZ_IMRAdmin::RepositoryPart& part);
  void commit(QZ_IMRAdmin::ImportMode mode, bool check_only);
  QZ_IMRAdmin::ImportProgress progress() const { return m_state->progress(); }
  QZ_IMRAdmin::ImportProblemList problems() const { return m_state->problems(); }

  // When it returns, all is stored or nothing ever will be.
  void cancel();

  void touch();
  // Zero while it checks or writes.
  Clock::duration unused() const;

 private:
  void require_collecting() const;
  void run(RefCountHandle<ImportEntries> entries, QZ_IMRAdmin::ImportMode mode, bool check_only);
  QZ_IMRInternal::ImportCounts check(ImportEntries& entries, QZ_IMRAdmin::ImportMode mode);
  QZ_IMRInternal::ImportCounts write(ImportEntries& entries, QZ_IMRAdmin::ImportMode mode);

  ImrImpl& m_imr;
  const QZ_Logging::EventLog_var m_log;
  const RefCountHandle<ImportState> m_state;
  mutable QZ_Mutex m_mutex;
  RefCountHandle<ImportEntries> m_entries GUARDED_BY(m_mutex);  // null once it is committed or cancelled
  std::thread m_thread GUARDED_BY(m_mutex);
  Clock::time_point m_last_used GUARDED_BY(m_mutex) = Clock::now();
};

}  // namespace poalocd
