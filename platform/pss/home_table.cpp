#include "platform/pss/home_table.h"

namespace QZ_PSS {

namespace {

// What differs between database engines.
constexpr const char* SEQUENCE_KEY = "integer primary key autoincrement";
constexpr const char* CLUSTERED = " without rowid";

constexpr int PAGE_ROWS = 256;

std::string quoted(const std::string& name) {
  return "\"" + name + "\"";
}

char letter(const Member& member) {
  switch (member.kind) {
    case Kind::octets:
    case Kind::string:
    case Kind::reference:
    case Kind::object:
      return 't';
    default:
      return 'n';
  }
}

std::string column_definition(const Member& member) {
  return quoted(member.name) + (letter(member) == 't' ? " text not null default ''" : " bigint not null default 0");
}

std::string list_table(const std::string& table, const Member& member) {
  return table + "_" + member.name;
}

std::vector<std::string> list_statements(const std::string& table, const Member& member) {
  const std::string name = list_table(table, member);
  return {
      "create table " + quoted(name) + " (owner bigint not null references " + quoted(table) +
          " (seq) on delete cascade, position bigint not null, value text not null, primary key (owner, position))" +
          CLUSTERED,
      "create index " + quoted(name + "_value") + " on " + quoted(name) + " (owner, value, position)"};
}

ListSql list_sql(const std::string& table, const Member& member) {
  const std::string name = quoted(list_table(table, member));
  const std::string count = quoted(member.name);
  ListSql sql;
  sql.read = {"select value from " + name + " where owner = :owner order by position", "n", "t"};
  sql.append = {"insert into " + name +
                    " (owner, position, value) values (:owner, (select coalesce(max(position), 0) + 1 from " + name +
                    " where owner = :same), :value)",
                "nnt"};
  sql.insert = {"insert into " + name + " (owner, position, value) values (:owner, :position, :value)", "nnt"};
  sql.remove = {"delete from " + name + " where owner = :owner and position = (select min(position) from " + name +
                    " where owner = :same and value = :value)",
                "nnt"};
  sql.clear = {"delete from " + name + " where owner = :owner", "n"};
  sql.add_to_count = {"update " + quoted(table) + " set " + count + " = " + count + " + :difference where seq = :seq",
                      "nn"};
  return sql;
}

}  // namespace

std::vector<std::string> HomeTable::create_statements(const std::string& table, const StorageType& type) {
  std::string create = "create table " + quoted(table) + " (seq " + SEQUENCE_KEY;
  for (const Member& member : type.members()) create += ", " + column_definition(member);
  create += ", unique (" + quoted(type.members()[type.key_index()].name) + "))";
  std::vector<std::string> statements{create};
  for (const Member& member : type.members())
    if (is_list(member.kind))
      for (const std::string& statement : list_statements(table, member)) statements.push_back(statement);
  return statements;
}

std::vector<std::string> HomeTable::extend_statements(const std::string& table, const Member& added) {
  std::vector<std::string> statements;
  if (is_list(added.kind)) statements = list_statements(table, added);
  statements.push_back("alter table " + quoted(table) + " add column " + column_definition(added));
  return statements;
}

HomeTable::HomeTable(std::string a_home_type_id, long long a_number, std::string a_table, const StorageType& a_type,
                     HomeFactory a_home_factory, ObjectFactory a_object_factory)
    : home_type_id(std::move(a_home_type_id)),
      number(a_number),
      table(std::move(a_table)),
      type(a_type),
      home_factory(std::move(a_home_factory)),
      object_factory(std::move(a_object_factory)) {
  const std::string name = quoted(table);
  const std::string key = quoted(type.members()[type.key_index()].name);
  std::string columns;
  std::string places;
  std::string letters;
  for (const Member& member : type.members()) {
    if (!columns.empty()) {
      columns += ", ";
      places += ", ";
    }
    columns += quoted(member.name);
    places += std::string(":") + member.name;
    letters += letter(member);
    update.push_back({"update " + name + " set " + quoted(member.name) + " = :value where seq = :seq",
                      std::string(1, letter(member)) + "n"});
    list.push_back(is_list(member.kind) ? list_sql(table, member) : ListSql());
  }
  find = {"select seq, " + columns + " from " + name + " where " + key + " = :value", "t", "n" + letters};
  load = {"select seq, " + columns + " from " + name + " where seq = :seq", "n", "n" + letters};
  page = {
      "select seq, " + columns + " from " + name + " where seq > :seq order by seq limit " + std::to_string(PAGE_ROWS),
      "n", "n" + letters};
  count = {"select count(*) from " + name, "", "n"};
  insert = {"insert into " + name + " (" + columns + ") values (" + places + ") on conflict (" + key +
                ") do nothing returning seq",
            letters, "n"};
  destroy = {"delete from " + name + " where seq = :seq", "n"};
}

}  // namespace QZ_PSS
