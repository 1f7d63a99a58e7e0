#include "daemon/command_line.h"

#include <CLI/CLI.hpp>

namespace poalocd {

CommandLine CommandLine::parse(int argc, char** argv, std::optional<int>& exit_code) {
  CommandLine result;
  CLI::App app(
      "poalocd, a locator daemon for CORBA servers: finds, starts and watches them, and leads clients to them.",
      "poalocd");
  app.add_option("--config", result.config_file, "Configuration file (TOML); without one, the built-in defaults hold")
      ->type_name("FILE");
  app.add_option("--set", result.assignments,
                 "A configuration value that wins over the file, as in --set event_log.format=json; may be repeated")
      ->type_name("KEY=VALUE")
      ->allow_extra_args(false);
  app.add_flag("--check-config", result.check_config, "Check the configuration and exit");
  app.set_version_flag("--version", "poalocd " POALOCATOR_VERSION);
  app.footer("Exit codes: 0 stopped on request, 1 could not start, 2 mistake in command line or configuration.");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    exit_code = app.exit(e) == 0 ? EXIT_STOPPED : EXIT_CONFIGURATION;
  }
  return result;
}

}  // namespace poalocd
