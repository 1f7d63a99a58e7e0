#pragma once

#include <chrono>
#include <cstdint>
#include <ostream>
#include <string>

namespace poaloc {

// A line on a terminal that shows how far something long is. Appears only when it has taken a while; gone afterwards.
class ProgressBar {
 public:
  // enabled: out is a terminal, that of standard error.
  ProgressBar(std::ostream& out, bool enabled, std::chrono::milliseconds delay = std::chrono::milliseconds(300))
      : m_out(out), m_enabled(enabled), m_delay(delay) {}
  ~ProgressBar() { clear(); }
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

  // what: as in "Writing".
  void show(const std::string& what, std::uint64_t done, std::uint64_t total);
  void clear();

 private:
  using Clock = std::chrono::steady_clock;

  std::ostream& m_out;
  const bool m_enabled;
  const std::chrono::milliseconds m_delay;
  const Clock::time_point m_begin = Clock::now();
  std::string m_shown;
};

}  // namespace poaloc
