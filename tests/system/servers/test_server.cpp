// A server on plain omniORB whose good and bad behaviour the tests choose by its arguments.
#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <iostream>
#include <stdexcept>
#include <thread>

#include "tests/support/files.h"
#include "tests/support/wait.h"
#include "tests/system/servers/registration.h"

extern char** environ;

namespace {

constexpr std::chrono::minutes SIGNAL_LIMIT(3);

// A test that is killed leaves no server behind.
void end_with(pid_t owner) {
  const int fd = static_cast<int>(syscall(SYS_pidfd_open, owner, 0));
  if (fd < 0) _exit(125);
  std::thread([fd] {
    pollfd ended{fd, POLLIN, 0};
    while (poll(&ended, 1, -1) != 1) {
    }
    _exit(124);
  }).detach();
}

void wait_for_file(const std::string& path) {
  if (path.empty()) return;
  if (!support::wait_until([&] { return support::file_exists(path); }, SIGNAL_LIMIT)) {
    throw std::runtime_error("the file does not come: " + path);
  }
}

void make_file(const std::string& path) {
  if (!path.empty()) support::write_file(path, "");
}

void record_environment(const std::string& path) {
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string text = *entry;
    if (text.starts_with("POALOCATOR_")) support::append_line(path, text);
  }
}

void serve(const TestServerOptions& options, const sigset_t& signals) {
  const std::string endpoint = "giop:tcp:" + options.address + ":";
  const char* orb_options[][2] = {{"endPoint", endpoint.c_str()}, {nullptr, nullptr}};
  int argc = 0;
  CORBA::ORB_var orb = CORBA::ORB_init(argc, nullptr, "", orb_options);
  Registration registration(orb, options);
  if (!options.lazy) {
    for (const std::string& path : options.poas) registration.add(path);
  }
  if (options.activator != "none") registration.add_activator();
  if (options.second_activator) registration.add_activator();
  if (options.crash_after_registering) raise(SIGKILL);
  make_file(options.ready);

  int signal = 0;
  do {
    sigwait(&signals, &signal);
  } while (options.ignore_sigterm);
  registration.leave();
  make_file(options.left);
  wait_for_file(options.exit_when);
  orb->destroy();
}

}  // namespace

int main(int argc, char** argv) {
  const TestServerOptions options = parse_options(argc, argv);
  // Blocked in every thread, and waited for in this one.
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  if (options.owner != 0) end_with(options.owner);
  if (!options.starts.empty()) support::append_line(options.starts, std::to_string(getpid()));
  if (!options.environment.empty()) record_environment(options.environment);
  if (options.exit_at_once) return 2;
  try {
    wait_for_file(options.register_when);
    serve(options, signals);
  } catch (const CORBA::Exception& error) {
    std::cerr << "test_server: " << error._name() << std::endl;
    return 1;
  } catch (const std::exception& error) {
    std::cerr << "test_server: " << error.what() << std::endl;
    return 1;
  }
  return 0;
}
