#include "daemon/admin/import.h"

#include <malloc.h>

#include <string>
#include <system_error>
#include <utility>

#include "daemon/admin/host_import.h"
#include "daemon/exception_text.h"
#include "daemon/host_event.h"
#include "platform/pss/pss_errors.h"
#include "platform/pss/transaction_guard.h"

namespace poalocd {

using QZ_IMRAdmin::ImportMode;
using QZ_IMRInternal::ImportCounts;

namespace {

const char* const CANCELLED = "it was cancelled";

QZ_IMRInternal::POARepository_var poas_of(const ImrImpl& imr) {
  QZ_IMRInternal::POARepository_var result = imr.poa_repository();
  if (CORBA::is_nil(result)) throw CORBA::NO_IMPLEMENT(0, CORBA::COMPLETED_NO);
  return result;
}

ImportCounts sum(const ImportCounts& one, const ImportCounts& other) {
  return {one.added + other.added, one.changed + other.changed};
}

std::string failure_text() {
  try {
    throw;
  } catch (const CORBA::SystemException& e) {
    if (*QZ_PSS::minor_text(e.minor()) != 0) return "the store failed: " + QZ_PSS::last_error();
  } catch (...) {
    // No failure of the store.
  }
  return "the locator met " + current_exception_text();
}

}  // namespace

Import::Import(ImrImpl& imr, QZ_Logging::EventLog_ptr log)
    : m_imr(imr),
      m_log(QZ_Logging::EventLog::_duplicate(log)),
      m_state(new ImportState),
      m_entries(new ImportEntries) {}

void Import::require_collecting() const {
  const auto phase = m_state->phase();
  if (phase != QZ_IMRAdmin::IMPORT_COLLECTING) throw QZ_IMRAdmin::WrongPhase(phase);
}

void Import::add(const QZ_IMRAdmin::RepositoryPart& part) {
  const QZ_MutexLock lock(m_mutex);
  require_collecting();
  m_entries->add(part);
}

void Import::commit(ImportMode mode, bool check_only) {
  const QZ_MutexLock lock(m_mutex);
  require_collecting();
  m_state->begin(QZ_IMRAdmin::IMPORT_CHECKING, m_entries->size());
  try {
    m_thread = std::thread([this, entries = std::exchange(m_entries, {}), mode, check_only]() mutable {
      run(std::move(entries), mode, check_only);
    });
  } catch (const std::system_error&) {
    m_state->fail("the locator has no thread for it");
  }
}

void Import::run(RefCountHandle<ImportEntries> entries, ImportMode mode, bool check_only) {
  try {
    const auto size = entries->size();
    auto counts = check(*entries, mode);
    const bool to_write = !check_only && !m_state->has_problems();
    if (to_write) {
      m_state->begin(QZ_IMRAdmin::IMPORT_WRITING, size);
      counts = write(*entries, mode);
    }
    if (to_write && !m_state->has_problems())
      report(m_log, IMPORT_DONE_EVENT,
             {std::to_string(size), std::to_string(counts.added), std::to_string(counts.changed)});
    m_state->end(counts);
  } catch (...) {
    const auto reason = m_state->cancelled() ? CANCELLED : failure_text();
    report(m_log, IMPORT_FAILED_EVENT, {reason});
    m_state->fail(reason);
  }
  entries = {};
  // It may have been large, and the next one comes on another thread, which would not be given this one's memory.
  ::malloc_trim(0);
}

ImportCounts Import::check(ImportEntries& entries, ImportMode mode) {
  HostImport host(m_imr, mode, m_state.get());
  host.take(entries);
  return sum(host.counts(), poas_of(m_imr)->check(&entries, mode, m_state.get()));
}

ImportCounts Import::write(ImportEntries& entries, ImportMode mode) {
  ImportCounts result{};
  m_imr.change([&] {
    // What is there may have changed since the check.
    HostImport host(m_imr, mode, m_state.get());
    host.take(entries);
    QZ_PSS::TransactionGuard guard(m_imr.store().current);
    host.write();
    result = sum(host.counts(), poas_of(m_imr)->write(&entries, mode, m_state.get()));
    if (m_state->has_problems()) return;
    guard.commit();
    host.show();
  });
  return result;
}

void Import::cancel() {
  m_state->cancel();
  std::thread thread;
  {
    const QZ_MutexLock lock(m_mutex);
    thread.swap(m_thread);
    m_entries = {};
    if (!thread.joinable()) m_state->fail(CANCELLED);
  }
  if (thread.joinable()) thread.join();
}

void Import::touch() {
  const QZ_MutexLock lock(m_mutex);
  m_last_used = Clock::now();
}

Import::Clock::duration Import::unused() const {
  const auto phase = m_state->phase();
  if (phase == QZ_IMRAdmin::IMPORT_CHECKING || phase == QZ_IMRAdmin::IMPORT_WRITING) return Clock::duration::zero();
  const QZ_MutexLock lock(m_mutex);
  return Clock::now() - m_last_used;
}

}  // namespace poalocd
