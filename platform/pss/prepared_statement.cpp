#include "platform/pss/prepared_statement.h"

#include <stdexcept>

namespace QZ_PSS {

PreparedStatement::PreparedStatement(soci::session& session, const Sql& sql)
    : m_params(sql.params.size()), m_results(sql.results.size()), m_statement(session) {
  for (std::size_t i = 0; i < m_params.size(); ++i) {
    if (sql.params[i] == 't')
      m_statement.exchange(soci::use(m_params[i].text));
    else
      m_statement.exchange(soci::use(m_params[i].number));
  }
  for (std::size_t i = 0; i < m_results.size(); ++i) {
    if (sql.results[i] == 't')
      m_statement.exchange(soci::into(m_results[i].text));
    else
      m_statement.exchange(soci::into(m_results[i].number));
  }
  m_statement.alloc();
  m_statement.prepare(sql.text);
  m_statement.define_and_bind();
}

long long PreparedStatement::execute(const Fields& params, const RowHandler& on_row) {
  if (params.size() != m_params.size()) throw std::logic_error("wrong number of SQL parameters");
  for (std::size_t i = 0; i < params.size(); ++i) m_params[i] = params[i];
  for (bool more = m_statement.execute(true); more; more = m_statement.fetch())
    if (on_row) on_row(m_results);
  return m_statement.get_affected_rows();
}

}  // namespace QZ_PSS
