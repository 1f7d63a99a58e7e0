// Everything a child needs to become its program, made ready beforehand: between fork and exec only what is safe
// after a signal may be called.
#pragma once

#include <sys/types.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "daemon/settings.h"
#include "daemon/unique_fd.h"

namespace poalocd {

struct ChildUser {
  uid_t uid;
  gid_t gid;
  std::vector<gid_t> groups;
};

class ChildPlan {
 public:
  // QZ_LocatorInternal::StartFailed.
  ChildPlan(const ProcessSettings& process, const std::map<std::string, std::string>& extra_environment);

  const char* path() const { return m_path.c_str(); }
  char* const* argv() const { return m_argv.data(); }
  char* const* environment() const { return m_environment.data(); }
  int directory() const { return m_directory.get(); }  // -1: the daemon's
  int output() const { return m_log.valid() ? m_log.get() : 2; }
  // Empty when the child stays the daemon's user.
  const std::optional<ChildUser>& user() const { return m_user; }

  // The failure of the program itself.
  [[noreturn]] void fail(int error) const;

 private:
  void find_program();
  void make_environment(const ProcessSettings& process, const std::map<std::string, std::string>& extra);
  void find_user(const std::string& name);

  std::string m_path;
  std::vector<std::string> m_strings;  // what the two pointer lists point into
  std::vector<char*> m_argv;
  std::vector<char*> m_environment;
  std::vector<std::string> m_environment_strings;
  UniqueFd m_directory;
  UniqueFd m_log;
  std::optional<ChildUser> m_user;
};

}  // namespace poalocd
