// The verbs of the command as plain values, for whoever writes about them.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace poaloc {

struct VerbOption {
  std::vector<std::string> flags;  // "-y", "--yes"; empty for what is told by its place
  std::string value;               // as in "ORB"; empty for a flag
  std::vector<std::string> choices;
  std::string description;
  std::string default_text;
  std::string environment;
  bool required = false;
  bool repeated = false;

  bool positional() const { return flags.empty(); }
};

struct Verb {
  std::vector<std::string> path;  // "poaloc", "poa", "list"
  std::string description;
  std::vector<VerbOption> options;
  std::vector<const CLI::App*> subverbs;

  // Joined by that character.
  std::string name(char separator) const;
};

// The command itself first, each verb before those below it.
std::vector<Verb> verbs_of(const CLI::App& app);

}  // namespace poaloc
