#include "platform/pss/connection.h"

#include <soci/sqlite3/soci-sqlite3.h>

#include "platform/pss/raise.h"

namespace QZ_PSS {

namespace {

const Sql BEGIN{"begin immediate"};
const Sql COMMIT{"commit"};
const Sql ROLLBACK{"rollback"};
const Sql JOURNAL_MODE{"pragma journal_mode = wal", "", "t"};

std::string timeout_pragma(std::chrono::milliseconds timeout) {
  return "pragma busy_timeout = " + std::to_string(timeout.count());
}

}  // namespace

Connection::Connection(const std::string& path, std::chrono::milliseconds busy_timeout) : m_busy_timeout(busy_timeout) {
  try {
    m_session.open(soci::sqlite3, "dbname=\"" + path + "\"");
  } catch (const soci::soci_error& error) {
    raise(error);
  }
  execute_once(timeout_pragma(m_busy_timeout));
  std::string mode;
  execute(JOURNAL_MODE, {}, [&](const Fields& row) { mode = row[0].text; });
  if (mode != "wal")
    raise<CORBA::PERSIST_STORE>(MINOR_STORE_FAILED, "cannot switch the database to write-ahead logging");
  set_durable(true);
  execute_once("pragma foreign_keys = on");
}

long long Connection::execute(const Sql& sql, const Fields& params, const RowHandler& on_row) {
  try {
    std::unique_ptr<PreparedStatement>& statement = m_statements[&sql];
    if (!statement) statement = std::make_unique<PreparedStatement>(m_session, sql);
    return statement->execute(params, on_row);
  } catch (const soci::soci_error& error) {
    m_statements.erase(&sql);
    failed(error);
  }
}

void Connection::execute_once(const std::string& text) {
  try {
    m_session << text;
  } catch (const soci::soci_error& error) {
    failed(error);
  }
}

void Connection::set_durable(bool durable) {
  execute_once(durable ? "pragma synchronous = full" : "pragma synchronous = normal");
  m_durable = durable;
}

void Connection::begin(std::chrono::milliseconds timeout, bool durable) {
  if (durable != m_durable) set_durable(durable);
  if (timeout >= m_busy_timeout) {
    execute(BEGIN);
    return;
  }
  execute_once(timeout_pragma(timeout));
  try {
    execute(BEGIN);
  } catch (const CORBA::SystemException&) {
    const std::string why = last_error();
    execute_once(timeout_pragma(m_busy_timeout));
    set_last_error(why);
    throw;
  }
  execute_once(timeout_pragma(m_busy_timeout));
}

void Connection::commit() {
  execute(COMMIT);
}
void Connection::rollback() noexcept {
  const std::string why = last_error();
  try {
    execute(ROLLBACK);
  } catch (...) {
    // What led here is of more use than this.
    set_last_error(why);
    m_broken = true;
  }
}

void Connection::failed(const soci::soci_error& error) {
  if (!is_locked(error)) m_broken = true;
  raise(error);
}

}  // namespace QZ_PSS
