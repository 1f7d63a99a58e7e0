#include "cli/verb_tree.h"

namespace poaloc {

namespace {

VerbOption to_verb_option(const CLI::Option& option) {
  VerbOption result;
  for (const auto& name : option.get_snames()) result.flags.push_back("-" + name);
  for (const auto& name : option.get_lnames()) result.flags.push_back("--" + name);
  result.description = option.get_description();
  result.environment = option.get_envname();
  result.required = option.get_required();
  result.repeated =
      option.get_items_expected_max() > 1 || option.get_multi_option_policy() == CLI::MultiOptionPolicy::TakeAll;
  if (option.get_items_expected_max() == 0) return result;
  result.default_text = option.get_default_str();
  // The type's name, then what may be chosen: "CHOICE:{yes,no}".
  const std::string type = option.get_type_name();
  const auto colon = type.find(':');
  result.value = type.substr(0, colon);
  if (colon == std::string::npos || type.substr(colon, 2) != ":{" || type.back() != '}') return result;
  result.choices = CLI::detail::split(type.substr(colon + 2, type.size() - colon - 3), ',');
  return result;
}

// Groups of options are applications without a name.
void collect_options(const CLI::App& app, std::vector<VerbOption>& options) {
  for (const CLI::Option* option : app.get_options()) options.push_back(to_verb_option(*option));
  for (const CLI::App* group : app.get_subcommands([](const CLI::App* a) { return a->get_name().empty(); }))
    collect_options(*group, options);
}

void collect(const CLI::App& app, std::vector<std::string> path, std::vector<Verb>& verbs) {
  path.push_back(app.get_name());
  Verb verb{
      path, app.get_description(), {}, app.get_subcommands([](const CLI::App* a) { return !a->get_name().empty(); })};
  collect_options(app, verb.options);
  const auto subverbs = verb.subverbs;
  verbs.push_back(std::move(verb));
  for (const CLI::App* subverb : subverbs) collect(*subverb, path, verbs);
}

}  // namespace

std::string Verb::name(char separator) const {
  std::string result;
  for (const auto& part : path) result += (result.empty() ? "" : std::string(1, separator)) + part;
  return result;
}

std::vector<Verb> verbs_of(const CLI::App& app) {
  std::vector<Verb> result;
  collect(app, {}, result);
  return result;
}

}  // namespace poaloc
