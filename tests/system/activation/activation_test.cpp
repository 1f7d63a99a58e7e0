#include "tests/system/activation/activation_test.h"

#include <unistd.h>

using support::GiopClient;
using support::Reply;
using support::RequestSpec;

std::vector<std::string> ActivationTest::server_argv(const std::string& orb,
                                                     const std::vector<std::string>& more) const {
  std::vector<std::string> argv = {support::program("test_server"),
                                   "--locator",
                                   m_locator.address(),
                                   "--domain",
                                   m_locator.domain(),
                                   "--address",
                                   m_locator.host(),
                                   "--orb",
                                   orb,
                                   "--owner",
                                   std::to_string(getpid()),
                                   "--starts",
                                   starts_file(orb),
                                   "--activations",
                                   activations_file(orb)};
  argv.insert(argv.end(), more.begin(), more.end());
  return argv;
}

void ActivationTest::configure_server(const std::string& orb, const std::vector<std::string>& arguments,
                                      std::vector<std::pair<std::string, std::string>> settings) {
  settings.emplace_back("log_file", support::LocatorConfig::quoted(m_dir.file(orb + ".log")));
  m_locator.config().add_process({orb, server_argv(orb, arguments), settings});
  m_locator.config().add_orb(orb, orb);
}

void ActivationTest::make_known(const std::string& orb, const std::vector<std::string>& paths) {
  support::FakeServer(m_locator, orb).register_and_leave(paths);
}

std::vector<pid_t> ActivationTest::starts(const std::string& orb) const {
  std::vector<pid_t> pids;
  for (const std::string& line : support::read_lines(starts_file(orb))) pids.push_back(std::stoi(line));
  return pids;
}

bool ActivationTest::wait_for_starts(const std::string& orb, std::size_t count) const {
  return support::wait_until([&] { return starts(orb).size() >= count; });
}

RequestSpec ActivationTest::spec_for(const std::string& path, std::uint32_t id) const {
  RequestSpec spec;
  spec.id = id;
  spec.key = support::operator+(support::endpoint_id(m_locator.domain(), support::split_path(path)),
                                support::octets_of("object"));
  return spec;
}

namespace {

Reply call_server(const Reply& forward, const std::string& operation) {
  if (!forward.forward) throw std::runtime_error("no forward: " + describe(forward));
  RequestSpec spec;
  spec.key = forward.forward->key;
  spec.operation = operation;
  const Reply reply = GiopClient(forward.forward->host, static_cast<int>(forward.forward->port)).call(request(spec));
  if (reply.status != support::NO_EXCEPTION) throw std::runtime_error("the server answers " + describe(reply));
  return reply;
}

}  // namespace

std::string ActivationTest::answer_of_server(const Reply& forward) {
  const Reply reply = call_server(forward, "whoami");
  return support::CdrReader(reply.body, reply.dialect.order).text();
}

pid_t ActivationTest::pid_of_server(const Reply& forward) {
  const Reply reply = call_server(forward, "pid");
  return static_cast<pid_t>(support::CdrReader(reply.body, reply.dialect.order).ulong());
}

void ActivationTest::expect_answered(const std::string& path) const {
  EXPECT_EQ(answer_of_server(call(path)), path + ":object");
}

void ActivationTest::expect_answered_soon(const std::string& path) const {
  EXPECT_TRUE(support::wait_until([&] {
    try {
      return answer_of_server(call(path)) == path + ":object";
    } catch (const std::runtime_error&) {
      return false;
    }
  })) << path;
}
