#include "daemon/liveness_monitor.h"

#include "daemon/exception_text.h"
#include "daemon/host_event.h"

namespace poalocd {

namespace {

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
    const std::lock_guard lock(m_mutex);
    m_stopping = true;
  }
  m_wake.notify_all();
  if (m_thread.joinable()) m_thread.join();
}

void LivenessMonitor::run() {
  std::unique_lock lock(m_mutex);
  while (!m_wake.wait_for(lock, m_settings.interval, [this] { return m_stopping; })) {
    lock.unlock();
    check();
    lock.lock();
  }
}

void LivenessMonitor::check() {
  for (const auto& process : m_processes.list()) process->check_unwatched(m_settings.failures);

  std::map<std::string, Suspect> next;
  const QZ_LocatorInternal::ActiveORBList_var orbs = m_orbs.list();
  for (CORBA::ULong i = 0; i < orbs->length(); ++i) {
    {
      const std::lock_guard lock(m_mutex);
      if (m_stopping) return;
    }
    const QZ_LocatorInternal::ActiveORB_ptr orb = orbs.in()[i];
    try {
      const CORBA::String_var name = orb->name();
      check_orb(name.in(), orb, next);
    } catch (...) {
      report(m_log, THREAD_FAILED_EVENT, {"probes servers", current_exception_text()});
    }
  }
  m_suspects.swap(next);
}

void LivenessMonitor::check_orb(const std::string& name, QZ_LocatorInternal::ActiveORB_ptr orb,
                                std::map<std::string, Suspect>& next) {
  if (is_watched(orb) || !orb->registered() || answers(orb)) return;
  const auto before = m_suspects.find(name);
  const bool same = before != m_suspects.end() && before->second.orb.in() == orb;
  const unsigned failures = (same ? before->second.failures : 0) + 1;
  report(m_log, SERVER_PROBE_FAILED_EVENT, {name, std::to_string(failures), std::to_string(m_settings.failures)});
  if (failures < m_settings.failures) {
    next.insert_or_assign(name, Suspect{QZ_LocatorInternal::ActiveORB::_duplicate(orb), failures});
    return;
  }
  report(m_log, SERVER_DEAD_EVENT, {name});
  orb->process_died();
}

}  // namespace poalocd
