#include "tests/system/cli/terminal.h"

#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

#include "tests/support/wait.h"

Terminal::Terminal(const std::vector<std::string>& argv, const std::map<std::string, std::string>& environment,
                   unsigned short columns) {
  std::vector<std::string> words = argv;
  std::vector<char*> pointers;
  for (std::string& word : words) pointers.push_back(word.data());
  pointers.push_back(nullptr);
  const winsize size{24, columns, 0, 0};
  m_pid = forkpty(&m_fd, nullptr, nullptr, &size);
  if (m_pid < 0) throw std::runtime_error("cannot make a terminal");
  if (m_pid == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    for (const auto& [name, value] : environment) setenv(name.c_str(), value.c_str(), 1);
    execv(pointers[0], pointers.data());
    _exit(127);
  }
}

Terminal::~Terminal() {
  if (m_pid > 0) {
    kill(m_pid, SIGKILL);
    waitpid(m_pid, nullptr, 0);
  }
  close(m_fd);
}

void Terminal::type(const std::string& text) {
  if (write(m_fd, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
    throw std::runtime_error("cannot write to the terminal");
}

bool Terminal::read_some() {
  pollfd waiting{m_fd, POLLIN, 0};
  if (poll(&waiting, 1, 10) <= 0) return true;
  char buffer[4096];
  const ssize_t size = read(m_fd, buffer, sizeof buffer);
  if (size <= 0) return false;
  m_screen.append(buffer, static_cast<std::size_t>(size));
  return true;
}

bool Terminal::shows(const std::string& text) {
  bool open = true;
  support::wait_until([&] {
    if (open) open = read_some();
    return !open || m_screen.find(text) != std::string::npos;
  });
  return m_screen.find(text) != std::string::npos;
}

std::optional<int> Terminal::wait() {
  bool open = true;
  if (!support::wait_until([&] { return !open || !(open = read_some()); }, std::chrono::seconds(60))) return {};
  int status = 0;
  if (!support::wait_until([&] { return waitpid(m_pid, &status, WNOHANG) == m_pid; })) return {};
  m_pid = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}
