#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <optional>

#include "daemon/command_line.h"
#include "daemon/configuration_error.h"
#include "daemon/daemon.h"

namespace {

// Whoever started us may have closed them; then some log or socket would take their numbers, and servers inherit it.
void open_standard_descriptors() {
  while (true) {
    const int fd = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    if (fd < 0) return;
    if (fd > STDERR_FILENO) {
      ::close(fd);
      return;
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  open_standard_descriptors();
  std::optional<int> exit_code;
  const auto command_line = poalocd::CommandLine::parse(argc, argv, exit_code);
  if (exit_code) return *exit_code;
  RefCountHandle<poalocd::ConfigurationImpl> configuration;
  try {
    configuration = RefCountHandle<poalocd::ConfigurationImpl>(
        poalocd::ConfigurationImpl::load(command_line.config_file, command_line.assignments));
  } catch (const poalocd::ConfigurationError& e) {
    std::fprintf(stderr, "%s\n", e.what());
    return poalocd::EXIT_CONFIGURATION;
  }
  if (command_line.check_config) return poalocd::EXIT_STOPPED;
  poalocd::SignalWatch signals;
  return poalocd::run_daemon(std::move(configuration), signals);
}
