// Reads one table of a TOML document key by key. Each key that is asked for is an allowed one; whatever else the
// table holds is a mistake. Mistakes are collected, so that one run names them all.
#pragma once

#include <toml++/toml.h>

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "daemon/flat_values.h"
#include "daemon/settings.h"
#include "platform/orb/ior_endpoint_impl.h"

namespace poalocd {

class TableReader {
 public:
  // table: null stands for an empty one. scope: the table's own path, ":" between its parts, empty for the root.
  // Values read are also put into flat, when given.
  TableReader(const toml::table* table, std::string scope, std::vector<std::string>& problems, FlatValues* flat);

  std::string text(std::string_view key, std::string_view standard);
  // As text, and the key must be there and not be empty.
  std::string required_text(std::string_view key);
  std::string choice(std::string_view key, const std::vector<std::string>& allowed, std::string_view standard);
  // An address host:port; an IPv6 host stands in brackets. Port 0 lets the system choose.
  std::string address(std::string_view key, std::string_view standard);
  long long integer(std::string_view key, long long standard, long long minimum, long long maximum);
  bool boolean(std::string_view key, bool standard);
  // Written in seconds, decimals allowed.
  Milliseconds seconds(std::string_view key, double standard, double minimum, double maximum);
  std::vector<std::string> text_list(std::string_view key, const std::vector<std::string>& standard);
  std::map<std::string, std::string> text_table(std::string_view key);

  // The sub-table of that name, null when there is none.
  const toml::table* table(std::string_view key);
  // The elements of an array of tables.
  std::vector<const toml::table*> tables(std::string_view key);
  // The value itself, for those that have several forms; null when there is none.
  const toml::node* node(std::string_view key);

  // Every key not asked for so far is a mistake.
  void finish();

  void problem(const toml::node* where, std::string_view key, const std::string& what);
  void set_flat(std::string_view key, FlatValue value);

 private:
  std::string m_scope;
  const toml::table* m_table;
  std::vector<std::string>& m_problems;
  FlatValues* m_flat;
  std::vector<std::string> m_allowed;
};

// "FILE:LINE:COLUMN: " of the node; empty when it has no source.
std::string source_of(const toml::source_region& source);
// Empty when text is an address as TableReader::address takes it, otherwise what is wrong.
std::string address_problem(std::string_view text);
// Of a text without such a problem; the host without brackets.
QZ_IOR::Address split_address(std::string_view text);

}  // namespace poalocd
