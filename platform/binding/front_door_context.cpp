#include "platform/binding/front_door_context.h"

namespace QZ_Binding {

ConnectionCount::Verdict ConnectionCount::enter(const asio::ip::address& peer, const FrontDoorConfig& limits) {
  QZ_MutexLock lock(m_mutex);
  if (m_all >= limits.max_connections) return Verdict::TOO_MANY;
  const auto entry = m_by_address.try_emplace(peer, 0).first;
  if (entry->second >= limits.max_connections_per_address) {
    if (entry->second == 0) m_by_address.erase(entry);
    return Verdict::TOO_MANY_OF_ADDRESS;
  }
  ++entry->second;
  ++m_all;
  return Verdict::ADMITTED;
}

void ConnectionCount::leave(const asio::ip::address& peer) {
  QZ_MutexLock lock(m_mutex);
  if (--m_all == 0) m_none.notify_all();
  const auto entry = m_by_address.find(peer);
  if (--entry->second == 0) m_by_address.erase(entry);
}

void ConnectionCount::wait_for_none(std::chrono::milliseconds limit) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  QZ_MutexLock lock(m_mutex);
  while (m_all > 0 && m_none.wait_until(m_mutex, deadline) == std::cv_status::no_timeout) {
  }
}

}  // namespace QZ_Binding
