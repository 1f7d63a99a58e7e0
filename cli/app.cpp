#include "cli/app.h"

#include "cli/commands.h"

namespace poaloc {

namespace {

// CLI::Range takes "nan", which is neither less nor more.
std::string seconds_of_a_call(const std::string& text) {
  double seconds = 0;
  const bool right = CLI::detail::lexical_cast(text, seconds) && seconds >= 0.1 && seconds <= 3600;
  return right ? "" : "\"" + text + "\" is not from 0.1 to 3600 seconds";
}

}  // namespace

std::unique_ptr<CLI::App> make_app(Context& context) {
  auto app = std::make_unique<CLI::App>("Administers a locator of CORBA servers.", "poaloc");
  // What stands for all verbs may stand behind them.
  app->fallthrough();
  app->require_subcommand(1);
  app->get_formatter()->label("SUBCOMMAND", "VERB");
  app->get_formatter()->label("Subcommands", "Verbs");
  app->set_version_flag("--version", std::string("poaloc " POALOCATOR_VERSION));

  Options& options = context.options();
  app->add_option("--locator", options.locator, "The locator's front door, as HOST:PORT or a corbaloc URL")
      ->envname("POALOCATOR_URL")
      ->type_name("URL")
      ->capture_default_str();
  app->add_option("--timeout", options.timeout,
                  "Seconds that the locator may take for an answer; changes may take longer unless it is given")
      ->type_name("SECONDS")
      ->check(seconds_of_a_call)
      ->each([&options](const std::string&) { options.timeout_given = true; })
      ->capture_default_str();
  app->add_flag("--json", options.json, "Write JSON, one object a line");
  app->add_flag("-y,--yes", options.yes, "Do not ask before something is removed");

  add_poa_commands(*app, context);
  add_active_commands(*app, context);
  add_orb_commands(*app, context);
  add_process_commands(*app, context);
  add_ref_commands(*app, context);
  add_locator_commands(*app, context);
  add_repository_commands(*app, context);
  add_shell_commands(*app, context);
  return app;
}

}  // namespace poaloc
