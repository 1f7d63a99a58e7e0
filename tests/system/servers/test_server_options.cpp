#include "tests/system/servers/test_server_options.h"

#include <CLI/CLI.hpp>

TestServerOptions parse_options(int argc, char** argv) {
  TestServerOptions options;
  CLI::App app("A server of the system tests.");
  app.add_option("--locator", options.locator);
  app.add_option("--domain", options.domain);
  app.add_option("--orb", options.orb);
  app.add_option("--address", options.address);
  app.add_option("--poa", options.poas)->take_all();
  app.add_option("--activator", options.activator)
      ->check(CLI::IsMember({"none", "ok", "nonexistent", "system-exception", "hang", "exit"}));
  app.add_option("--starts", options.starts);
  app.add_option("--activations", options.activations);
  app.add_option("--environment", options.environment);
  app.add_option("--register-when", options.register_when);
  app.add_option("--ready", options.ready);
  app.add_option("--release", options.release);
  app.add_option("--left", options.left);
  app.add_option("--exit-when", options.exit_when);
  app.add_option("--owner", options.owner);
  app.add_flag("--lazy", options.lazy);
  app.add_flag("--exit-at-once", options.exit_at_once);
  app.add_flag("--crash-after-registering", options.crash_after_registering);
  app.add_flag("--ignore-sigterm", options.ignore_sigterm);
  app.add_flag("--second-activator", options.second_activator);
  app.add_flag("--crash-on-call", options.crash_on_call);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    std::exit(app.exit(error));
  }
  return options;
}
