#include "daemon/stop_limit.h"

#include <unistd.h>

#include <utility>

#include "daemon/command_line.h"
#include "daemon/host_event.h"
#include "daemon/seconds_text.h"

namespace poalocd {

StopLimit::~StopLimit() {
  {
    const QZ_MutexLock lock(m_mutex);
    m_over = true;
  }
  m_changed.notify_all();
  if (m_thread.joinable()) m_thread.join();
}

void StopLimit::begin(Milliseconds limit, RefCountHandle<EventLogImpl> log) {
  m_thread = std::thread([this, limit, log = std::move(log)] {
    const QZ_MutexLock lock(m_mutex);
    if (m_changed.wait_for(m_mutex, limit, [this]() REQUIRES(m_mutex) { return m_over; })) return;
    report(log.get(), STOP_LIMIT_EVENT, {seconds_text(limit)});
    ::_exit(EXIT_STOPPED);
  });
}

}  // namespace poalocd
