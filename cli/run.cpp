#include "cli/run.h"

#include <algorithm>

#include "cli/app.h"
#include "cli/failure.h"
#include "cli/text.h"

namespace poaloc {

namespace {

int fail(const Streams& streams, const Failure& failure) {
  if (*failure.what()) streams.err << "poaloc: " << failure.what() << "\n";
  return failure.code();
}

// CORBA's exceptions become failures where it is known which locator was called.
void parse(CLI::App& app, Context& context, std::vector<std::string> arguments) {
  try {
    std::reverse(arguments.begin(), arguments.end());  // as the parser wants them
    app.parse(std::move(arguments));
    context.output().flush();
  } catch (const CORBA::Exception& exception) {
    if (context.connected()) context.connection().fail(exception);
    throw Failure(FAILED, "The ORB cannot be used here: see that its configuration file is right.");
  }
}

}  // namespace

int run(std::vector<std::string> arguments, const Streams& streams) {
  Context context(streams);
  const auto app = make_app(context);
  try {
    parse(*app, context, std::move(arguments));
    return SUCCESS;
  } catch (const Failure& failure) {
    return fail(streams, failure);
  } catch (const CLI::Success& asked) {
    return app->exit(asked, streams.out, streams.err);
  } catch (const CLI::ParseError& error) {
    const auto* command = app.get();
    while (!command->get_subcommands().empty()) command = command->get_subcommands().front();
    std::string name;
    for (const auto* at = command; at; at = at->get_parent()) name = at->get_name() + (name.empty() ? "" : " ") + name;
    return fail(streams, Failure(USAGE, printable(error.what()) + "; \"" + name + " --help\" shows how."));
  } catch (const std::exception& error) {
    return fail(streams, Failure(FAILED, error.what()));
  }
}

}  // namespace poaloc
