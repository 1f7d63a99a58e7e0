// One connection to the database, and the statements prepared on it.
#pragma once

#include <soci/soci.h>

#include <chrono>
#include <memory>
#include <string>
#include <unordered_map>

#include "platform/pss/prepared_statement.h"
#include "platform/pss/sql.h"

namespace QZ_PSS {

// Used by one thread at a time. All failures are raised as CORBA system exceptions (pss_errors.h).
class Connection {
 public:
  // path: of a SQLite file, made when it is not there.
  Connection(const std::string& path, std::chrono::milliseconds busy_timeout);
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  // Prepared at the first call. Returns the number of rows affected. on_row must not use the connection.
  long long execute(const Sql& sql, const Fields& params = {}, const RowHandler& on_row = {});
  // For statements that are run once, such as the schema's.
  void execute_once(const std::string& text);

  // Takes the database's write lock; waits for other processes up to timeout. The log holds commits in their order, so
  // that a durable one makes all before it durable as well, whichever connections made them, provided that it changes
  // something: one that does not writes nothing and waits for nothing.
  void begin(std::chrono::milliseconds timeout, bool durable);
  void commit();
  // Leaves the connection marked as broken when the engine cannot.
  void rollback() noexcept;

  // Something went wrong that may have left the connection unusable: do not use it for other work.
  bool broken() const { return m_broken; }

 private:
  void set_durable(bool durable);
  [[noreturn]] void failed(const soci::soci_error& error);

  const std::chrono::milliseconds m_busy_timeout;
  bool m_durable = false;  // commits wait for the disk
  bool m_broken = false;
  soci::session m_session;
  std::unordered_map<const Sql*, std::unique_ptr<PreparedStatement>> m_statements;  // gone before the session is
};

}  // namespace QZ_PSS
