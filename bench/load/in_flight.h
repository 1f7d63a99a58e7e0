#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace bench {

// When the unanswered requests of one connection were sent. Request ids count up from 0.
class InFlight {
 public:
  bool empty() const { return m_oldest == m_next; }
  std::size_t size() const { return m_open; }

  // The new request's id.
  std::uint32_t add(std::int64_t time) {
    if (m_next - m_oldest == m_times.size()) grow();
    m_times[m_next % m_times.size()] = time;
    ++m_open;
    return m_next++;
  }

  // When it was sent; nothing when it is unknown or answered already.
  std::optional<std::int64_t> take(std::uint32_t id) {
    if (id - m_oldest >= m_next - m_oldest) return std::nullopt;
    std::int64_t& place = m_times[id % m_times.size()];
    if (place == ANSWERED) return std::nullopt;
    const std::int64_t time = place;
    place = ANSWERED;
    --m_open;
    while (!empty() && m_times[m_oldest % m_times.size()] == ANSWERED) ++m_oldest;
    return time;
  }

  // The same for servers that answer in order and repeat one id.
  std::optional<std::int64_t> take_oldest() { return take(m_oldest); }

 private:
  static constexpr std::int64_t ANSWERED = -1;

  // The size stays a power of two, so that ids may wrap around.
  void grow() {
    std::vector<std::int64_t> times(m_times.size() * 2, ANSWERED);
    for (std::uint32_t id = m_oldest; id != m_next; ++id) times[id % times.size()] = m_times[id % m_times.size()];
    m_times.swap(times);
  }

  std::vector<std::int64_t> m_times = std::vector<std::int64_t>(4, ANSWERED);
  std::uint32_t m_oldest = 0;
  std::uint32_t m_next = 0;
  std::size_t m_open = 0;
};

}  // namespace bench
