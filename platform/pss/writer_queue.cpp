#include "platform/pss/writer_queue.h"

namespace QZ_PSS {

bool WriterQueue::acquire(std::chrono::steady_clock::time_point deadline) {
  const QZ_MutexLock lock(m_mutex);
  if (!m_taken) {
    m_taken = true;
    return true;
  }
  Waiter waiter;
  const auto place = m_waiting.insert(m_waiting.end(), &waiter);
  if (waiter.turn.wait_until(m_mutex, deadline, [&] { return waiter.granted; })) return true;
  m_waiting.erase(place);
  return false;
}

void WriterQueue::release() {
  const QZ_MutexLock lock(m_mutex);
  if (m_waiting.empty()) {
    m_taken = false;
    return;
  }
  // The turn passes on without becoming free, so that nobody can slip in between.
  Waiter* next = m_waiting.front();
  m_waiting.pop_front();
  next->granted = true;
  next->turn.notify_one();
}

std::size_t WriterQueue::waiting() const {
  const QZ_MutexLock lock(m_mutex);
  return m_waiting.size();
}

}  // namespace QZ_PSS
