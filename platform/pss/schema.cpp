#include "platform/pss/schema.h"

#include "platform/pss/pss_errors.h"
#include "platform/pss/raise.h"

namespace QZ_PSS {

namespace {

const Sql TABLES{"select count(*) from sqlite_master where type = 'table'", "", "n"};
const Sql VERSION_TABLES{"select count(*) from sqlite_master where type = 'table' and name = 'pss_schema'", "", "n"};
const Sql VERSION{"select version from pss_schema", "", "n"};
const Sql SET_VERSION{"update pss_schema set version = :version", "n"};

long long number(Connection& connection, const Sql& sql) {
  long long result = 0;
  connection.execute(sql, {}, [&](const Fields& row) { result = row[0].number; });
  return result;
}

void migrate_locked(Connection& connection, const std::vector<Migration>& migrations) {
  const auto newest = static_cast<long long>(migrations.size());
  long long version = 0;
  if (number(connection, VERSION_TABLES) > 0) {
    version = number(connection, VERSION);
  } else {
    if (number(connection, TABLES) > 0) throw SchemaError("the database holds tables that are not this store's");
    connection.execute_once("create table pss_schema (version bigint not null)");
    connection.execute_once("insert into pss_schema (version) values (0)");
  }
  if (version > newest)
    throw SchemaError("its schema version " + std::to_string(version) + " is newer than version " +
                      std::to_string(newest) + ", the newest that this program knows");
  if (version == newest) return;
  for (; version < newest; ++version)
    for (const std::string& statement : migrations[static_cast<std::size_t>(version)])
      connection.execute_once(statement);
  connection.execute(SET_VERSION, {number_field(version)});
}

}  // namespace

const std::vector<Migration>& store_migrations() {
  static const std::vector<Migration> migrations{
      // 1: the catalogue of homes; each home's own tables are made when it is registered.
      {"create table pss_home (number integer primary key autoincrement, home_type_id text not null unique, "
       "storage_type text not null, key_member text not null, layout text not null)"},
  };
  return migrations;
}

void migrate(Connection& connection, const std::vector<Migration>& migrations, std::chrono::milliseconds timeout) {
  connection.begin(timeout, true);
  try {
    migrate_locked(connection, migrations);
    connection.commit();
  } catch (...) {
    connection.rollback();
    throw;
  }
}

}  // namespace QZ_PSS
