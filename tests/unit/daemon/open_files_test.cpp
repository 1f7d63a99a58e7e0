#include "daemon/open_files.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <cstdlib>

#include "daemon/spawn.h"
#include "tests/support/files.h"
#include "tests/support/test_dir.h"

namespace {

struct Case {
  rlimit before;
  std::size_t wanted, allowed;
  rlim_t soft_limit_then;
};

[[noreturn]] void try_out(const Case& c) {
  if (setrlimit(RLIMIT_NOFILE, &c.before) != 0) std::_Exit(2);
  if (poalocd::allow_connections(c.wanted) != c.allowed) std::_Exit(1);
  rlimit then{};
  std::_Exit(getrlimit(RLIMIT_NOFILE, &then) == 0 && then.rlim_cur == c.soft_limit_then ? 0 : 1);
}

// In a process of its own: what is taken from the hard limit does not come back.
void expect_allowed(const Case& c) {
  EXPECT_EXIT(try_out(c), ::testing::ExitedWithCode(0), "") << c.before.rlim_cur << " of " << c.before.rlim_max;
}

TEST(OpenFiles, LimitIsRaisedAsFarAsIsNeeded) {
  expect_allowed({{256, 4000}, 500, 500, 1500});
  expect_allowed({{2000, 4000}, 500, 500, 2000});
}

TEST(OpenFiles, ConnectionsAreFewerWhereTheSystemDoesNotPermitThem) {
  expect_allowed({{256, 4000}, 20'000, 3000, 4000});
  expect_allowed({{400, 400}, 20'000, 300, 400});
}

// Runs a server with the limit of files that this process was permitted, and raised for itself as it has more open.
[[noreturn]] void try_server(const std::string& file) {
  const rlimit before{256, 4000};
  if (setrlimit(RLIMIT_NOFILE, &before) != 0 || poalocd::allow_connections(500) != 500) std::_Exit(2);
  for (int i = 0; i < 300; ++i)
    if (open("/dev/null", O_RDONLY | O_CLOEXEC) < 0) std::_Exit(2);
  poalocd::ProcessSettings server;
  server.argv = {"sh", "-c", "ulimit -S -n > " + file};
  const pid_t pid = poalocd::spawn(server, {});
  int status = 1;
  std::_Exit(waitpid(pid, &status, 0) == pid && status == 0 ? 0 : 1);
}

TEST(OpenFiles, ServersHaveTheLimitThatTheDaemonFound) {
  const support::TestDir dir;
  EXPECT_EXIT(try_server(dir.file("limit")), ::testing::ExitedWithCode(0), "");
  EXPECT_EQ(support::read_file(dir.file("limit")), "256\n");
}

}  // namespace
