#include "cli/context.h"

#include "cli/failure.h"

namespace poaloc {

Output& Context::output() {
  if (!m_output)
    m_output = std::make_unique<Output>(m_streams.out, m_streams.err, m_options.json, m_streams.out_is_terminal);
  return *m_output;
}

Connection& Context::connection() {
  if (!m_connection) m_connection = std::make_unique<Connection>(m_options);
  return *m_connection;
}

void Context::confirm(const std::string& question) {
  if (m_options.yes) return;
  if (!m_streams.in_is_terminal)
    throw Failure(NOT_CONFIRMED, "Nothing was changed, because nobody can be asked here: repeat it with --yes.");
  m_streams.err << question << "? [y/N] " << std::flush;
  std::string answer;
  std::getline(m_streams.in, answer);
  if (answer != "y" && answer != "Y" && answer != "yes")
    throw Failure(NOT_CONFIRMED, "Nothing was changed: answer y to go on, or give --yes.");
}

void Context::note(const std::string& sentence) {
  m_streams.err << "poaloc: " << sentence << "\n";
}

}  // namespace poaloc
