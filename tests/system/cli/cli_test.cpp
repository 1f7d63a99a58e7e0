#include "tests/system/cli/cli_test.h"

#include <unistd.h>

#include <sstream>

using support::ChildProcess;

namespace {

constexpr std::chrono::seconds COMMAND_LIMIT(60);

}  // namespace

ChildProcess::Spec CliTest::command(const Words& arguments) {
  const std::string file = m_dir.file("poaloc" + std::to_string(++m_commands));
  ChildProcess::Spec spec;
  spec.argv = {support::program("poaloc")};
  spec.argv.insert(spec.argv.end(), arguments.begin(), arguments.end());
  spec.environment = m_environment;
  spec.stdin_path = file + ".in";
  spec.stdout_path = file + ".out";
  spec.stderr_path = file + ".err";
  support::write_file(spec.stdin_path, "");
  return spec;
}

Outcome CliTest::run(const Words& arguments, const std::string& input) {
  const auto spec = command(arguments);
  support::write_file(spec.stdin_path, input);
  ChildProcess process(spec);
  const auto code = process.wait(COMMAND_LIMIT);
  if (!code) ADD_FAILURE() << "poaloc does not end: " << ::testing::PrintToString(arguments);
  Outcome outcome{code.value_or(-1), support::read_file(spec.stdout_path), support::read_file(spec.stderr_path)};
  EXPECT_THAT(outcome.err, ::testing::Not(::testing::HasSubstr("Sanitizer"))) << outcome.err;
  return outcome;
}

std::string CliTest::table(const Words& arguments) {
  const Outcome outcome = run(arguments);
  EXPECT_TRUE(outcome.code == SUCCESS && outcome.err.empty())
      << ::testing::PrintToString(arguments) << ": " << outcome.code << ", " << outcome.err;
  return outcome.out;
}

std::vector<Json> CliTest::lines(const Words& arguments) {
  Words with_json = arguments;
  // Before the end of options, if any.
  with_json.insert(with_json.begin(), "--json");
  std::vector<Json> result;
  for (const std::string& text : split_lines(table(with_json))) result.push_back(Json::parse(text));
  return result;
}

Json CliTest::line(const Words& arguments) {
  const auto all = lines(arguments);
  EXPECT_EQ(all.size(), 1U) << ::testing::PrintToString(arguments);
  return all.size() == 1 ? all.front() : Json();
}

::testing::AssertionResult is_failure(const Outcome& outcome, int code, const std::string& text) {
  const std::string& err = outcome.err;
  const bool is_sentence = err.starts_with("poaloc: ") && err.ends_with(".\n") && err.find('\n') == err.size() - 1 &&
                           err.find_first_of(":;", 8) != std::string::npos;
  const bool right = outcome.code == code && outcome.out.empty() && is_sentence && err.find(text) != std::string::npos;
  return (right ? ::testing::AssertionSuccess() : ::testing::AssertionFailure())
         << "exit code " << outcome.code << ", standard output \"" << outcome.out << "\", standard error \"" << err
         << "\"; expected " << code << " and \"" << text << "\"";
}

::testing::AssertionResult CliTest::fails(const Words& arguments, int code, const std::string& text) {
  return is_failure(run(arguments), code, text);
}

void CliTest::add_server(const std::string& name, const Words& poas, const Words& process_options) {
  Words arguments{"process", "add", name, "--log", m_dir.file(name + ".log")};
  arguments.insert(arguments.end(), process_options.begin(), process_options.end());
  arguments.insert(arguments.end(), {"--", support::program("test_server"), "--locator", m_locator.address(),
                                     "--domain", m_locator.domain(), "--address", m_locator.host(), "--orb", name,
                                     "--owner", std::to_string(getpid()), "--ready", m_dir.file(name + ".ready")});
  for (const std::string& poa : poas) arguments.insert(arguments.end(), {"--poa", poa});
  does(arguments);
  does({"orb", "add", name, "--process", name});
}

bool CliTest::wait_for_state(const std::string& name, const std::string& state) {
  return support::wait_until([&] { return process(name)["state"] == state; });
}

pid_t CliTest::start_server(const std::string& name) {
  ::unlink(m_dir.file(name + ".ready").c_str());
  const Json started = line({"process", "start", name});
  EXPECT_TRUE(support::wait_until([&] { return support::file_exists(m_dir.file(name + ".ready")); }));
  return started.value("pid", 0);
}

Words cells(const std::string& line) {
  Words result;
  for (std::size_t begin = 0; begin < line.size();) {
    const auto end = std::min(line.find("  ", begin), line.size());
    result.push_back(line.substr(begin, end - begin));
    begin = std::min(line.find_first_not_of(' ', end), line.size());
  }
  return result;
}

Words split_lines(const std::string& text) {
  Words result;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) result.push_back(line);
  return result;
}
