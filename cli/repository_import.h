// An import into the locator, from the first entry sent to the end of its transaction.
#pragma once

#include "cli/context.h"
#include "cli/interrupt.h"
#include "cli/progress_bar.h"
#include "cli/repository_document.h"

namespace poaloc {

class RepositoryImport {
 public:
  explicit RepositoryImport(Context& context);
  // Cancels it unless it is done.
  ~RepositoryImport();
  RepositoryImport(const RepositoryImport&) = delete;
  RepositoryImport& operator=(const RepositoryImport&) = delete;

  void send(const RepositoryDocument& document);
  // Returns when all is stored (or, check_only, found right). Failure when nothing was written; problems are noted.
  QZ_IMRAdmin::ImportProgress commit(QZ_IMRAdmin::ImportMode mode, bool check_only);

 private:
  void send_part(QZ_IMRAdmin::RepositoryPart& part);
  [[noreturn]] void refused(const QZ_IMRAdmin::ImportProgress& progress);

  Context& m_context;
  Interrupt m_interrupt;
  ProgressBar m_bar;
  QZ_IMRAdmin::RepositoryImport_var m_import;
  std::uint64_t m_sent = 0;
  std::uint64_t m_total = 0;
};

}  // namespace poaloc
