// A locator daemon of its own for a test.
#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/child_process.h"
#include "tests/support/event_log.h"
#include "tests/support/locator_config.h"
#include "tests/support/test_dir.h"

namespace support {

// The harness raises std::runtime_error when the daemon does not do what every test takes for granted.
class Locator {
 public:
  // which: several daemons of one test have different addresses and files.
  explicit Locator(const TestDir& dir, int which = 0);
  // Kills the daemon and every server it leaves behind; after a failed test prints event log and stderr.
  ~Locator();
  Locator(const Locator&) = delete;
  Locator& operator=(const Locator&) = delete;

  // Changes hold from the next start on.
  LocatorConfig& config() { return m_config; }
  const std::string& domain() const { return m_config.domain(); }
  // Variables added to the test's own; likewise.
  std::map<std::string, std::string>& environment() { return m_environment; }

  // AddressSanitizer keeps what was freed: where memory is measured that must be little. Before the start.
  void count_freed_memory_as_free();

  // Returns when the daemon has said that it is ready.
  void start();
  // For configurations that must be refused: exit code of a daemon that does not become ready.
  int start_and_fail();
  // Sends SIGTERM and requires exit code 0.
  void terminate();
  void request_termination() { m_process->signal(15); }
  int wait_for_exit();
  void kill9();

  // Does nothing any more until it is resumed.
  void stop() { m_process->stop(); }
  void resume() { m_process->signal(18); }

  pid_t pid() const { return m_process->pid(); }
  bool running() { return m_process && m_process->running(); }

  const std::string& host() const { return m_host; }
  static constexpr int FRONT_DOOR = 2809;
  static constexpr int ORB_ENDPOINT = 2810;
  // "corbaloc::HOST:PORT/name"
  std::string corbaloc(const std::string& name) const;
  // What servers are told: "HOST:PORT".
  std::string address() const { return m_host + ":" + std::to_string(FRONT_DOOR); }

  EventLog& log() { return m_log; }
  std::string standard_error() const;

 private:
  void launch();
  bool is_ready();

  std::string m_host;
  std::string m_name;
  std::string m_dir;
  LocatorConfig m_config;
  std::map<std::string, std::string> m_environment;
  EventLog m_log;
  int m_notify_socket = -1;
  std::unique_ptr<ChildProcess> m_process;
};

}  // namespace support
