#include "daemon/liveness_monitor.h"

#include <algorithm>
#include <atomic>

#include "daemon/exception_text.h"
#include "daemon/host_event.h"

namespace poalocd {

namespace {

// Under way at the same time.
constexpr std::size_t MAX_PROBES = 8;

bool is_watched(QZ_LocatorInternal::ActiveORB_ptr orb) {
  const QZ_LocatorInternal::ActiveProcess_var process = orb->process();
  const auto* own = dynamic_cast<ActiveProcessImpl*>(process.in());
  return own && own->watched();
}

bool answers(QZ_LocatorInternal::ActiveORB_ptr orb) {
  try {
    return orb->probe();
  } catch (const CORBA::Exception&) {
    return false;
  }
}

}  // namespace

LivenessMonitor::LivenessMonitor(const LivenessSettings& settings, ActiveOrbRegistryImpl& orbs,
                                 ActiveProcessRegistryImpl& processes, QZ_Logging::EventLog_ptr log)
    : m_settings(settings), m_orbs(orbs), m_processes(processes), m_log(QZ_Logging::EventLog::_duplicate(log)) {}

LivenessMonitor::~LivenessMonitor() {
  stop();
}

void LivenessMonitor::begin() {
  if (m_settings.interval.count() > 0) m_thread = std::thread([this] { run(); });
}

void LivenessMonitor::stop() {
  {
    const QZ_MutexLock lock(m_mutex);
    m_stopping = true;
  }
  m_wake.notify_all();
  if (m_thread.joinable()) m_thread.join();
}

template <class Work>
void LivenessMonitor::run_guarded(Work work) const {
  try {
    work();
  } catch (...) {
    report(m_log, THREAD_FAILED_EVENT, {"probes servers", current_exception_text()});
  }
}

void LivenessMonitor::run() {
  while (wait_for_next()) run_guarded([this] { check(); });
}

bool LivenessMonitor::wait_for_next() {
  const QZ_MutexLock lock(m_mutex);
  return !m_wake.wait_for(m_mutex, m_settings.interval, [this]() REQUIRES(m_mutex) { return m_stopping; });
}

void LivenessMonitor::check() {
  for (const auto& process : m_processes.list()) process->check_unwatched(m_settings.failures);

  const QZ_LocatorInternal::ActiveORBList_var orbs = m_orbs.list();
  const CORBA::ULong count = orbs->length();
  Round round;
  std::atomic<CORBA::ULong> next{0};
  const auto work = [&] {
    for (CORBA::ULong i; !stopping() && (i = next++) < count;) run_guarded([&] { check_orb(orbs.in()[i], round); });
  };
  std::vector<std::jthread> helpers;
  // Where there is no thread to be had, fewer ask.
  run_guarded([&] {
    while (helpers.size() + 1 < std::min<std::size_t>(count, MAX_PROBES)) helpers.emplace_back(work);
  });
  work();
  helpers.clear();  // waits for them
  const QZ_MutexLock lock(round.mutex);
  m_suspects.swap(round.suspects);
}

void LivenessMonitor::check_orb(QZ_LocatorInternal::ActiveORB_ptr orb, Round& round) const {
  // A server that does not answer may come back and register at any time: what a probe says holds only now.
  if (!is_watched(orb) && orb->registered() && !answers(orb)) count_failure(orb, round);
}

void LivenessMonitor::count_failure(QZ_LocatorInternal::ActiveORB_ptr orb, Round& round) const {
  const CORBA::String_var orb_name = orb->name();
  const std::string name = orb_name.in();
  const auto before = m_suspects.find(name);
  const bool same = before != m_suspects.end() && before->second.orb.in() == orb;
  const unsigned failures = (same ? before->second.failures : 0) + 1;
  report(m_log, SERVER_PROBE_FAILED_EVENT, {name, std::to_string(failures), std::to_string(m_settings.failures)});
  if (failures < m_settings.failures) {
    const QZ_MutexLock lock(round.mutex);
    round.suspects.insert_or_assign(name, Suspect{QZ_LocatorInternal::ActiveORB::_duplicate(orb), failures});
    return;
  }
  report(m_log, SERVER_DEAD_EVENT, {name});
  orb->process_died();
}

bool LivenessMonitor::stopping() const {
  const QZ_MutexLock lock(m_mutex);
  return m_stopping;
}

}  // namespace poalocd
