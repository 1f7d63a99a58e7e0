#include "cli/progress_bar.h"

#include <algorithm>

namespace poaloc {

namespace {

constexpr std::uint64_t WIDTH = 40;

}  // namespace

void ProgressBar::show(const std::string& what, std::uint64_t done, std::uint64_t total) {
  if (!m_enabled || total == 0 || Clock::now() - m_begin < m_delay) return;
  done = std::min(done, total);
  const std::uint64_t filled = WIDTH * done / total;
  std::string line = what + " [" + std::string(filled, '#') + std::string(WIDTH - filled, ' ') + "] " +
                     std::to_string(100 * done / total) + "% of " + std::to_string(total);
  if (line == m_shown) return;
  m_shown = std::move(line);
  m_out << "\r\033[K" << m_shown << std::flush;
}

void ProgressBar::clear() {
  if (m_shown.empty()) return;
  m_shown.clear();
  m_out << "\r\033[K" << std::flush;
}

}  // namespace poaloc
