// The settings of a process on the command line.
#pragma once

#include <qz_imr_admin.hh>

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace poaloc {

// What --directory, --env and so on have said, to be applied to a process that is added or changed.
class ProcessOptions {
 public:
  // change: a process that exists is changed, so that variables may be taken away.
  void add_to(CLI::App& verb, bool change);

  bool empty() const;
  // Failure (USAGE) for what cannot be.
  void apply_to(QZ_IMRAdmin::ProcessInfo& info) const;

 private:
  void add(CLI::App& verb, const std::string& name, std::string& value, const std::string& type,
           const std::string& description);
  void add_list(CLI::App& verb, const std::string& name, std::vector<std::string>& values, const std::string& type,
                const std::string& description);

  std::vector<std::string> m_command;
  std::string m_directory, m_user, m_log, m_startup_limit, m_stop_grace;
  std::vector<std::string> m_set;    // NAME=VALUE
  std::vector<std::string> m_unset;  // NAME
  std::vector<CLI::Option*> m_options;
};

inline constexpr unsigned long long DEFAULT_STOP_GRACE = 10'000;  // milliseconds

// program and arguments as a shell would take them.
std::string command_text(const CORBA::StringSeq& argv);

}  // namespace poaloc
