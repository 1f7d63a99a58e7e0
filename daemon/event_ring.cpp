#include "daemon/event_ring.h"

#include <algorithm>
#include <utility>

namespace poalocd {

void EventRing::add(Event event) {
  Entry entry{0, event.time, std::move(event.subsystem), event.id, event.priority, std::move(event.message)};
  if (entry.message.size() > MAX_MESSAGE) entry.message.replace(MAX_MESSAGE, std::string::npos, "...");
  const auto time = std::chrono::duration_cast<std::chrono::microseconds>(event.time.time_since_epoch()).count();
  {
    const QZ_MutexLock lock(m_mutex);
    entry.number = m_last = std::max(m_last + 1, static_cast<std::uint64_t>(time));
    if (m_entries.size() == CAPACITY) m_entries.pop_front();
    m_entries.push_back(std::move(entry));
    if (m_waiting == 0) return;
  }
  m_changed.notify_all();
}

EventRing::Entries::const_iterator EventRing::behind(std::uint64_t number) const {
  return std::upper_bound(m_entries.begin(), m_entries.end(), number,
                          [](std::uint64_t n, const Entry& entry) { return n < entry.number; });
}

EventRing::Outcome EventRing::next(std::uint64_t after, std::size_t how_many, Milliseconds wait,
                                   std::vector<Entry>& found) {
  const auto end = std::chrono::steady_clock::now() + std::min(wait, MAX_WAIT);
  const QZ_MutexLock lock(m_mutex);
  if (behind(after) == m_entries.end() && wait.count() > 0 && !m_closed) {
    if (m_waiting == MAX_WAITING) return Outcome::TOO_MANY_WAIT;
    ++m_waiting;
    while (behind(after) == m_entries.end() && !m_closed)
      if (m_changed.wait_until(m_mutex, end) == std::cv_status::timeout) break;
    --m_waiting;
  }
  for (auto entry = behind(after); entry != m_entries.end() && found.size() < how_many; ++entry)
    found.push_back(*entry);
  return Outcome::DONE;
}

void EventRing::close() {
  {
    const QZ_MutexLock lock(m_mutex);
    m_closed = true;
  }
  m_changed.notify_all();
}

unsigned EventRing::waiting() const {
  const QZ_MutexLock lock(m_mutex);
  return m_waiting;
}

}  // namespace poalocd
