// A program that a test starts and watches.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace support {

// Where the programs of this build lie: POALOCATOR_BIN_DIR, or the folder of the test program itself.
std::string program(const std::string& name);

class ChildProcess {
 public:
  struct Spec {
    std::vector<std::string> argv;
    std::map<std::string, std::string> environment;  // added to the test's own
    std::string stdin_path = "/dev/null";
    std::string stdout_path = "/dev/null";
    std::string stderr_path = "/dev/null";  // may be the same file
  };

  // Must be called on the test's main thread: the child is killed by the kernel when that thread ends.
  explicit ChildProcess(const Spec& spec);
  // Kills it when it still runs.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  pid_t pid() const { return m_pid; }
  bool running();
  void signal(int number) const;
  // Until SIGCONT. Returns when all its threads have stopped: who only sends SIGSTOP may see it at work for a while.
  void stop() const;
  void kill9();

  // Exit code, or minus the number of the signal that ended it; empty when it still runs after the limit (stretched).
  std::optional<int> wait(std::chrono::milliseconds limit = std::chrono::seconds(20));

 private:
  pid_t m_pid;
  std::optional<int> m_status;
};

// Processes whose parent has ended become children of this process instead of init's.
void adopt_orphans();
// Kills and reaps the adopted ones.
void end_orphans();

}  // namespace support
