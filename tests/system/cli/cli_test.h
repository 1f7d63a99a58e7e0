// The fixture of the tests of poaloc: a locator, and the command as a process of its own.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/support/fake_server.h"
#include "tests/support/files.h"
#include "tests/support/locator_test.h"
#include "tests/support/proc_info.h"
#include "tests/support/wait.h"

using Json = nlohmann::json;
using Words = std::vector<std::string>;

// As the manual has them.
enum ExitCode { SUCCESS, FAILED, USAGE, UNREACHABLE, NOT_FOUND, REFUSED, NOT_CONFIRMED };

struct Outcome {
  int code = -1;
  std::string out;
  std::string err;
};

class CliTest : public support::LocatorTest {
 protected:
  CliTest() { m_environment["POALOCATOR_URL"] = "corbaloc::" + m_locator.address(); }
  void SetUp() override { m_locator.start(); }

  support::ChildProcess::Spec command(const Words& arguments);
  // Until it ends; nobody sits at a terminal.
  Outcome run(const Words& arguments, const std::string& input = "");

  // What it prints when it succeeds and has nothing to say on standard error; otherwise the test has failed.
  std::string table(const Words& arguments);
  // The same with --json: an object for each line.
  std::vector<Json> lines(const Words& arguments);
  Json line(const Words& arguments);
  // For what must succeed before the test proper.
  void does(const Words& arguments) { table(arguments); }

  // Ends with that code, prints nothing on standard output, and on standard error one sentence that has the text in it
  // and says what to do.
  ::testing::AssertionResult fails(const Words& arguments, int code, const std::string& text);

  // The whole repository as export writes it.
  std::string repository() { return table({"export"}); }

  // Configures a process and an ORB of that name; the test server registers the POAs when it is started.
  void add_server(const std::string& name, const Words& poas, const Words& process_options = {});
  Json process(const std::string& name) { return line({"process", "show", name}); }
  bool wait_for_state(const std::string& name, const std::string& state);
  // Starts the configured server and returns its pid when all is registered.
  pid_t start_server(const std::string& name);

  std::map<std::string, std::string> m_environment;

 private:
  int m_commands = 0;
};

// The sentence of a failure.
::testing::AssertionResult is_failure(const Outcome& outcome, int code, const std::string& text);

// Cells of a line of a table, which two blanks or more separate.
Words cells(const std::string& line);
Words split_lines(const std::string& text);
