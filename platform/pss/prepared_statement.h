// One prepared statement of a connection, with the buffers that it is bound to.
#pragma once

#include <soci/soci.h>

#include "platform/pss/sql.h"

namespace QZ_PSS {

// Used by whoever holds the connection. Raises soci::soci_error; must not be used again then.
class PreparedStatement {
 public:
  PreparedStatement(soci::session& session, const Sql& sql);
  PreparedStatement(const PreparedStatement&) = delete;
  PreparedStatement& operator=(const PreparedStatement&) = delete;

  // Runs to the last row, so that no cursor stays open. Returns the number of rows affected.
  long long execute(const Fields& params, const RowHandler& on_row);

 private:
  Fields m_params;   // bound: never resized
  Fields m_results;  // bound: never resized
  soci::statement m_statement;
};

}  // namespace QZ_PSS
