#include "daemon/gathered_events.h"

namespace poalocd {

GatheredEvents::GatheredEvents(EventLogImpl& log, std::chrono::milliseconds period)
    : m_log(log), m_thread([this, period] { write_out(period); }) {
  m_log.gather(true);
}

GatheredEvents::~GatheredEvents() {
  {
    const QZ_MutexLock lock(m_mutex);
    m_over = true;
  }
  m_changed.notify_all();
  m_thread.join();
  m_log.gather(false);
}

void GatheredEvents::write_out(std::chrono::milliseconds period) {
  const QZ_MutexLock lock(m_mutex);
  while (!m_changed.wait_for(m_mutex, period, [this]() REQUIRES(m_mutex) { return m_over; })) m_log.flush();
}

}  // namespace poalocd
