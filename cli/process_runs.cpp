#include "cli/process_runs.h"

#include <thread>

#include "cli/failure.h"
#include "cli/repository.h"
#include "cli/text.h"

namespace poaloc {

namespace {

constexpr std::chrono::milliseconds POLL_INTERVAL{100};
// For the locator to see what happened and to act on it.
constexpr std::chrono::seconds MARGIN{10};

}  // namespace

ProcessRun::ProcessRun(Connection& connection, const std::string& name) : m_name(name) {
  const auto configured = find_process(connection, name);
  m_stop_grace = std::chrono::milliseconds(QZ_IMRAdmin::ProcessInfo_var(configured->info())->stop_grace);
  const auto registry =
      connection.resolve<QZ_LocatorAdmin::ActiveProcessRegistry>(QZ_LocatorAdmin::ACTIVE_PROCESS_REGISTRY);
  m_process = registry->find(name.c_str());
  // Removed since.
  if (CORBA::is_nil(m_process)) find_process(connection, name);
  m_before = QZ_LocatorAdmin::ActiveProcessInfo_var(m_process->info());
}

void ProcessRun::start() {
  try {
    m_process->start();
  } catch (const QZ_LocatorAdmin::StartFailed& e) {
    fail_start(e);
  }
}

void ProcessRun::stop() {
  try {
    m_process->stop();
  } catch (const QZ_LocatorAdmin::NotRunning&) {
    throw Failure(REFUSED, "Process \"" + printable(m_name) +
                               "\" has no run that the locator started: \"poaloc process list\" shows what runs.");
  }
}

void ProcessRun::restart() {
  try {
    m_process->restart();
  } catch (const QZ_LocatorAdmin::StartFailed& e) {
    fail_start(e);
  }
}

void ProcessRun::fail_start(const QZ_LocatorAdmin::StartFailed& e) const {
  throw Failure(FAILED, "Process \"" + printable(m_name) + "\" cannot be started, " + printable(e.reason.in()) +
                            ": correct it with \"poaloc process set\".");
}

template <class Condition>
void ProcessRun::wait_until(Condition condition, const std::string& what) {
  const auto end = std::chrono::steady_clock::now() + m_stop_grace + MARGIN;
  while (!condition(*QZ_LocatorAdmin::ActiveProcessInfo_var(m_process->info()).operator->())) {
    if (std::chrono::steady_clock::now() > end)
      throw Failure(FAILED, "Process \"" + printable(m_name) + "\" has not " + what +
                                " yet: look into \"poaloc events\" and \"poaloc process show\".");
    std::this_thread::sleep_for(POLL_INTERVAL);
  }
}

void ProcessRun::wait_for_end() {
  wait_until(
      [this](const auto& now) { return now.pid != m_before.pid || now.state == QZ_LocatorAdmin::PROCESS_STOPPED; },
      "ended");
}

void ProcessRun::wait_for_successor() {
  // One that stands still has ended again, or could not be started.
  wait_until(
      [this](const auto& now) {
        return (now.pid != 0 && now.pid != m_before.pid) || now.state == QZ_LocatorAdmin::PROCESS_STOPPED;
      },
      "been started again");
}

void ProcessRun::report(Output& output, const std::string& done) {
  const QZ_LocatorAdmin::ActiveProcessInfo_var now = m_process->info();
  if (now->state == QZ_LocatorAdmin::PROCESS_STOPPED)
    throw Failure(FAILED, "Process \"" + printable(m_name) + "\" was " + done +
                              " and has ended at once: look into \"poaloc process logs\" and \"poaloc events\".");
  const std::string already = m_before.pid != 0 && m_before.pid == now->pid ? " already runs" : " " + done;
  const std::string pid = now->pid ? ", pid " + std::to_string(now->pid) : "";
  output.outcome("Process " + printable(m_name) + already + pid + ".",
                 {{done, m_name}, {"pid", now->pid ? Json(now->pid) : Json()}, {"state", state_text(now->state)}});
}

}  // namespace poaloc
