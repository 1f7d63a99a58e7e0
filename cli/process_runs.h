// A process that is started and stopped.
#pragma once

#include <qz_locator_admin.hh>

#include <chrono>
#include <string>

#include "cli/connection.h"
#include "cli/output.h"

namespace poaloc {

class ProcessRun {
 public:
  // Failure (NOT_FOUND) when no such process is configured.
  ProcessRun(Connection& connection, const std::string& name);

  // Failures say why it cannot be.
  void start();
  void stop();
  void restart();

  // Return when the run that stop() or restart() ended is over, and when the next one is there. Failure (FAILED) when
  // that takes much longer than the grace period.
  void wait_for_end();
  void wait_for_successor();

  // What it is now. done: as in "started". Failure (FAILED) when it does not run any more.
  void report(Output& output, const std::string& done);

 private:
  template <class Condition>
  void wait_until(Condition condition, const std::string& what);
  [[noreturn]] void fail_start(const QZ_LocatorAdmin::StartFailed& e) const;

  const std::string m_name;
  std::chrono::milliseconds m_stop_grace;
  QZ_LocatorAdmin::ActiveProcess_var m_process;
  QZ_LocatorAdmin::ActiveProcessInfo m_before;
};

}  // namespace poaloc
