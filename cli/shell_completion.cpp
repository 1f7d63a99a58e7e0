#include "cli/shell_completion.h"

#include "cli/verb_tree.h"

namespace poaloc {

namespace {

// What may stand for a value of that kind, as a command of the shell that prints a word a line; empty: nothing known.
std::string names_command(const std::string& value) {
  if (value == "ORB") return "_poaloc_names orb list";
  if (value == "PROCESS") return "_poaloc_names process list";
  if (value == "POA") return "_poaloc_names poa list";
  return {};
}

bool is_path(const std::string& value) {
  return value == "FILE" || value == "DIRECTORY" || value == "PROGRAM";
}

std::string joined(const std::vector<std::string>& words, const char* separator) {
  std::string result;
  for (const auto& word : words) result += (result.empty() ? "" : separator) + word;
  return result;
}

// In single quotes for a shell.
std::string quoted(const std::string& text) {
  std::string result = "'";
  for (const char c : text) result += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return result + "'";
}

// The two shells' own ways to say the same.
struct Dialect {
  std::string head;
  std::string (*offer_words)(const std::vector<std::string>& words);
  std::string (*offer_command)(const std::string& command);
  std::string offer_files;
  std::string (*verb_words)(const Verb& verb, const std::vector<VerbOption>& global_options);
  std::string tail;
};

// Asks the locator, but not for long. Names that JSON or a shell writes in another way are left out: anybody may have
// made them, and a shell must not take them for something else.
constexpr const char* NAMES_FUNCTION = R"script(_poaloc_names() {
  poaloc "$@" --json --timeout 1 2>/dev/null | head -n 200 | sed -n 's/^{"name":"\([[:alnum:]_.,:/@%+=-]*\)".*/\1/p'
}

)script";

constexpr const char* BASH_HEAD = R"script(_poaloc_offer() {
  local IFS=$'\n'
  COMPREPLY+=($(compgen -W "$1" -- "$current"))
}

_poaloc() {
  local current="${COMP_WORDS[COMP_CWORD]}" previous="${COMP_WORDS[COMP_CWORD-1]}" verb=poaloc word
  COMPREPLY=()
  for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
)script";

constexpr const char* ZSH_HEAD = R"script(_poaloc() {
  local current="${words[CURRENT]}" previous="${words[CURRENT-1]}" verb=poaloc word
  local -a offered
  for word in "${(@)words[2,CURRENT-1]}"; do
)script";

// Which verb is being written: the words so far that lead down the tree.
std::string path_case(const std::vector<Verb>& verbs) {
  std::string result = "    case \"$verb/$word\" in\n      ";
  bool first = true;
  for (const Verb& verb : verbs) {
    if (verb.path.size() == 1) continue;
    result += (first ? "" : "|") + verb.name('/');
    first = false;
  }
  return result + ") verb=\"$verb/$word\" ;;\n    esac\n";
}

std::string value_offer(const Dialect& dialect, const VerbOption& option) {
  if (!option.choices.empty()) return dialect.offer_words(option.choices);
  if (const auto command = names_command(option.value); !command.empty()) return dialect.offer_command(command);
  return is_path(option.value) ? dialect.offer_files : std::string(":");
}

// Behind an option that takes a value, only its values.
std::string value_case(const Dialect& dialect, const std::vector<Verb>& verbs) {
  std::string result = "  case \"$verb $previous\" in\n";
  for (const Verb& verb : verbs) {
    const std::string name = verb.path.size() == 1 ? "*" : quoted(verb.name('/'));
    for (const VerbOption& option : verb.options) {
      if (option.positional() || option.value.empty()) continue;
      std::vector<std::string> patterns;
      for (const auto& flag : option.flags) patterns.push_back(name + "' " + flag + "'");
      result += "    " + joined(patterns, "|") + ") " + value_offer(dialect, option) + "; return ;;\n";
    }
  }
  return result + "  esac\n";
}

std::string verb_case(const Dialect& dialect, const std::vector<Verb>& verbs) {
  std::string result = "  case \"$verb\" in\n";
  for (const Verb& verb : verbs) {
    result += "    " + verb.name('/') + ")\n      " + dialect.verb_words(verb, verbs.front().options) + "\n";
    for (const VerbOption& option : verb.options)
      if (option.positional())
        if (const auto offer = value_offer(dialect, option); offer != ":")
          result += "      [[ \"$current\" == -* ]] || " + offer + "\n";
    result += "      ;;\n";
  }
  return result + "  esac\n";
}

std::string script(const Dialect& dialect, const CLI::App& app) {
  const auto verbs = verbs_of(app);
  return dialect.head + path_case(verbs) + "  done\n" + value_case(dialect, verbs) + verb_case(dialect, verbs) +
         dialect.tail;
}

// use(flag or name, description) for each word that may follow the verb.
template <class Use>
void for_each_word(const Verb& verb, const std::vector<VerbOption>& global_options, Use use) {
  for (const CLI::App* subverb : verb.subverbs) use(subverb->get_name(), subverb->get_description());
  const auto use_options = [&](const std::vector<VerbOption>& options) {
    for (const VerbOption& option : options)
      if (!option.positional() && option.flags.back() != "--version") use(option.flags.back(), option.description);
  };
  use_options(verb.options);
  if (verb.path.size() == 1) return;
  for (const VerbOption& option : global_options)
    if (!option.positional() && option.flags.back() != "--version" && option.flags.back() != "--help")
      use(option.flags.back(), option.description);
}

std::string bash_offer(const std::vector<std::string>& words) {
  return "_poaloc_offer " + quoted(joined(words, "\n"));
}

std::string bash_offer_command(const std::string& command) {
  return "_poaloc_offer \"$(" + command + ")\"";
}

std::string bash_verb_words(const Verb& verb, const std::vector<VerbOption>& global_options) {
  std::vector<std::string> words;
  for_each_word(verb, global_options, [&](const std::string& word, const std::string&) { words.push_back(word); });
  return bash_offer(words);
}

std::string zsh_offer(const std::vector<std::string>& words) {
  std::string result = "compadd --";
  for (const auto& word : words) result += " " + quoted(word);
  return result;
}

std::string zsh_offer_command(const std::string& command) {
  return "compadd -- \"${(@f)$(" + command + ")}\"";
}

std::string zsh_verb_words(const Verb& verb, const std::vector<VerbOption>& global_options) {
  std::string result = "offered=(";
  for_each_word(verb, global_options, [&](const std::string& word, const std::string& description) {
    std::string escaped;
    for (const char c : description) escaped += c == ':' ? std::string("\\:") : std::string(1, c);
    result += " " + quoted(word + ":" + escaped);
  });
  return result + "); _describe poaloc offered";
}

}  // namespace

std::string bash_completion(const CLI::App& app) {
  return script({std::string("# Completion of poaloc for bash.\n\n") + NAMES_FUNCTION + BASH_HEAD, bash_offer,
                 bash_offer_command, "compopt -o default", bash_verb_words, "}\n\ncomplete -F _poaloc poaloc\n"},
                app);
}

std::string zsh_completion(const CLI::App& app) {
  return script({std::string("#compdef poaloc\n# Completion of poaloc for zsh.\n\n") + NAMES_FUNCTION + ZSH_HEAD,
                 zsh_offer, zsh_offer_command, "_files", zsh_verb_words, "}\n\n_poaloc \"$@\"\n"},
                app);
}

}  // namespace poaloc
