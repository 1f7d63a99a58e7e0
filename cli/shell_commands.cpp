// poaloc completion, man: what belongs to the shell.
#include "cli/commands.h"
#include "cli/manual.h"
#include "cli/shell_completion.h"

namespace poaloc {

void add_shell_commands(CLI::App& app, Context& context) {
  const auto shell = std::make_shared<std::string>();
  auto* verb = app.add_subcommand("completion", "Print the completion script of a shell");
  verb->add_option("shell", *shell, "Which")->type_name("SHELL")->required()->check(CLI::IsMember({"bash", "zsh"}));
  verb->callback([&app, &context, shell] {
    context.output().text(*shell == "bash" ? bash_completion(app) : zsh_completion(app));
  });

  app.add_subcommand("man", "Print the manual page")->callback([&app, &context] {
    context.output().text(manual_page(app, POALOCATOR_VERSION));
  });
}

}  // namespace poaloc
