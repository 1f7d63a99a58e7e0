// Asks servers whose process nobody watches whether they live.
#pragma once

#include <condition_variable>
#include <map>
#include <qz_logging.hh>
#include <string>
#include <thread>
#include <vector>

#include "daemon/active_orb_registry_impl.h"
#include "daemon/active_process_registry_impl.h"
#include "daemon/settings.h"
#include "platform/base/qz_mutex.h"

namespace poalocd {

// Each interval every registered ORB without a watched process is probed; one that fails several times in a row is told
// that its process died. A few are probed at a time, so that one that hangs does not delay the others; a round with
// many that hang may still last longer than the interval.
class LivenessMonitor {
 public:
  LivenessMonitor(const LivenessSettings& settings, ActiveOrbRegistryImpl& orbs, ActiveProcessRegistryImpl& processes,
                  QZ_Logging::EventLog_ptr log);
  ~LivenessMonitor();
  LivenessMonitor(const LivenessMonitor&) = delete;
  LivenessMonitor& operator=(const LivenessMonitor&) = delete;

  // Does nothing when the interval is 0.
  void begin();
  // Waits for probes that are under way.
  void stop();

  // One round; returns at its end. Not while the monitor's own thread runs.
  void check();

 private:
  struct Suspect {
    QZ_LocatorInternal::ActiveORB_var orb;
    unsigned failures;
  };

  struct Round {
    QZ_Mutex mutex;
    std::map<std::string, Suspect> suspects GUARDED_BY(mutex);  // for the next round
  };

  void run();
  void check_orb(QZ_LocatorInternal::ActiveORB_ptr orb, Round& round) const;
  void count_failure(QZ_LocatorInternal::ActiveORB_ptr orb, Round& round) const;
  template <class Work>
  void run_guarded(Work work) const;
  bool stopping() const;
  // An interval later; false, at once, when the monitor is to stop.
  bool wait_for_next();

  const LivenessSettings m_settings;
  ActiveOrbRegistryImpl& m_orbs;
  ActiveProcessRegistryImpl& m_processes;
  const QZ_Logging::EventLog_var m_log;
  std::map<std::string, Suspect> m_suspects;  // of the last round; changed by whoever runs check(), between probes

  mutable QZ_Mutex m_mutex;
  std::condition_variable_any m_wake;
  bool m_stopping GUARDED_BY(m_mutex) = false;
  std::thread m_thread;
};

}  // namespace poalocd
