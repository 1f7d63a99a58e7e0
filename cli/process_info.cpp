#include "cli/process_info.h"

#include <algorithm>

#include "cli/failure.h"
#include "cli/text.h"

namespace poaloc {

namespace {

std::vector<std::string> to_vector(const CORBA::StringSeq& list) {
  std::vector<std::string> result;
  for (CORBA::ULong i = 0; i < list.length(); ++i) result.emplace_back(list[i].in());
  return result;
}

CORBA::StringSeq to_seq(const std::vector<std::string>& list) {
  CORBA::StringSeq result;
  result.length(static_cast<CORBA::ULong>(list.size()));
  for (CORBA::ULong i = 0; i < result.length(); ++i) result[i] = list[i].c_str();
  return result;
}

std::string quoted(const std::string& word) {
  constexpr const char* PLAIN = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-+=:,./@%";
  if (!word.empty() && word.find_first_not_of(PLAIN) == std::string::npos) return word;
  std::string result = "'";
  for (const char c : word) result += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return result + "'";
}

void change_environment(CORBA::StringSeq& environment, const std::vector<std::string>& set,
                        const std::vector<std::string>& unset) {
  auto lines = to_vector(environment);
  const auto erase = [&](const std::string& name) {
    std::erase_if(lines, [&](const std::string& line) { return line.starts_with(name + "="); });
  };
  for (const std::string& name : unset) erase(name);
  for (const std::string& line : set) {
    const auto equals = line.find('=');
    if (equals == std::string::npos || equals == 0)
      throw Failure(USAGE, "\"" + printable(line) + "\" is no environment variable: write NAME=VALUE.");
    erase(line.substr(0, equals));
    lines.push_back(line);
  }
  environment = to_seq(lines);
}

}  // namespace

void ProcessOptions::add(CLI::App& verb, const std::string& name, std::string& value, const std::string& type,
                         const std::string& description) {
  m_options.push_back(verb.add_option(name, value, description)->type_name(type));
}

void ProcessOptions::add_list(CLI::App& verb, const std::string& name, std::vector<std::string>& values,
                              const std::string& type, const std::string& description) {
  // One value for each time it is said: more would take the "--" before the program.
  m_options.push_back(
      verb.add_option(name, values, description)->type_name(type)->expected(1)->take_all()->allow_extra_args(false));
}

void ProcessOptions::add_to(CLI::App& verb, bool change) {
  m_options.push_back(
      verb.add_option("command", m_command, "The program, a path or a name found in PATH, and its arguments, behind --")
          ->type_name("PROGRAM"));
  if (!change) m_options.back()->required();
  add(verb, "--directory", m_directory, "DIRECTORY", "Where it runs; empty: where the locator does");
  add_list(verb, "--env", m_set, "NAME=VALUE", "A variable of its environment, besides the locator's own");
  if (change) add_list(verb, "--no-env", m_unset, "NAME", "A variable that is not set any more");
  add(verb, "--user", m_user, "USER", "Who it runs as; empty: the locator's user");
  add(verb, "--startup-limit", m_startup_limit, "DURATION",
      "It is killed when it has not registered by then; 0: never");
  add(verb, "--stop-grace", m_stop_grace, "DURATION", "How long it may take to end before it is killed");
  add(verb, "--log", m_log, "FILE", "Where its output goes; empty: where the locator's does");
}

bool ProcessOptions::empty() const {
  return std::all_of(m_options.begin(), m_options.end(), [](const CLI::Option* o) { return o->count() == 0; });
}

void ProcessOptions::apply_to(QZ_IMRAdmin::ProcessInfo& info) const {
  for (const CLI::Option* option : m_options) {
    if (option->count() == 0) continue;
    const std::string name = option->get_single_name();
    if (name == "command") info.argv = to_seq(m_command);
    if (name == "directory") info.working_directory = m_directory.c_str();
    if (name == "user") info.user = m_user.c_str();
    if (name == "log") info.log_file = m_log.c_str();
    if (name == "startup-limit")
      info.startup_time_limit = static_cast<CORBA::ULongLong>(parse_duration(m_startup_limit).count());
    if (name == "stop-grace") info.stop_grace = static_cast<CORBA::ULongLong>(parse_duration(m_stop_grace).count());
  }
  change_environment(info.environment, m_set, m_unset);
}

std::string command_text(const CORBA::StringSeq& argv) {
  std::string result;
  for (const std::string& word : to_vector(argv)) result += (result.empty() ? "" : " ") + quoted(word);
  return result;
}

}  // namespace poaloc
