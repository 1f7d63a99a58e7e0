#include "cli/output.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "cli/failure.h"
#include "cli/text.h"

namespace poaloc {

namespace {

constexpr const char* GAP = "  ";

std::string upper_case(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
  return text;
}

// Users say no with NO_COLOR, and some terminals cannot.
bool may_style() {
  const char* const refused = std::getenv("NO_COLOR");
  const char* const terminal = std::getenv("TERM");
  return (!refused || !*refused) && terminal && std::string(terminal) != "dumb";
}

// Nothing follows the last cell.
std::string aligned_line(const std::vector<std::string>& cells, const std::vector<std::size_t>& widths) {
  std::string result;
  for (std::size_t i = 0; i < cells.size(); ++i) {
    result += cells[i];
    if (i + 1 < cells.size()) result += std::string(widths[i] - display_width(cells[i]), ' ') + GAP;
  }
  return result;
}

}  // namespace

void Output::line(const std::string& text) {
  this->text(text + "\n");
}

void Output::text(const std::string& text) {
  m_out << text;
  check();
}

void Output::flush() {
  m_out.flush();
  check();
}

void Output::check() const {
  if (m_out) return;
  const int error = errno;
  throw Failure(FAILED, error == EPIPE ? ""
                                       : std::string("Standard output cannot be written, ") + std::strerror(error) +
                                             ": let it go elsewhere.");
}

void Output::heading(const std::string& text) {
  line(emphasised(text));
}

void Output::fields(const std::vector<std::pair<std::string, std::string>>& lines) {
  std::size_t width = 0;
  for (const auto& [name, value] : lines) width = std::max(width, display_width(name));
  for (const auto& [name, value] : lines)
    line(emphasised(name) + std::string(width - display_width(name), ' ') + GAP + value);
}

std::vector<std::string> Output::to_cells(const std::vector<Json>& values) {
  std::vector<std::string> result;
  for (const Json& value : values) result.push_back(cell_text(value));
  return result;
}

void Output::table(const std::vector<std::string>& titles, const std::vector<std::vector<std::string>>& rows) {
  std::vector<std::string> headings;
  std::vector<std::size_t> widths;
  for (const std::string& title : titles) {
    headings.push_back(upper_case(title));
    widths.push_back(display_width(title));
  }
  for (const auto& row : rows)
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], display_width(row[i]));
  heading(aligned_line(headings, widths));
  for (const auto& row : rows) line(aligned_line(row, widths));
}

void Output::note_empty(const std::string& sentence) {
  if (m_terminal) m_notes << sentence << "\n";
}

std::string Output::emphasised(const std::string& text) const {
  return m_terminal && may_style() ? "\033[1m" + text + "\033[0m" : text;
}

}  // namespace poaloc
