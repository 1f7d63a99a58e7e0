// The tables of the store itself, and how older ones become today's.
#pragma once

#include <chrono>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/pss/connection.h"

namespace QZ_PSS {

// The statements that lead from one version of the schema to the next.
using Migration = std::vector<std::string>;

// Element n leads from version n to n + 1; the number of elements is today's version. Released ones never change.
const std::vector<Migration>& store_migrations();

// The database is not one that this program can use; what() says why.
class SchemaError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Brings the database to the last version, all or nothing; an empty one counts as version 0. SchemaError when it is
// newer, or holds tables but no version.
void migrate(Connection& connection, const std::vector<Migration>& migrations, std::chrono::milliseconds timeout);

}  // namespace QZ_PSS
