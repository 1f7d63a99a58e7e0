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
    const std::lock_guard lock(m_mutex);
    m_stopped = true;
    thread.swap(m_thread);
  }
  m_stop.notify_all();
  if (thread.joinable()) thread.join();
}

void PeriodicCheck::run() {
  std::unique_lock lock(m_mutex);
  while (!m_stop.wait_for(lock, m_interval, [this] { return m_stopped; })) {
    lock.unlock();
    m_check();
    lock.lock();
  }
}

}  // namespace PoaLocator
