#include "daemon/table_reader.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <sstream>
#include <utility>

namespace poalocd {

namespace {

const char* type_name(const toml::node& node) {
  switch (node.type()) {
    case toml::node_type::table:
      return "a table";
    case toml::node_type::array:
      return "a list";
    case toml::node_type::string:
      return "a text";
    case toml::node_type::integer:
      return "a whole number";
    case toml::node_type::floating_point:
      return "a decimal number";
    case toml::node_type::boolean:
      return "true or false";
    default:
      return "a date or time";
  }
}

std::string joined(std::vector<std::string> words) {
  std::string result;
  for (const auto& word : words) result += (result.empty() ? "" : ", ") + word;
  return result;
}

std::string number(double value) {
  std::ostringstream out;
  out << value;
  return out.str();
}

}  // namespace

std::string source_of(const toml::source_region& source) {
  std::string result;
  if (source.path) result = *source.path + ":";
  if (source.begin.line != 0)
    result += std::to_string(source.begin.line) + ":" + std::to_string(source.begin.column) + ":";
  return result.empty() ? result : result + " ";
}

std::string address_problem(std::string_view text) {
  const auto colon = text.rfind(':');
  if (colon == std::string_view::npos || colon == 0) return "must be HOST:PORT";
  const auto host = text.substr(0, colon);
  if (host.front() == '[' ? host.back() != ']' || host.size() < 4 : host.find(':') != std::string_view::npos)
    return "must be HOST:PORT, with an IPv6 host in brackets";
  const auto port = text.substr(colon + 1);
  unsigned value = 0;
  const auto [end, error] = std::from_chars(port.data(), port.data() + port.size(), value);
  if (error != std::errc() || end != port.data() + port.size() || value > 65535)
    return "must be HOST:PORT with a port from 0 to 65535";
  return {};
}

QZ_IOR::Address split_address(std::string_view text) {
  const auto colon = text.rfind(':');
  auto host = text.substr(0, colon);
  if (host.front() == '[') host = host.substr(1, host.size() - 2);
  std::uint16_t port = 0;
  std::from_chars(text.data() + colon + 1, text.data() + text.size(), port);
  return {std::string(host), port};
}

TableReader::TableReader(const toml::table* table, std::string scope, std::vector<std::string>& problems,
                         FlatValues* flat)
    : m_scope(std::move(scope)), m_table(table), m_problems(problems), m_flat(flat) {}

void TableReader::problem(const toml::node* where, std::string_view key, const std::string& what) {
  std::string path = m_scope.empty() ? std::string(key) : m_scope + ":" + std::string(key);
  std::replace(path.begin(), path.end(), ':', '.');
  std::string source;
  if (where)
    source = source_of(where->source());
  else if (m_table)
    source = source_of(m_table->source());
  m_problems.push_back(source + path + ": " + what);
}

void TableReader::set_flat(std::string_view key, FlatValue value) {
  if (m_flat) m_flat->insert_or_assign(m_scope.empty() ? std::string(key) : m_scope + ":" + std::string(key), value);
}

const toml::node* TableReader::node(std::string_view key) {
  m_allowed.emplace_back(key);
  return m_table ? m_table->get(key) : nullptr;
}

std::string TableReader::text(std::string_view key, std::string_view standard) {
  std::string result(standard);
  if (const auto* found = node(key)) {
    if (const auto* value = found->as_string())
      result = value->get();
    else
      problem(found, key, std::string("must be a text, is ") + type_name(*found));
  }
  // Such a text would be cut short wherever it is handed to the system.
  if (result.find('\0') != std::string::npos) problem(nullptr, key, "must not hold a NUL");
  set_flat(key, result);
  return result;
}

std::string TableReader::required_text(std::string_view key) {
  const auto before = m_problems.size();
  auto result = text(key, "");
  if (result.empty() && m_problems.size() == before)
    problem(m_table ? m_table->get(key) : nullptr, key, "is missing or empty; a text is needed here");
  return result;
}

std::string TableReader::choice(std::string_view key, const std::vector<std::string>& allowed,
                                std::string_view standard) {
  const auto before = m_problems.size();
  auto result = text(key, standard);
  if (std::find(allowed.begin(), allowed.end(), result) == allowed.end() && m_problems.size() == before)
    problem(m_table->get(key), key, "\"" + result + "\" is none of: " + joined(allowed));
  return result;
}

std::string TableReader::address(std::string_view key, std::string_view standard) {
  const auto before = m_problems.size();
  auto result = text(key, standard);
  const auto wrong = address_problem(result);
  if (!wrong.empty() && m_problems.size() == before) problem(m_table->get(key), key, wrong);
  return result;
}

long long TableReader::integer(std::string_view key, long long standard, long long minimum, long long maximum) {
  long long result = standard;
  if (const auto* found = node(key)) {
    const auto* value = found->as_integer();
    if (value && value->get() >= minimum && value->get() <= maximum)
      result = value->get();
    else
      problem(found, key,
              "must be a whole number from " + std::to_string(minimum) + " to " + std::to_string(maximum) + ", is " +
                  (value ? std::to_string(value->get()) : type_name(*found)));
  }
  set_flat(key, result);
  return result;
}

bool TableReader::boolean(std::string_view key, bool standard) {
  bool result = standard;
  if (const auto* found = node(key)) {
    if (const auto* value = found->as_boolean())
      result = value->get();
    else
      problem(found, key, std::string("must be true or false, is ") + type_name(*found));
  }
  set_flat(key, result);
  return result;
}

Milliseconds TableReader::seconds(std::string_view key, double standard, double minimum, double maximum) {
  double result = standard;
  if (const auto* found = node(key)) {
    const auto value = found->is_number() ? found->value<double>() : std::nullopt;
    if (value && *value >= minimum && *value <= maximum)
      result = *value;
    else
      problem(found, key,
              "must be a number of seconds from " + number(minimum) + " to " + number(maximum) + ", is " +
                  (value ? number(*value) : type_name(*found)));
  }
  const Milliseconds rounded(std::llround(result * 1000));
  set_flat(key, static_cast<long long>(rounded.count()));
  return rounded;
}

std::vector<std::string> TableReader::text_list(std::string_view key, const std::vector<std::string>& standard) {
  std::vector<std::string> result = standard;
  if (const auto* found = node(key)) {
    result.clear();
    const auto* list = found->as_array();
    if (!list) problem(found, key, std::string("must be a list of texts, is ") + type_name(*found));
    for (std::size_t i = 0; list && i < list->size(); ++i) {
      const auto& element = (*list)[i];
      const auto* value = element.as_string();
      if (!value)
        problem(&element, key, std::string("must be a list of texts, holds ") + type_name(element));
      else if (value->get().find('\0') != std::string::npos)
        problem(&element, key, "must not hold a NUL");
      else
        result.push_back(value->get());
    }
  }
  set_flat(key, std::monostate());
  return result;
}

std::map<std::string, std::string> TableReader::text_table(std::string_view key) {
  std::map<std::string, std::string> result;
  const auto* values = table(key);
  if (!values) return result;
  for (const auto& [name, element] : *values) {
    const auto* value = element.as_string();
    const std::string path = std::string(key) + "." + std::string(name.str());
    if (!value)
      problem(&element, path, std::string("must be a text, is ") + type_name(element));
    else if (value->get().find('\0') != std::string::npos)
      problem(&element, path, "must not hold a NUL");
    else if (name.str().empty() || name.str().find('=') != std::string_view::npos)
      problem(&element, path, "must have a name without \"=\"");
    else
      result.emplace(name.str(), value->get());
  }
  return result;
}

const toml::table* TableReader::table(std::string_view key) {
  const auto* found = node(key);
  if (!found) return nullptr;
  if (!found->is_table()) problem(found, key, std::string("must be a table, is ") + type_name(*found));
  return found->as_table();
}

std::vector<const toml::table*> TableReader::tables(std::string_view key) {
  std::vector<const toml::table*> result;
  const auto* found = node(key);
  if (!found) return result;
  const auto* list = found->as_array();
  if (!list) problem(found, key, "must be a list of tables ([[" + std::string(key) + "]]), is " + type_name(*found));
  for (std::size_t i = 0; list && i < list->size(); ++i) {
    const auto& element = (*list)[i];
    if (element.is_table())
      result.push_back(element.as_table());
    else
      problem(&element, key, std::string("must be a list of tables, holds ") + type_name(element));
  }
  return result;
}

void TableReader::finish() {
  if (!m_table) return;
  for (const auto& [key, value] : *m_table) {
    if (std::find(m_allowed.begin(), m_allowed.end(), key.str()) == m_allowed.end())
      problem(&value, key.str(), "unknown key; allowed here: " + joined(m_allowed));
  }
}

}  // namespace poalocd
