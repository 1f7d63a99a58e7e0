#include "platform/pss/home_catalogue.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <optional>
#include <set>
#include <sstream>

#include "platform/pss/home_table.h"
#include "platform/pss/raise.h"
#include "platform/pss/store_transaction.h"

namespace QZ_PSS {

namespace {

const Sql FIND{"select number, storage_type, key_member, layout from pss_home where home_type_id = :id", "t", "nttt"};
const Sql INSERT{
    "insert into pss_home (home_type_id, storage_type, key_member, layout) values (:id, :type, :key, :layout) "
    "returning number",
    "tttt", "n"};
const Sql SET_LAYOUT{"update pss_home set layout = :layout where number = :number", "tn"};

constexpr std::size_t MAX_NAME = 40;  // so that the names of tables and indexes stay short enough for any engine

[[noreturn]] void refuse(const std::string& home_type_id, const std::string& reason) {
  raise<CORBA::BAD_PARAM>(MINOR_BAD_DECLARATION, "home " + home_type_id + ": " + reason);
}

std::string kind_name(Kind kind) {
  static const std::map<Kind, std::string> names{
      {Kind::octets, "octets"}, {Kind::string, "string"},           {Kind::boolean, "boolean"},
      {Kind::ulong, "ulong"},   {Kind::ulonglong, "ulonglong"},     {Kind::reference, "reference"},
      {Kind::object, "object"}, {Kind::octets_list, "octets_list"}, {Kind::string_list, "string_list"}};
  return names.at(kind);
}

std::string layout_of(const StorageType& type) {
  std::string layout;
  for (const Member& member : type.members())
    layout += (layout.empty() ? "" : " ") + std::string(member.name) + ":" + kind_name(member.kind);
  return layout;
}

std::map<std::string, std::string> parse_layout(const std::string& layout) {
  std::map<std::string, std::string> result;
  std::istringstream words(layout);
  for (std::string word; words >> word;) {
    const std::size_t colon = word.find(':');
    result[word.substr(0, colon)] = colon == std::string::npos ? "" : word.substr(colon + 1);
  }
  return result;
}

void check_declaration(const std::string& home_type_id, const StorageType& type) {
  if (home_type_id.empty() || home_type_id.find_first_of(" \t\r\n") != std::string::npos)
    refuse(home_type_id, "a home type id is a word without spaces");
  std::set<std::string> seen{"seq"};
  for (const Member& member : type.members()) {
    const std::string name = member.name;
    const bool is_identifier = !name.empty() && name.size() <= MAX_NAME && name[0] >= 'a' && name[0] <= 'z' &&
                               name.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789_") == std::string::npos;
    if (!is_identifier) refuse(home_type_id, "\"" + name + "\" is no name for a member");
    if (!seen.insert(name).second) refuse(home_type_id, "the member name \"" + name + "\" is taken");
  }
  const Kind key = type.members()[type.key_index()].kind;
  if (key != Kind::octets && key != Kind::string) refuse(home_type_id, "the key is neither octets nor a string");
}

// The number makes it unique, the local name readable.
std::string table_name(long long number, const StorageType& type) {
  std::string name = "h" + std::to_string(number) + "_";
  for (const char c : type.local_name().substr(0, MAX_NAME / 2))
    name += std::isalnum(static_cast<unsigned char>(c)) ? static_cast<char>(std::tolower(static_cast<unsigned char>(c)))
                                                        : '_';
  return name;
}

struct StoredEntry {
  long long number;
  std::string storage_type;
  std::string key;
  std::string layout;
};

void check_stored_member(const std::string& home_type_id, const std::string& name, const std::string& kind,
                         const std::map<std::string, std::string>& declared) {
  const auto found = declared.find(name);
  if (found == declared.end())
    refuse(home_type_id, "its records have a member \"" + name +
                             "\" that this program does not know; was it written by a newer release?");
  if (found->second != kind)
    refuse(home_type_id, "its records' member \"" + name + "\" is of kind " + kind + ", not " + found->second);
}

void extend(StoreTransaction& work, const std::string& home_type_id, const StoredEntry& stored,
            const std::string& table, const StorageType& type) {
  if (stored.storage_type != type.repository_id())
    refuse(home_type_id, "its records are of storage type " + stored.storage_type + ", not " + type.repository_id());
  if (stored.key != type.members()[type.key_index()].name)
    refuse(home_type_id, "its records have the key " + stored.key);
  const std::string declared_layout = layout_of(type);
  if (stored.layout == declared_layout) return;

  const std::map<std::string, std::string> declared = parse_layout(declared_layout);
  const std::map<std::string, std::string> known = parse_layout(stored.layout);
  for (const auto& [name, kind] : known) check_stored_member(home_type_id, name, kind, declared);
  for (const Member& member : type.members())
    if (!known.contains(member.name))
      for (const std::string& statement : HomeTable::extend_statements(table, member)) work.execute_once(statement);
  work.execute(SET_LAYOUT, {text_field(declared_layout), number_field(stored.number)});
}

}  // namespace

CatalogueEntry enter_in_catalogue(StoreTransaction& work, const std::string& home_type_id, const StorageType& type) {
  check_declaration(home_type_id, type);
  std::optional<StoredEntry> stored;
  work.execute(FIND, {text_field(home_type_id)},
               [&](const Fields& row) { stored = StoredEntry{row[0].number, row[1].text, row[2].text, row[3].text}; });
  if (stored) {
    const std::string table = table_name(stored->number, type);
    extend(work, home_type_id, *stored, table, type);
    return {stored->number, table};
  }
  long long number = 0;
  work.execute(INSERT,
               {text_field(home_type_id), text_field(type.repository_id()),
                text_field(type.members()[type.key_index()].name), text_field(layout_of(type))},
               [&](const Fields& row) { number = row[0].number; });
  const std::string table = table_name(number, type);
  for (const std::string& statement : HomeTable::create_statements(table, type)) work.execute_once(statement);
  return {number, table};
}

}  // namespace QZ_PSS
