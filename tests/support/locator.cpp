#include "tests/support/locator.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <iostream>
#include <stdexcept>

#include "tests/support/files.h"
#include "tests/support/loopback.h"
#include "tests/support/wait.h"

namespace support {

namespace {

constexpr std::chrono::seconds START_LIMIT(30);

int bind_datagram_socket(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) throw std::runtime_error("too long for a socket: " + path);
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  unlink(path.c_str());
  const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (fd < 0 || bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    throw std::runtime_error("cannot bind " + path);
  }
  return fd;
}

void print_end(const std::vector<std::string>& lines) {
  constexpr std::size_t MOST = 200;
  const std::size_t first = lines.size() > MOST ? lines.size() - MOST : 0;
  if (first > 0) std::cout << "(" << first << " lines before)\n";
  for (std::size_t i = first; i < lines.size(); ++i) std::cout << lines[i] << "\n";
}

}  // namespace

Locator::Locator(const TestDir& dir, int which)
    : m_host(own_address(which)),
      m_name("locator" + std::to_string(which)),
      m_dir(dir.path()),
      m_log(dir.file(m_name + ".jsonl")) {
  adopt_orphans();
  m_config.set_domain("test");
  m_config.set("front_door", "listen", "[" + LocatorConfig::quoted(address()) + "]");
  m_config.set_text("orb_endpoint", "listen", m_host + ":" + std::to_string(ORB_ENDPOINT));
  m_config.set_text("store", "url", "sqlite://" + dir.file(m_name + ".db"));
  m_config.set_text("event_log", "file", m_log.path());
  m_config.set_text("event_log", "format", "json");
}

Locator::~Locator() {
  if (m_process) m_process->kill9();
  end_orphans();
  if (m_notify_socket >= 0) close(m_notify_socket);
  if (!::testing::Test::HasFailure()) return;
  std::cout << "---- end of the event log of " << m_name << "\n";
  print_end(read_lines(m_log.path()));
  std::cout << "---- standard error of " << m_name << "\n" << standard_error() << "----" << std::endl;
}

std::string Locator::standard_error() const {
  return read_file(m_dir + "/" + m_name + ".err");
}

std::string Locator::corbaloc(const std::string& name) const {
  return "corbaloc::" + address() + "/" + name;
}

void Locator::launch() {
  if (running()) throw std::runtime_error("the daemon runs already");
  const std::string config_path = m_dir + "/" + m_name + ".toml";
  const std::string socket_path = m_dir + "/" + m_name + ".notify";
  write_file(config_path, m_config.text());
  if (m_notify_socket >= 0) close(m_notify_socket);
  m_notify_socket = bind_datagram_socket(socket_path);
  ChildProcess::Spec spec;
  spec.argv = {program("poalocd"), "--config", config_path};
  spec.environment = m_environment;
  spec.environment["NOTIFY_SOCKET"] = socket_path;
  spec.stdout_path = m_dir + "/" + m_name + ".out";
  spec.stderr_path = m_dir + "/" + m_name + ".err";
  m_process = std::make_unique<ChildProcess>(spec);
}

bool Locator::is_ready() {
  char buffer[4096];
  for (ssize_t size; (size = recv(m_notify_socket, buffer, sizeof buffer, 0)) > 0;) {
    const std::string text = "\n" + std::string(buffer, static_cast<std::size_t>(size)) + "\n";
    if (text.find("\nREADY=1\n") != std::string::npos) return true;
  }
  return false;
}

void Locator::count_freed_memory_as_free() {
  const char* options = std::getenv("ASAN_OPTIONS");
  m_environment["ASAN_OPTIONS"] =
      std::string(options ? options : "") + ":quarantine_size_mb=4:thread_local_quarantine_size_kb=64";
}

void Locator::start() {
  launch();
  bool ready = false;
  wait_until([&] { return (ready = is_ready()) || !running(); }, START_LIMIT);
  if (!ready) throw std::runtime_error("the daemon did not become ready: " + standard_error());
}

int Locator::start_and_fail() {
  launch();
  bool ready = false;
  wait_until([&] { return (ready = is_ready()) || !running(); }, START_LIMIT);
  if (ready) throw std::runtime_error("the daemon became ready, which it should not");
  return wait_for_exit();
}

void Locator::terminate() {
  request_termination();
  const int status = wait_for_exit();
  if (status != 0) throw std::runtime_error("the daemon ended with " + std::to_string(status));
}

int Locator::wait_for_exit() {
  const std::optional<int> status = m_process->wait();
  if (!status) throw std::runtime_error("the daemon does not end");
  return *status;
}

void Locator::kill9() {
  m_process->kill9();
}

}  // namespace support
