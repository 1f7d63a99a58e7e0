#include "adapters/omniorb/periodic_check.h"

#include <utility>

namespace PoaLocator {

PeriodicCheck::PeriodicCheck(std::chrono::milliseconds interval, std::function<void()> check)
    : m_interval(interval), m_check(std::move(check)) {
  if (interval.count() > 0) m_thread = std::thread([this] { run(); });
}

void PeriodicCheck::stop() {
  std::thread thread;
  {
    const QZ_MutexLock lock(m_mutex);
    m_stopped = true;
    thread.swap(m_thread);
  }
  m_stop.notify_all();
  if (thread.joinable()) thread.join();
}

void PeriodicCheck::run() {
  while (wait_for_next()) m_check();
}

bool PeriodicCheck::wait_for_next() {
  const QZ_MutexLock lock(m_mutex);
  return !m_stop.wait_for(m_mutex, m_interval, [this]() REQUIRES(m_mutex) { return m_stopped; });
}

}  // namespace PoaLocator
