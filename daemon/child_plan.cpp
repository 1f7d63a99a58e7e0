#include "daemon/child_plan.h"

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <qz_locator_internal.hh>
#include <string_view>
#include <system_error>

extern char** environ;

namespace poalocd {

namespace {

[[noreturn]] void raise(const std::string& reason) {
  throw QZ_LocatorInternal::StartFailed(reason.c_str());
}

std::string error_text(int error) {
  return std::generic_category().message(error);
}

// Words of the service manager to the daemon itself.
bool is_for_daemon(std::string_view name) {
  return name == "NOTIFY_SOCKET" || name == "WATCHDOG_USEC" || name == "WATCHDOG_PID" || name == "LISTEN_FDS" ||
         name == "LISTEN_PID" || name == "LISTEN_FDNAMES" || name == "MAINPID";
}

std::vector<char*> pointers(std::vector<std::string>& strings) {
  std::vector<char*> result;
  for (auto& text : strings) result.push_back(text.data());
  result.push_back(nullptr);
  return result;
}

}  // namespace

ChildPlan::ChildPlan(const ProcessSettings& process, const std::map<std::string, std::string>& extra_environment)
    : m_strings(process.argv) {
  if (m_strings.empty()) raise("process \"" + process.name + "\" has no program to run");
  m_argv = pointers(m_strings);
  m_path = m_strings.front();
  if (!process.working_directory.empty()) {
    m_directory = UniqueFd(::open(process.working_directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!m_directory.valid())
      raise("\"" + m_path + "\" cannot run in the working directory \"" + process.working_directory +
            "\": " + error_text(errno));
  }
  if (!process.log_file.empty()) {
    // A pipe that nobody reads must not hold up whoever starts the process.
    m_log = UniqueFd(
        ::open(process.log_file.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0640));
    if (!m_log.valid() || ::fcntl(m_log.get(), F_SETFL, O_APPEND) != 0)
      raise("the log file \"" + process.log_file + "\" of \"" + m_path + "\" cannot be written: " + error_text(errno));
  }
  find_user(process.user);
  make_environment(process, extra_environment);
  find_program();
}

void ChildPlan::fail(int error) const {
  raise("\"" + m_path + "\" cannot be run: " + error_text(error));
}

void ChildPlan::find_program() {
  if (m_path.find('/') != std::string::npos) return;
  const char* variable = std::getenv("PATH");
  const std::string_view search = variable ? variable : "/usr/local/bin:/usr/bin:/bin";
  int error = ENOENT;
  for (std::size_t begin = 0; begin <= search.size();) {
    const std::size_t end = std::min(search.find(':', begin), search.size());
    const std::string candidate = std::string(search.substr(begin, end - begin)) + "/" + m_path;
    struct stat status{};
    if (end != begin && ::stat(candidate.c_str(), &status) == 0 && S_ISREG(status.st_mode)) {
      if (::access(candidate.c_str(), X_OK) == 0) {
        m_path = candidate;
        return;
      }
      error = errno;
    }
    begin = end + 1;
  }
  fail(error);
}

void ChildPlan::make_environment(const ProcessSettings& process, const std::map<std::string, std::string>& extra) {
  std::map<std::string, std::string> all;
  for (char** entry = environ; entry && *entry; ++entry) {
    const std::string_view text = *entry;
    const auto equals = text.find('=');
    if (equals != std::string_view::npos && !is_for_daemon(text.substr(0, equals)))
      all.insert_or_assign(std::string(text.substr(0, equals)), std::string(text.substr(equals + 1)));
  }
  for (const auto& [name, value] : process.environment) all.insert_or_assign(name, value);
  for (const auto& [name, value] : extra) all.insert_or_assign(name, value);
  for (const auto& [name, value] : all) m_environment_strings.push_back(name + "=" + value);
  m_environment = pointers(m_environment_strings);
}

void ChildPlan::find_user(const std::string& name) {
  if (name.empty()) return;
  passwd entry{};
  passwd* found = nullptr;
  std::vector<char> buffer(16 * 1024);
  const int error = ::getpwnam_r(name.c_str(), &entry, buffer.data(), buffer.size(), &found);
  if (!found)
    raise("\"" + m_path + "\" cannot run as user \"" + name + "\": " + (error ? error_text(error) : "no such user"));
  if (entry.pw_uid == ::geteuid()) return;
  if (::geteuid() != 0)
    raise("\"" + m_path + "\" cannot run as user \"" + name + "\": " + error_text(EPERM) + " (poalocd is not root)");
  ChildUser user{entry.pw_uid, entry.pw_gid, {}};
  int count = 64;
  user.groups.resize(static_cast<std::size_t>(count));
  while (::getgrouplist(name.c_str(), user.gid, user.groups.data(), &count) < 0) {
    user.groups.resize(user.groups.size() * 2);
    count = static_cast<int>(user.groups.size());
  }
  user.groups.resize(static_cast<std::size_t>(count));
  m_user = std::move(user);
}

}  // namespace poalocd
