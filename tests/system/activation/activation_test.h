// The fixture of the tests in which the locator starts real server processes.
#pragma once

#include <map>

#include "tests/support/fake_server.h"
#include "tests/support/files.h"
#include "tests/support/locator_test.h"
#include "tests/support/object_key.h"
#include "tests/support/proc_info.h"
#include "tests/support/wait.h"

class ActivationTest : public support::LocatorTest {
 protected:
  // The arguments of a test server for that ORB name.
  std::vector<std::string> server_argv(const std::string& orb, const std::vector<std::string>& more) const;

  // Configures a process and an ORB of the same name whose program is the test server. Before the locator's start.
  void configure_server(const std::string& orb, const std::vector<std::string>& arguments,
                        std::vector<std::pair<std::string, std::string>> settings = {});

  // The POAs are in the repository as those of that ORB, and do not run.
  void make_known(const std::string& orb, const std::vector<std::string>& paths);

  // Files that the test servers write or wait for.
  std::string starts_file(const std::string& orb) const { return m_dir.file(orb + ".starts"); }
  std::string activations_file(const std::string& orb) const { return m_dir.file(orb + ".activations"); }
  // Process ids of the servers started so far.
  std::vector<pid_t> starts(const std::string& orb) const;
  bool wait_for_starts(const std::string& orb, std::size_t count) const;

  support::RequestSpec spec_for(const std::string& path, std::uint32_t id = 1) const;
  // A request on a new connection.
  support::Reply call(const std::string& path) const { return connect().call(request(spec_for(path))); }
  support::Reply locate(const std::string& path) const { return connect().call(locate_request(spec_for(path))); }

  // Calls the server that the reply leads to and returns its answer.
  static std::string answer_of_server(const support::Reply& forward);
  static pid_t pid_of_server(const support::Reply& forward);
  // The locator leads to a server that answers as that POA.
  void expect_answered(const std::string& path) const;
  // As many times as a client may need when a server dies just now: until the locator leads to one that answers.
  void expect_answered_soon(const std::string& path) const;
};
