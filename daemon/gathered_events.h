// Lets the event log write many lines at a time while very many come at once.
#pragma once

#include <chrono>
#include <condition_variable>
#include <thread>

#include "daemon/event_log_impl.h"
#include "platform/base/qz_mutex.h"

namespace poalocd {

// From construction to the end of the scope the log gathers (EventLogImpl::gather), and what it has gathered is written
// out at least once in each period: so the log of a start that hangs says how far it came, and one that is killed has
// lost no more than that. One at a time for a log.
class GatheredEvents {
 public:
  static constexpr std::chrono::milliseconds PERIOD{100};

  explicit GatheredEvents(EventLogImpl& log, std::chrono::milliseconds period = PERIOD);
  ~GatheredEvents();
  GatheredEvents(const GatheredEvents&) = delete;
  GatheredEvents& operator=(const GatheredEvents&) = delete;

 private:
  void write_out(std::chrono::milliseconds period);

  EventLogImpl& m_log;
  QZ_Mutex m_mutex;
  std::condition_variable_any m_changed;
  bool m_over GUARDED_BY(m_mutex) = false;
  std::thread m_thread;
};

}  // namespace poalocd
