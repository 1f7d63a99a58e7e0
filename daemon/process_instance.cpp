#include "daemon/process_instance.h"

#include <signal.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>
extern "C" {  // this C library's header does not say so itself
#include <sys/pidfd.h>
}

#include <cerrno>
#include <fstream>
#include <optional>
#include <sstream>
#include <system_error>
#include <utility>

namespace poalocd {

namespace {

const std::string& boot_id() {
  static const std::string id = [] {
    std::string text;
    std::ifstream("/proc/sys/kernel/random/boot_id") >> text;
    return text;
  }();
  return id;
}

struct Stat {
  char state;
  unsigned long long start_time;
};

std::optional<Stat> read_stat(pid_t pid) {
  std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
  std::string text;
  if (!std::getline(in, text, '\0') || text.empty()) return std::nullopt;
  // The program's name stands in parentheses and may itself hold some.
  const auto name_end = text.rfind(')');
  if (name_end == std::string::npos) return std::nullopt;
  std::istringstream fields(text.substr(name_end + 1));
  Stat result{};
  fields >> result.state;
  std::string skipped;
  for (int field = 4; field < 22; ++field) fields >> skipped;
  if (!(fields >> result.start_time)) return std::nullopt;
  return result;
}

std::chrono::microseconds time_of(clockid_t clock) {
  timespec now{};
  ::clock_gettime(clock, &now);
  return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::seconds(now.tv_sec) +
                                                               std::chrono::nanoseconds(now.tv_nsec));
}

std::chrono::microseconds time_of_tick(unsigned long long tick) {
  const auto per_second = static_cast<unsigned long long>(::sysconf(_SC_CLK_TCK));
  return time_of(CLOCK_REALTIME) - time_of(CLOCK_BOOTTIME) + std::chrono::microseconds(tick * 1'000'000 / per_second);
}

}  // namespace

ProcessInstance::ProcessInstance(ProcessIdentity identity, UniqueFd pidfd, bool child)
    : m_identity(std::move(identity)),
      m_pidfd(std::move(pidfd)),
      m_child(child),
      m_started(time_of_tick(m_identity.start_time)) {}

std::shared_ptr<ProcessInstance> ProcessInstance::of_child(pid_t pid) {
  UniqueFd pidfd(::pidfd_open(pid, 0));
  if (!pidfd.valid()) throw std::system_error(errno, std::generic_category(), "pidfd_open");
  return std::shared_ptr<ProcessInstance>(new ProcessInstance(identify(pid), std::move(pidfd), true));
}

ProcessIdentity ProcessInstance::identify(pid_t pid) {
  const auto stat = read_stat(pid);
  return {pid, stat ? stat->start_time : 0, boot_id()};
}

std::shared_ptr<ProcessInstance> ProcessInstance::of_identity(const ProcessIdentity& identity) {
  UniqueFd pidfd;
  if (identity.pid > 0 && identity.boot_id == boot_id()) {
    pidfd = UniqueFd(::pidfd_open(identity.pid, 0));
    // Read after the handle was had, so that both are of the same run.
    const auto stat = read_stat(identity.pid);
    const bool same = stat && stat->start_time == identity.start_time && stat->state != 'Z' && stat->state != 'X';
    if (!same) pidfd = UniqueFd();
  }
  return std::shared_ptr<ProcessInstance>(new ProcessInstance(identity, std::move(pidfd), false));
}

ProcessEnd ProcessInstance::collect() {
  siginfo_t info{};
  if (!m_child || ::waitid(P_PIDFD, static_cast<id_t>(m_pidfd.get()), &info, WEXITED) != 0)
    return {ProcessEnd::Kind::UNKNOWN, 0};
  return {info.si_code == CLD_EXITED ? ProcessEnd::Kind::EXITED : ProcessEnd::Kind::SIGNALLED, info.si_status};
}

void ProcessInstance::signal_group(int signal) const {
  // The handle first: a group is only known by its number, which is this run's as long as the run can be signalled.
  if (running() && ::pidfd_send_signal(m_pidfd.get(), 0, nullptr, 0) == 0) ::kill(-m_identity.pid, signal);
}

}  // namespace poalocd
