// poaloc at a terminal: it asks before it removes, shows how far it is, and can be stopped.
#include "tests/system/cli/terminal.h"

#include "tests/system/cli/cli_test.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class TerminalTest : public CliTest {
 protected:
  std::unique_ptr<Terminal> at_terminal(const Words& arguments, unsigned short columns = 100) {
    return std::make_unique<Terminal>(command(arguments).argv, m_environment, columns);
  }
  std::string large_document(int entries, const std::string& prefix = "N") {
    std::string text = "{\"poalocator\": 1, \"poas\": [";
    for (int i = 0; i < entries; ++i)
      text += (i ? ",\n" : "\n") + Json({{"name", prefix + std::to_string(i)}, {"persistent", true}}).dump();
    const std::string file = m_dir.file("large.json");
    support::write_file(file, text + "]}");
    return file;
  }
};

TEST_F(TerminalTest, RemoveAsks) {
  does({"poa", "add", "Bank"});
  auto terminal = at_terminal({"poa", "remove", "Bank"});
  ASSERT_TRUE(terminal->shows("Remove POA Bank and everything below it? [y/N] "));
  terminal->type("y\n");
  EXPECT_EQ(terminal->wait(), SUCCESS);
  EXPECT_THAT(terminal->screen(), HasSubstr("POA Bank removed."));
  EXPECT_TRUE(fails({"poa", "show", "Bank"}, NOT_FOUND, "Bank"));
}

TEST_F(TerminalTest, EveryRemoveKeepsAllWithoutAYes) {
  does({"process", "add", "bank", "--", "/bin/true"});
  does({"orb", "add", "bank"});
  does({"poa", "add", "Bank", "--orb", "bank"});
  support::FakeServer server(m_locator, "bank");
  server.add("Bank");
  const std::string before = repository();
  const struct {
    Words arguments;
    const char* question;
    const char* answer;
  } cases[] = {
      {{"poa", "remove", "Bank"}, "Remove POA Bank and everything below it?", "n\n"},
      {{"orb", "remove", "bank"}, "Remove ORB bank?", "\n"},
      {{"orb", "remove", "bank", "--deep"}, "Remove ORB bank and all its POAs with everything below them?", "no\n"},
      {{"process", "remove", "bank"}, "Remove process bank?", "\x04"},
      {{"process", "remove", "bank", "--deep"}, "Remove process bank with its ORBs and all their POAs?", "yess\n"},
      {{"active", "remove", "Bank"}, "Forget that POA Bank is active?", "\n"},
      {{"active", "remove", "--orb", "bank"}, "Forget that ORB bank and all its POAs are active?", "\n"},
  };
  for (const auto& [arguments, question, answer] : cases) {
    auto terminal = at_terminal(arguments);
    ASSERT_TRUE(terminal->shows(question)) << terminal->screen();
    terminal->type(answer);
    EXPECT_EQ(terminal->wait(), NOT_CONFIRMED);
    EXPECT_THAT(terminal->screen(), HasSubstr("poaloc: Nothing was changed: answer y to go on, or give --yes."));
  }
  EXPECT_EQ(repository(), before);
  EXPECT_EQ(lines({"active", "list"}).size(), 1U);
}

TEST_F(TerminalTest, YesAnswersBeforehand) {
  does({"orb", "add", "bank"});
  auto terminal = at_terminal({"orb", "remove", "bank", "--yes"});
  EXPECT_EQ(terminal->wait(), SUCCESS);
  EXPECT_THAT(terminal->screen(), AllOf(HasSubstr("ORB bank removed."), Not(HasSubstr("?"))));
}

TEST_F(TerminalTest, InterruptAtTheQuestionKeepsAll) {
  does({"orb", "add", "bank"});
  auto terminal = at_terminal({"orb", "remove", "bank"});
  ASSERT_TRUE(terminal->shows("[y/N]"));
  terminal->type("\x03");
  EXPECT_EQ(terminal->wait(), -2);
  EXPECT_EQ(lines({"orb", "list"}).size(), 1U);
}

TEST_F(TerminalTest, HeadingsStandOutOnlyOnATerminal) {
  does({"orb", "add", "bank"});
  m_environment["TERM"] = "xterm";
  m_environment["NO_COLOR"] = "";
  auto terminal = at_terminal({"orb", "list"});
  EXPECT_EQ(terminal->wait(), SUCCESS);
  EXPECT_THAT(terminal->screen(), HasSubstr("\033[1mORB   PROCESS"));
  for (const auto& [name, value] : std::map<std::string, std::string>{{"TERM", "dumb"}, {"NO_COLOR", "1"}}) {
    const std::string before = std::exchange(m_environment[name], value);
    terminal = at_terminal({"orb", "list"});
    EXPECT_EQ(terminal->wait(), SUCCESS);
    EXPECT_THAT(terminal->screen(), AllOf(HasSubstr("ORB   PROCESS"), Not(HasSubstr("\033")))) << name;
    m_environment[name] = before;
  }
  EXPECT_THAT(table({"orb", "list"}), Not(HasSubstr("\033")));
}

TEST_F(TerminalTest, LongImportShowsItsProgress) {
  const std::string file = large_document(20000);
  auto terminal = at_terminal({"import", file});
  EXPECT_EQ(terminal->wait(), SUCCESS);
  EXPECT_THAT(terminal->screen(), HasSubstr("% of 20000"));
  EXPECT_THAT(terminal->screen(), HasSubstr("Writing ["));
  EXPECT_THAT(terminal->screen(), HasSubstr("\r\033[K20000 entries imported: 20000 added, 0 changed."));
  EXPECT_EQ(lines({"poa", "list"}).size(), 20000U);
}

TEST_F(TerminalTest, ShortImportShowsNone) {
  auto terminal = at_terminal({"import", large_document(3)});
  EXPECT_EQ(terminal->wait(), SUCCESS);
  EXPECT_EQ(terminal->screen(), "3 entries imported: 3 added, 0 changed.\r\n");
}

TEST_F(TerminalTest, InterruptedWhileWritingIsAllOrNothing) {
  const std::string file = large_document(20000);
  auto terminal = at_terminal({"import", file});
  ASSERT_TRUE(terminal->shows("Writing ["));
  terminal->type("\x03");
  const auto code = terminal->wait();
  const std::size_t count = lines({"poa", "list"}).size();
  if (code == SUCCESS) {
    EXPECT_EQ(count, 20000U);
  } else {
    EXPECT_EQ(code, FAILED);
    EXPECT_THAT(terminal->screen(), HasSubstr("either all of it is stored or nothing"));
    EXPECT_TRUE(count == 0 || count == 20000) << count;
  }
  const Json checked = line({"import", file, "--check"});
  EXPECT_EQ(checked["added"], 20000 - static_cast<int>(count));
}

// A line that wraps could not be taken away again.
TEST_F(TerminalTest, ProgressFitsIntoTheTerminal) {
  for (const unsigned short columns : {40, 12}) {
    auto terminal = at_terminal({"import", large_document(20000, std::to_string(columns) + "-")}, columns);
    EXPECT_EQ(terminal->wait(), SUCCESS);
    const std::string& screen = terminal->screen();
    const std::string again = "\r\033[K";
    std::size_t shown = 0;
    for (auto begin = screen.find(again); begin != std::string::npos; ++shown) {
      begin += again.size();
      const auto end = screen.find(again, begin);
      if (end == std::string::npos) break;
      EXPECT_LT(end - begin, columns) << screen.substr(begin, end - begin);
      begin = end;
    }
    EXPECT_GT(shown, 1U) << screen;
  }
}

TEST_F(TerminalTest, EmptyListsAreToldToPeopleOnly) {
  const struct {
    Words verb;
    const char* sentence;
  } cases[] = {
      {{"active", "list"}, "No POA is active."},
      {{"active", "list", "--orbs"}, "No ORB is active."},
      {{"active", "list", "--orb", "x"}, "No POA of that ORB is active."},
      {{"active", "list", "--orbs", "--orb", "x"}, "That ORB is not active."},
      {{"orb", "list"}, "There is no ORB."},
      {{"orb", "list", "--process", "x"}, "There is no ORB of that process."},
      {{"poa", "list"}, "There is no POA."},
      {{"poa", "list", "--orb", "x"}, "There is no POA of that ORB."},
      {{"process", "list"}, "There is no process."},
  };
  for (const auto& [verb, sentence] : cases) {
    auto terminal = at_terminal(verb);
    EXPECT_EQ(terminal->wait(), SUCCESS);
    EXPECT_EQ(terminal->screen(), std::string(sentence) + "\r\n");
    Words json = verb;
    json.push_back("--json");
    terminal = at_terminal(json);
    EXPECT_EQ(terminal->wait(), SUCCESS);
    EXPECT_EQ(terminal->screen(), "");
    EXPECT_EQ(table(verb), "");
  }
}

// The locator goes on with a change when nobody waits for it any more.
TEST_F(TerminalTest, ChangesMayTakeLongUnlessALimitIsGiven) {
  does({"poa", "add", "Bank"});
  does({"poa", "add", "Shop"});
  constexpr std::chrono::seconds USUAL_LIMIT(10);
  auto patient = at_terminal({"poa", "remove", "Bank"});
  auto hasty = at_terminal({"poa", "remove", "Shop", "--timeout", "3"});
  ASSERT_TRUE(patient->shows("[y/N]") && hasty->shows("[y/N]"));
  m_locator.stop();
  const auto end = std::chrono::steady_clock::now() + USUAL_LIMIT + std::chrono::seconds(1);
  patient->type("y\n");
  hasty->type("y\n");
  EXPECT_EQ(hasty->wait(), UNREACHABLE);
  EXPECT_THAT(hasty->screen(),
              HasSubstr("did not answer within 3s and may still be at it: look whether it is done, or leave out "
                        "--timeout."));
  support::wait_until([&] { return std::chrono::steady_clock::now() > end; }, USUAL_LIMIT * 2);
  m_locator.resume();
  EXPECT_EQ(patient->wait(), SUCCESS);
  EXPECT_THAT(patient->screen(), HasSubstr("POA Bank removed."));
}

}  // namespace
