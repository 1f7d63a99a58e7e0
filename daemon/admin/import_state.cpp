#include "daemon/admin/import_state.h"

namespace poalocd {

using QZ_IMRAdmin::ImportProgress;

namespace {

constexpr CORBA::ULong MAX_PROBLEMS = 100;

}  // namespace

ImportProgress ImportState::start() {
  ImportProgress result{};
  result.phase = QZ_IMRAdmin::IMPORT_COLLECTING;
  return result;
}

CORBA::Boolean ImportState::entry_done() {
  const QZ_MutexLock lock(m_mutex);
  ++m_progress.entries_done;
  return !m_cancelled;
}

void ImportState::problem(const char* entry, const char* reason) {
  const QZ_MutexLock lock(m_mutex);
  ++m_progress.problems;
  const CORBA::ULong length = m_problems.length();
  if (length == MAX_PROBLEMS) return;
  m_problems.length(length + 1);
  m_problems[length].entry = entry;
  m_problems[length].reason = reason;
}

void ImportState::begin(QZ_IMRAdmin::ImportPhase phase, CORBA::ULongLong entries) {
  const QZ_MutexLock lock(m_mutex);
  m_progress.phase = phase;
  m_progress.entries_done = 0;
  m_progress.entries = entries;
  m_progress.problems = 0;
  m_problems.length(0);
}

void ImportState::end(const QZ_IMRInternal::ImportCounts& counts) {
  const QZ_MutexLock lock(m_mutex);
  if (m_progress.problems != 0) {
    m_progress.phase = QZ_IMRAdmin::IMPORT_REFUSED;
    return;
  }
  m_progress.phase = QZ_IMRAdmin::IMPORT_DONE;
  m_progress.entries_done = m_progress.entries;
  m_progress.added = counts.added;
  m_progress.changed = counts.changed;
}

void ImportState::fail(const std::string& reason) {
  const QZ_MutexLock lock(m_mutex);
  if (m_progress.phase >= QZ_IMRAdmin::IMPORT_DONE) return;
  m_progress.phase = QZ_IMRAdmin::IMPORT_FAILED;
  m_progress.failure = reason.c_str();
}

void ImportState::cancel() {
  const QZ_MutexLock lock(m_mutex);
  m_cancelled = true;
}

bool ImportState::cancelled() const {
  const QZ_MutexLock lock(m_mutex);
  return m_cancelled;
}

bool ImportState::has_problems() const {
  const QZ_MutexLock lock(m_mutex);
  return m_progress.problems != 0;
}

QZ_IMRAdmin::ImportPhase ImportState::phase() const {
  const QZ_MutexLock lock(m_mutex);
  return m_progress.phase;
}

ImportProgress ImportState::progress() const {
  const QZ_MutexLock lock(m_mutex);
  return m_progress;
}

QZ_IMRAdmin::ImportProblemList ImportState::problems() const {
  const QZ_MutexLock lock(m_mutex);
  return m_problems;
}

}  // namespace poalocd
