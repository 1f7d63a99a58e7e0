#include "tests/support/child_process.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <set>
#include <stdexcept>

#include "tests/support/proc_info.h"
#include "tests/support/wait.h"

extern char** environ;

namespace support {

namespace {

std::set<pid_t>& own_children() {
  static std::set<pid_t> pids;
  return pids;
}

std::vector<std::string> merged_environment(const std::map<std::string, std::string>& added) {
  std::vector<std::string> result;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string text = *entry;
    if (!added.contains(text.substr(0, text.find('=')))) result.push_back(text);
  }
  for (const auto& [name, value] : added) result.push_back(name + "=" + value);
  return result;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
  std::vector<char*> result;
  for (std::string& text : texts) result.push_back(text.data());
  result.push_back(nullptr);
  return result;
}

int open_for_reading(const std::string& path) {
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) throw std::runtime_error("cannot open " + path);
  return fd;
}

int open_for_append(const std::string& path) {
  const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
  if (fd < 0) throw std::runtime_error("cannot open " + path);
  return fd;
}

}  // namespace

std::string program(const std::string& name) {
  const char* folder = std::getenv("POALOCATOR_BIN_DIR");
  if (folder != nullptr) return std::string(folder) + "/" + name;
  return (std::filesystem::read_symlink("/proc/self/exe").parent_path() / name).string();
}

ChildProcess::ChildProcess(const Spec& spec) {
  std::vector<std::string> argv = spec.argv;
  std::vector<std::string> environment = merged_environment(spec.environment);
  const std::vector<char*> argv_pointers = pointers(argv);
  const std::vector<char*> environment_pointers = pointers(environment);
  const int in = open_for_reading(spec.stdin_path);
  const int out = open_for_append(spec.stdout_path);
  const int err = open_for_append(spec.stderr_path);
  const pid_t parent = getpid();
  m_pid = fork();
  if (m_pid < 0) throw std::runtime_error("cannot fork");
  if (m_pid == 0) {
    // Dies with the test, also when the test is killed.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(126);
    dup2(in, STDIN_FILENO);
    dup2(out, STDOUT_FILENO);
    dup2(err, STDERR_FILENO);
    execve(argv_pointers[0], argv_pointers.data(), environment_pointers.data());
    _exit(127);
  }
  close(in);
  close(out);
  close(err);
  own_children().insert(m_pid);
}

ChildProcess::~ChildProcess() {
  kill9();
  own_children().erase(m_pid);
}

bool ChildProcess::running() {
  if (m_status) return false;
  int status = 0;
  if (waitpid(m_pid, &status, WNOHANG) != m_pid) return true;
  m_status = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  return false;
}

void ChildProcess::signal(int number) const {
  if (!m_status) ::kill(m_pid, number);
}

void ChildProcess::stop() const {
  signal(SIGSTOP);
  siginfo_t info{};
  while (waitid(P_PID, static_cast<id_t>(m_pid), &info, WSTOPPED | WEXITED | WNOWAIT) != 0 && errno == EINTR) {
  }
}

void ChildProcess::kill9() {
  signal(SIGKILL);
  wait();
}

std::optional<int> ChildProcess::wait(std::chrono::milliseconds limit) {
  wait_until([this] { return !running(); }, limit);
  return m_status;
}

void adopt_orphans() {
  prctl(PR_SET_CHILD_SUBREAPER, 1);
}

void end_orphans() {
  for (const pid_t pid : children()) {
    if (own_children().contains(pid)) continue;
    ::kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
  }
}

}  // namespace support
