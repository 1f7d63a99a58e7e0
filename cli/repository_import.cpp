#include "cli/repository_import.h"

#include <cstring>
#include <thread>

#include "cli/failure.h"
#include "cli/text.h"

namespace poaloc {

namespace {

using QZ_IMRAdmin::ImportProgress;
using QZ_IMRAdmin::RepositoryPart;

// Well below what any ORB takes as one message.
constexpr std::size_t PART_SIZE = 200'000;
constexpr std::size_t ENTRY_OVERHEAD = 64;
constexpr std::chrono::milliseconds POLL_INTERVAL{50};

std::size_t size_of(const CORBA::StringSeq& list) {
  std::size_t size = 0;
  for (CORBA::ULong i = 0; i < list.length(); ++i) size += std::strlen(list[i]) + 8;
  return size;
}

std::size_t size_of(const QZ_IMRAdmin::ProcessInfo& info) {
  return ENTRY_OVERHEAD + std::strlen(info.name) + size_of(info.argv) + std::strlen(info.working_directory) +
         size_of(info.environment) + std::strlen(info.user) + std::strlen(info.log_file);
}

std::size_t size_of(const QZ_LocationCommon::ORBInfo& info) {
  return ENTRY_OVERHEAD + std::strlen(info.name) + std::strlen(info.process);
}

std::size_t size_of(const QZ_IMRAdmin::POAEntry& entry) {
  return ENTRY_OVERHEAD + size_of(entry.name) + std::strlen(entry.orb_name);
}

template <class List, class Entry>
void append(List& list, const Entry& entry) {
  const CORBA::ULong length = list.length();
  // Room for many, because the sequence would grow by one each time.
  if (length == list.maximum()) list.length(length * 2 + 16);
  list.length(length + 1);
  list[length] = entry;
}

const char* phase_text(QZ_IMRAdmin::ImportPhase phase) {
  return phase == QZ_IMRAdmin::IMPORT_WRITING ? "Writing" : "Checking";
}

}  // namespace

RepositoryImport::RepositoryImport(Context& context)
    : m_context(context), m_bar(context.streams().err, context.streams().err_is_terminal) {
  const auto repository = context.connection().resolve<QZ_IMRAdmin::Repository>(QZ_IMRAdmin::REPOSITORY_ADMIN);
  context.connection().expect_changes();
  try {
    m_import = repository->start_import();
  } catch (const CORBA::IMP_LIMIT&) {
    throw Failure(FAILED, "Too many imports are under way at this locator: wait for one of them to end.");
  }
}

RepositoryImport::~RepositoryImport() {
  try {
    m_import->destroy();
  } catch (const CORBA::Exception&) {
    // The locator forgets it by itself.
  }
}

void RepositoryImport::send(const RepositoryDocument& document) {
  m_total = document.size();
  RepositoryPart part;
  std::size_t size = 0;
  const auto add = [&](auto& list, const auto& entry) {
    append(list, entry);
    size += size_of(entry);
    if (size < PART_SIZE) return;
    send_part(part);
    size = 0;
  };
  for (const auto& info : document.processes) add(part.processes, info);
  for (const auto& info : document.orbs) add(part.orbs, info);
  for (const auto& entry : document.poas) add(part.poas, entry);
  send_part(part);
}

void RepositoryImport::send_part(RepositoryPart& part) {
  if (m_interrupt.seen())
    throw Failure(FAILED, "The import was cancelled, and nothing is stored: start it again when you are ready.");
  m_import->add(part);
  m_sent += part.processes.length() + part.orbs.length() + part.poas.length();
  m_bar.show("Sending", m_sent, m_total);
  part.processes.length(0);
  part.orbs.length(0);
  part.poas.length(0);
}

ImportProgress RepositoryImport::commit(QZ_IMRAdmin::ImportMode mode, bool check_only) {
  m_import->commit(mode, check_only);
  for (;;) {
    const QZ_IMRAdmin::ImportProgress_var progress = m_import->progress();
    switch (progress->phase) {
      case QZ_IMRAdmin::IMPORT_DONE:
        m_bar.clear();
        return progress.in();
      case QZ_IMRAdmin::IMPORT_REFUSED:
        refused(progress);
      case QZ_IMRAdmin::IMPORT_FAILED:
        m_bar.clear();
        throw Failure(FAILED, "Nothing was imported, because " + printable(progress->failure.in()) +
                                  ": look into \"poaloc events\" and try again.");
      default:
        m_bar.show(phase_text(progress->phase), progress->entries_done, progress->entries);
    }
    if (m_interrupt.seen())
      throw Failure(FAILED,
                    "The import was cancelled while the locator was at it, and either all of it is stored or nothing: "
                    "\"poaloc import --check\" with the same file tells which.");
    std::this_thread::sleep_for(POLL_INTERVAL);
  }
}

void RepositoryImport::refused(const ImportProgress& progress) {
  m_bar.clear();
  QZ_IMRAdmin::ImportProblemList_var problems = m_import->problems();
  for (CORBA::ULong i = 0; i < problems->length(); ++i)
    m_context.note(printable(problems[i].entry.in()) + " " + printable(problems[i].reason.in()) + ".");
  throw Failure(REFUSED, "Nothing was imported, because of " + std::to_string(progress.problems) +
                             (progress.problems == 1 ? " entry" : " entries") +
                             " that cannot be: correct the file, or give --update to change entries that exist.");
}

}  // namespace poaloc
