// One run of a program, told apart from every other by its pid, its start time and the machine's boot.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <memory>
#include <string>

#include "daemon/unique_fd.h"

namespace poalocd {

// How a run ended.
struct ProcessEnd {
  enum class Kind { EXITED, SIGNALLED, UNKNOWN };
  Kind kind;
  int value;  // exit status or signal number
};

// What identifies a run across restarts of the daemon. start_time: clock ticks since the boot.
struct ProcessIdentity {
  pid_t pid = 0;
  unsigned long long start_time = 0;
  std::string boot_id;

  bool operator==(const ProcessIdentity&) const = default;
};

class ProcessInstance {
 public:
  // Of a child that has not been waited for. std::system_error when the system gives no handle for it.
  static std::shared_ptr<ProcessInstance> of_child(pid_t pid);
  // Of a run of before; running() says whether it still is one.
  static std::shared_ptr<ProcessInstance> of_identity(const ProcessIdentity& identity);

  // Of a process as it is now; start time 0 when there is none of that pid.
  static ProcessIdentity identify(pid_t pid);

  const ProcessIdentity& identity() const { return m_identity; }
  pid_t pid() const { return m_identity.pid; }
  // Whether there was such a run when this object was made.
  bool running() const { return m_pidfd.valid(); }
  // Readable from the end of the run on; stays with this object. -1 when not running.
  int pidfd() const { return m_pidfd.get(); }

  // To be called once, when the run has ended.
  ProcessEnd collect();
  // To the run's process group. Nothing when the run has ended.
  void signal_group(int signal) const;
  // Since 1970-01-01T00:00:00Z.
  std::chrono::microseconds started() const { return m_started; }

 private:
  ProcessInstance(ProcessIdentity identity, UniqueFd pidfd, bool child);

  const ProcessIdentity m_identity;
  const UniqueFd m_pidfd;
  const bool m_child;
  const std::chrono::microseconds m_started;
};

}  // namespace poalocd
