// poaloc and the shell: completion, manual, help, pipes.
#include "tests/system/cli/cli_test.h"

namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::IsSupersetOf;
using ::testing::Not;
using ::testing::UnorderedElementsAre;

class ShellTest : public CliTest {
 protected:
  Outcome shell(const std::string& script) {
    auto spec = command({});
    const std::string folder = support::program("");
    spec.argv = {"/bin/bash", "-c", "PATH=" + folder + ":$PATH\n" + script};
    support::ChildProcess process(spec);
    const int code = process.wait(std::chrono::seconds(60)).value_or(-1);
    return {code, support::read_file(spec.stdout_path), support::read_file(spec.stderr_path)};
  }

  // What bash offers for the last of the words.
  Words completions(const Words& words) {
    std::string script = "source <(poaloc completion bash)\nCOMP_WORDS=(poaloc";
    for (const std::string& word : words) script += " '" + word + "'";
    script += ")\nCOMP_CWORD=" + std::to_string(words.size()) +
              "\ncompopt() { echo files; }\n_poaloc\nprintf '%s\\n' \"${COMPREPLY[@]}\"\n";
    const Outcome outcome = shell(script);
    EXPECT_EQ(outcome.err, "");
    Words result = split_lines(outcome.out);
    std::erase(result, "");
    return result;
  }
};

TEST_F(ShellTest, BashLoadsTheCompletion) {
  const Outcome outcome = shell("source <(poaloc completion bash) && complete -p poaloc");
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(outcome.out, "complete -F _poaloc poaloc\n");
}

TEST_F(ShellTest, BashCompletesVerbsAndOptions) {
  EXPECT_THAT(completions({""}), IsSupersetOf({"poa", "active", "orb", "process", "ref", "ping", "status", "events",
                                               "export", "import", "completion", "man", "--locator", "--json"}));
  EXPECT_THAT(completions({"p"}), UnorderedElementsAre("poa", "process", "ping"));
  EXPECT_THAT(completions({"--json", "poa", ""}),
              IsSupersetOf({"tree", "list", "show", "add", "set", "remove", "--locator"}));
  EXPECT_THAT(completions({"orb", "remove", "--"}), IsSupersetOf({"--force", "--deep", "--yes", "--help"}));
  EXPECT_THAT(completions({"poa", "set", "A", "--dynamic", ""}), UnorderedElementsAre("yes", "no"));
  EXPECT_THAT(completions({"completion", "b"}), UnorderedElementsAre("bash"));
  EXPECT_THAT(completions({"import", ""}), Contains("files"));
  EXPECT_THAT(completions({"poa", "nonsense", "x"}), IsEmpty());
}

TEST_F(ShellTest, BashCompletesNames) {
  for (const char* name : {"bank", "bakery", "shop"}) does({"orb", "add", name});
  for (const char* name : {"Bank", "Bank/Accounts"}) does({"poa", "add", name});
  does({"process", "add", "server", "--", "/bin/true"});
  EXPECT_THAT(completions({"orb", "show", "ba"}), UnorderedElementsAre("bank", "bakery"));
  EXPECT_THAT(completions({"poa", "add", "X", "--orb", "s"}), UnorderedElementsAre("shop"));
  EXPECT_THAT(completions({"poa", "show", "Bank/"}), UnorderedElementsAre("Bank/Accounts"));
  EXPECT_THAT(completions({"process", "start", "s"}), UnorderedElementsAre("server"));
  m_locator.terminate();
  EXPECT_THAT(completions({"orb", "show", "ba"}), IsEmpty());
}

// A shell must never take a name for something to be done.
TEST_F(ShellTest, BashCompletionTakesNoNameForACommand) {
  const std::string trap = m_dir.file("trapped");
  for (const std::string& name : {"$(touch " + trap + ")", "`touch " + trap + "`", std::string("x*"), "x;touch " + trap,
                                  std::string("x y"), std::string("xy")})
    does({"orb", "add", "--", name});
  EXPECT_THAT(completions({"orb", "show", ""}), Contains("xy"));
  EXPECT_THAT(completions({"orb", "show", "x"}), UnorderedElementsAre("xy"));
  EXPECT_FALSE(support::file_exists(trap));
}

TEST_F(ShellTest, ZshCompletionNamesEveryVerb) {
  const std::string script = table({"completion", "zsh"});
  EXPECT_TRUE(script.starts_with("#compdef poaloc\n"));
  for (const char* verb : {"poaloc/poa/tree", "poaloc/process/logs", "poaloc/ref/decode", "poaloc/import"})
    EXPECT_THAT(script, HasSubstr(verb));
  EXPECT_TRUE(fails({"completion", "fish"}, USAGE, "poaloc completion --help"));
  EXPECT_TRUE(fails({"completion"}, USAGE, "poaloc completion --help"));
}

TEST_F(ShellTest, ManualDescribesEveryVerb) {
  const std::string page = table({"man"});
  EXPECT_TRUE(page.starts_with(".TH POALOC 1"));
  for (const char* section : {"NAME", "SYNOPSIS", "DESCRIPTION", "OPTIONS", "VERBS", "EXIT STATUS", "EXAMPLES"})
    EXPECT_THAT(page, HasSubstr(std::string("\n.SH ") + section + "\n"));
  for (const char* verb : {"poa tree",       "poa list",
                           "poa show",       "poa add",
                           "poa set",        "poa remove",
                           "active list",    "active show",
                           "active remove",  "orb list",
                           "orb show",       "orb add",
                           "orb set",        "orb remove",
                           "process list",   "process show",
                           "process add",    "process set",
                           "process remove", "process start",
                           "process stop",   "process restart",
                           "process logs",   "ref make",
                           "ref decode",     "ping",
                           "status",         "events",
                           "export",         "import",
                           "completion",     "man"})
    EXPECT_THAT(page, HasSubstr(std::string(".SS \\fBpoaloc ") + verb + "\\fR")) << verb;
  EXPECT_TRUE(fails({"man", "poa"}, USAGE, "poaloc man --help"));
}

TEST_F(ShellTest, HelpIsThereForEveryVerb) {
  EXPECT_THAT(table({"--help"}), HasSubstr("Usage: poaloc [OPTIONS] VERB"));
  EXPECT_THAT(table({"process", "add", "--help"}), HasSubstr("--stop-grace DURATION"));
  EXPECT_THAT(table({"--version"}), HasSubstr("poaloc "));
  EXPECT_TRUE(fails({}, USAGE, "\"poaloc --help\" shows how"));
  EXPECT_TRUE(fails({"poa"}, USAGE, "\"poaloc poa --help\" shows how"));
  EXPECT_TRUE(fails({"nonsense"}, USAGE, "\"poaloc --help\" shows how"));
  EXPECT_TRUE(fails({"poa", "list", "--nonsense\033"}, USAGE, "--nonsense\\x1b"));
}

TEST_F(ShellTest, ClosedPipesAndFullDisks) {
  const Outcome closed = shell("poaloc man | head -n 1; exit ${PIPESTATUS[0]}");
  EXPECT_EQ(closed.err, "");
  EXPECT_EQ(split_lines(closed.out).size(), 1U);
  const Outcome full = shell("poaloc orb list --json > /dev/full; echo $? >&2; poaloc man > /dev/full");
  EXPECT_EQ(full.code, FAILED);
  EXPECT_EQ(full.err, "0\npoaloc: Standard output cannot be written, No space left on device: let it go elsewhere.\n");
}

}  // namespace
