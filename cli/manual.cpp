#include "cli/manual.h"

#include "cli/exit_code.h"
#include "cli/verb_tree.h"

namespace poaloc {

namespace {

constexpr const char* DESCRIPTION[] = {
    "The command browses and changes what a locator of CORBA servers knows, while the locator serves: its repository "
    "of "
    "POAs, server ORBs and server processes, and what is active of them.",
    "POAs are named from the outermost down, as in Bank/Accounts; / is the root, and a slash within a name has a "
    "backslash before it. Options that stand for all verbs may stand before or behind them.",
    "With --json each line of standard output is one JSON object, a list one object for each of its entries, so that "
    "the number of lines is the number of entries. Messages go to standard error.",
};

struct Example {
  const char* command;
  const char* text;
};
constexpr Example EXAMPLES[] = {
    {"poaloc process add bank --log /var/log/bank.log -- /usr/bin/bank_server --verbose",
     "Says how the server is started."},
    {"poaloc orb add bank --process bank", "Says that the server's ORB \"bank\" lives in that process."},
    {"poaloc poa add Bank/Accounts --orb bank --parents", "Says that the ORB serves the objects of that POA."},
    {"poaloc ref make Bank/Accounts --id 4711 --type IDL:Bank/Account:1.0",
     "Prints a reference that starts the server when it is used."},
    {"poaloc events --follow --priority warning", "Shows what goes wrong, as it happens."},
    {"poaloc export repository.json", "Saves the repository; \"poaloc import repository.json\" brings it back."},
};

// Text as it is, whatever troff would make of it.
std::string escaped(const std::string& text) {
  std::string result;
  for (const char c : text) {
    if (c == '\\') {
      result += "\\e";
    } else if (c == '-') {
      result += "\\-";
    } else if (c == '\'' || (c == '.' && result.empty())) {
      result += std::string("\\&") + c;
    } else {
      result += c;
    }
  }
  return result;
}

std::string bold(const std::string& text) {
  return "\\fB" + escaped(text) + "\\fR";
}

std::string italic(const std::string& text) {
  return "\\fI" + escaped(text) + "\\fR";
}

std::string usage(const Verb& verb) {
  std::string result = bold(verb.name(' '));
  bool has_options = false;
  for (const VerbOption& option : verb.options) has_options |= !option.positional() && option.flags.back() != "--help";
  if (has_options) result += " [" + italic("OPTIONS") + "]";
  for (const VerbOption& option : verb.options) {
    if (!option.positional()) continue;
    std::string text = italic(option.value) + (option.repeated ? "..." : "");
    result += option.required ? " " + text : " [" + text + "]";
  }
  return result;
}

std::string option_entry(const VerbOption& option) {
  std::string names;
  for (const auto& flag : option.flags) names += (names.empty() ? "" : ", ") + bold(flag);
  if (!option.value.empty()) names += (names.empty() ? "" : " ") + italic(option.value);
  std::string text = escaped(option.description);
  if (!option.choices.empty()) {
    text += ": ";
    for (std::size_t i = 0; i < option.choices.size(); ++i)
      text += (i == 0 ? "" : i + 1 == option.choices.size() ? " or " : ", ") + bold(option.choices[i]);
  }
  text += ".";
  if (!option.default_text.empty()) text += " Default: " + escaped(option.default_text) + ".";
  if (!option.environment.empty()) text += " Taken from " + bold(option.environment) + " where that is set.";
  return ".TP\n" + names + "\n" + text + "\n";
}

std::string options_of(const Verb& verb) {
  std::string result;
  for (const VerbOption& option : verb.options)
    if (option.positional() || option.flags.back() != "--help") result += option_entry(option);
  return result;
}

}  // namespace

std::string manual_page(const CLI::App& app, const std::string& version) {
  const auto verbs = verbs_of(app);
  std::string page = ".TH POALOC 1 \"\" \"" + escaped("poaloc " + version) + "\" \"User Commands\"\n";
  page += ".SH NAME\npoaloc \\- " + escaped("administers a locator of CORBA servers") + "\n";
  page += ".SH SYNOPSIS\n" + bold("poaloc") + " [" + italic("OPTIONS") + "] " + italic("VERB") + " ...\n";
  page += ".SH DESCRIPTION\n";
  for (const char* paragraph : DESCRIPTION) page += ".PP\n" + escaped(paragraph) + "\n";
  page += ".SH OPTIONS\n" + options_of(verbs.front());
  page += ".SH VERBS\n";
  for (const Verb& verb : verbs) {
    if (verb.path.size() == 1 || !verb.subverbs.empty()) continue;
    page += ".SS " + usage(verb) + "\n" + escaped(verb.description) + ".\n" + options_of(verb);
  }
  page += ".SH EXIT STATUS\n";
  for (const auto& [code, text] : EXIT_CODE_TEXTS)
    page += ".TP\n" + bold(std::to_string(code)) + "\n" + escaped(text) + "\n";
  page += ".SH ENVIRONMENT\n";
  for (const VerbOption& option : verbs.front().options)
    if (!option.environment.empty())
      page += ".TP\n" + bold(option.environment) + "\n" + escaped(option.description) + ".\n";
  page += ".SH EXAMPLES\n";
  for (const auto& [command, text] : EXAMPLES) page += ".TP\n" + bold(command) + "\n" + escaped(text) + "\n";
  return page;
}

}  // namespace poaloc
