#include "examples/bank/bank_options.h"

#include <CLI/CLI.hpp>
#include <cstdlib>

BankOptions parse_bank_options(int argc, char** argv) {
  BankOptions options;
  CLI::App app("Serves accounts at POA Bank/Accounts and their audit at Bank/Audit, reached through a PoaLocator.");
  app.add_option("--locator", options.locator.url, "Locator's address, corbaloc::HOST:PORT (or POALOCATOR_URL)");
  app.add_option("--orb-name", options.locator.orb_name, "This server's ORB name (or POALOCATOR_ORB_NAME)");
  app.add_option("--domain", options.locator.domain, "Locator's domain (or POALOCATOR_DOMAIN)");
  app.add_flag("--eager", options.eager, "Create the POAs at the start, not at the first request for each");
  app.add_flag("--register-only", options.register_only, "Register once, write the references, leave");
  app.add_option("--refs", options.refs, "Folder to write the references to: NAME.ior of each account, ledger.ior");
  app.add_option("--accounts", options.accounts, "Accounts whose references are written")->capture_default_str();
  try {
    app.parse(argc, argv);
    if (!options.refs.empty() && !options.eager && !options.register_only) {
      throw CLI::ValidationError("--refs", "needs --eager or --register-only, since only POAs that are up have any");
    }
  } catch (const CLI::ParseError& error) {
    std::exit(app.exit(error));
  }
  return options;
}
