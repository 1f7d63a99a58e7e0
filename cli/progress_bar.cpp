#include "cli/progress_bar.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>

namespace poaloc {

namespace {

constexpr std::size_t MAX_WIDTH = 40;
constexpr std::size_t USUAL_COLUMNS = 80;

std::size_t terminal_columns() {
  winsize size{};
  const bool known = ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0;
  return known ? size.ws_col : USUAL_COLUMNS;
}

}  // namespace

void ProgressBar::show(const std::string& what, std::uint64_t done, std::uint64_t total) {
  if (!m_enabled || total == 0 || Clock::now() - m_begin < m_delay) return;
  done = std::min(done, total);
  const std::string end = std::to_string(100 * done / total) + "% of " + std::to_string(total);
  // A line that wraps could not be taken away; the cursor needs a column, too.
  const std::size_t columns = terminal_columns() - 1;
  const std::size_t others =
      what.size() + std::string(" [] ").size() + std::string("100% of ").size() + std::to_string(total).size();
  const std::size_t width = others < columns ? std::min(MAX_WIDTH, columns - others) : 0;
  const std::size_t filled = width * done / total;
  const std::string bar = width == 0 ? "" : "[" + std::string(filled, '#') + std::string(width - filled, ' ') + "] ";
  std::string line = (what + " " + bar + end).substr(0, columns);
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
