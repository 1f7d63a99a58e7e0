#include "daemon/configuration_impl.h"

#include <fcntl.h>
#include <toml++/toml.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <sstream>
#include <utility>

#include "daemon/configuration_error.h"
#include "daemon/settings_reader.h"
#include "daemon/table_reader.h"
#include "daemon/unique_fd.h"

namespace poalocd {

namespace {

toml::table parse_document(const std::string& text, const std::string& name) {
  try {
    return toml::parse(text, name);
  } catch (const toml::parse_error& e) {
    throw ConfigurationError(source_of(e.source()) + std::string(e.description()));
  }
}

toml::table parse_assignment(const std::string& assignment) {
  const std::string source = "--set " + assignment;
  const auto equals = assignment.find('=');
  if (equals == std::string::npos || equals == 0) throw ConfigurationError(source + ": must be KEY=VALUE");
  try {
    return toml::parse(assignment, source);
  } catch (const toml::parse_error&) {
    // Not TOML as it stands, so that a path or an address needs no quotes within the shell's.
    toml::table quoted;
    quoted.insert("value", assignment.substr(equals + 1));
    std::ostringstream text;
    text << toml::toml_formatter(quoted);
    const auto value = text.str().substr(text.str().find('=') + 1);
    return parse_document(assignment.substr(0, equals + 1) + value, source);
  }
}

std::string read_file(const std::string& file) {
  const UniqueFd fd(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
  std::string text;
  char buffer[4096];
  ssize_t got = fd.valid() ? 0 : -1;
  while (fd.valid() && (got = ::read(fd.get(), buffer, sizeof buffer)) > 0)
    text.append(buffer, static_cast<std::size_t>(got));
  if (got < 0) throw ConfigurationError(file + ": cannot be read: " + std::strerror(errno));
  return text;
}

// Moves, because a copy of a value does not know where it stood.
void merge(toml::table& into, toml::table&& from) {
  for (auto&& [key, value] : from) {
    auto* old = into.get_as<toml::table>(key.str());
    if (old && value.is_table())
      merge(*old, std::move(*value.as_table()));
    else
      value.visit([&, k = key.str()](auto& typed) { into.insert_or_assign(k, std::move(typed)); });
  }
}

template <class T>
bool get(const FlatValues& values, const char* key, T& value) {
  value = T();
  const auto found = values.find(std::string_view(key));
  if (found == values.end()) return false;
  const T* typed = std::get_if<T>(&found->second);
  if (!typed) throw CORBA::BAD_PARAM(0, CORBA::COMPLETED_NO);
  value = *typed;
  return true;
}

}  // namespace

ConfigurationImpl::ConfigurationImpl(Settings settings, FlatValues values)
    : m_settings(std::move(settings)), m_values(std::move(values)) {}

ConfigurationImpl* ConfigurationImpl::load(const std::string& file, const std::vector<std::string>& assignments) {
  const std::string text = file.empty() ? std::string() : read_file(file);
  return parse(text, file, assignments);
}

ConfigurationImpl* ConfigurationImpl::parse(const std::string& text, const std::string& name,
                                            const std::vector<std::string>& assignments) {
  toml::table document = parse_document(text, name);
  for (const auto& assignment : assignments) merge(document, parse_assignment(assignment));
  FlatValues flat;
  Settings settings = read_settings(document, flat);
  return new ConfigurationImpl(std::move(settings), std::move(flat));
}

CORBA::Boolean ConfigurationImpl::get_string(const char* key, CORBA::String_out value) {
  std::string text;
  value = static_cast<char*>(nullptr);
  const bool found = get(m_values, key, text);
  value = CORBA::string_dup(text.c_str());
  return found;
}

CORBA::Boolean ConfigurationImpl::get_long(const char* key, CORBA::LongLong_out value) {
  long long number = 0;
  const bool found = get(m_values, key, number);
  value = number;
  return found;
}

CORBA::Boolean ConfigurationImpl::get_boolean(const char* key, CORBA::Boolean_out value) {
  bool flag = false;
  const bool found = get(m_values, key, flag);
  value = flag;
  return found;
}

}  // namespace poalocd
