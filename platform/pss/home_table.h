// A registered home: its storage type, its table and the SQL that works on it.
#pragma once

#include <string>
#include <vector>

#include "platform/pss/session_manager_impl.h"
#include "platform/pss/sql.h"
#include "platform/pss/storage_type.h"

namespace QZ_PSS {

// The SQL of one list member. Elements are rows of a table of their own, so that costs do not depend on the length.
struct ListSql {
  Sql read;          // owner -> value
  Sql append;        // owner, owner, value
  Sql insert;        // owner, position, value
  Sql remove;        // owner, owner, value
  Sql clear;         // owner
  Sql add_to_count;  // difference, seq
};

// Immutable once made, and lives as long as its store.
class HomeTable {
 public:
  HomeTable(std::string home_type_id, long long number, std::string table, const StorageType& type,
            HomeFactory home_factory, ObjectFactory object_factory);
  HomeTable(const HomeTable&) = delete;
  HomeTable& operator=(const HomeTable&) = delete;

  // The statements that make the tables of a new home, or of members added to a known one.
  static std::vector<std::string> create_statements(const std::string& table, const StorageType& type);
  static std::vector<std::string> extend_statements(const std::string& table, const Member& added);

  const std::string home_type_id;
  const long long number;  // stands for the home in stored references
  const std::string table;
  const StorageType& type;
  const HomeFactory home_factory;
  const ObjectFactory object_factory;

  // Rows are: seq, then a column for each member; a list member's column holds the number of its elements.
  Sql find;                   // key -> row
  Sql load;                   // seq -> row
  Sql page;                   // seq -> rows of the following records
  Sql count;                  // -> number of records
  Sql insert;                 // members -> seq; no row when the key is taken
  Sql destroy;                // seq
  std::vector<Sql> update;    // by member: value, seq
  std::vector<ListSql> list;  // by member; empty for others
};

}  // namespace QZ_PSS
