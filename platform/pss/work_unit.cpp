#include "platform/pss/work_unit.h"

#include "platform/pss/raise.h"

namespace QZ_PSS {

WorkUnit::~WorkUnit() {
  give_back();
}

long long WorkUnit::execute(const Sql& sql, const Fields& params, const RowHandler& on_row) {
  check_open();
  return connection().execute(sql, params, on_row);
}

void WorkUnit::end() {
  close();
  give_back();
}

Connection& WorkUnit::connection() {
  if (!m_connection) m_connection = m_store->connections().take();
  return *m_connection;
}

void WorkUnit::give_back() {
  if (m_connection) m_store->connections().give_back(std::move(m_connection));
}

void WorkUnit::check_open() const {
  if (!m_open) raise<CORBA::BAD_INV_ORDER>(MINOR_SESSION_ENDED, minor_text(MINOR_SESSION_ENDED));
}

}  // namespace QZ_PSS
