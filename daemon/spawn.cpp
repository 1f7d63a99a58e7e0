#include "daemon/spawn.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <memory>

#include "daemon/child_plan.h"
#include "daemon/open_files.h"

namespace poalocd {

namespace {

pid_t spawn_as_daemon(const ChildPlan& plan) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  const std::unique_ptr<posix_spawn_file_actions_t, int (*)(posix_spawn_file_actions_t*)> free_actions(
      &actions, posix_spawn_file_actions_destroy);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  const std::unique_ptr<posix_spawnattr_t, int (*)(posix_spawnattr_t*)> free_attributes(&attributes,
                                                                                        posix_spawnattr_destroy);

  if (plan.directory() >= 0) posix_spawn_file_actions_addfchdir_np(&actions, plan.directory());
  posix_spawn_file_actions_adddup2(&actions, plan.output(), 1);
  posix_spawn_file_actions_adddup2(&actions, plan.output(), 2);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addclosefrom_np(&actions, 3);

  sigset_t none;
  sigset_t all;
  sigemptyset(&none);
  sigfillset(&all);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setsigdefault(&attributes, &all);
  posix_spawnattr_setpgroup(&attributes, 0);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);

  pid_t pid = 0;
  const int error = posix_spawn(&pid, plan.path(), &actions, &attributes, plan.argv(), plan.environment());
  if (error != 0) plan.fail(error);
  return pid;
}

// Runs in the child: system calls alone, as other threads of the daemon may have held any lock, and the memory may be
// the daemon's own: none of it is changed. Returns when the program could not be run.
void become(const ChildPlan& plan) {
  setpgid(0, 0);
  struct sigaction standard{};
  standard.sa_handler = SIG_DFL;
  for (int number = 1; number < NSIG; ++number) sigaction(number, &standard, nullptr);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);

  if (plan.user()) {
    // The kernel's calls: the library's would have all threads change user with this one.
    const ChildUser& user = *plan.user();
    if (syscall(SYS_setgroups, user.groups.size(), user.groups.data()) != 0) return;
    if (syscall(SYS_setresgid, user.gid, user.gid, user.gid) != 0) return;
    if (syscall(SYS_setresuid, user.uid, user.uid, user.uid) != 0) return;
  }

  if (plan.directory() >= 0 && fchdir(plan.directory()) != 0) return;
  const int null = open("/dev/null", O_RDONLY | O_CLOEXEC);
  if (dup2(null, 0) < 0 || dup2(plan.output(), 1) < 0 || dup2(plan.output(), 2) < 0) return;
  // Not closed but marked, so that a failure can still be reported.
  if (syscall(SYS_close_range, 3U, ~0U, 4U /* CLOSE_RANGE_CLOEXEC */) != 0) return;
  // Last, as the files that are still open may be more than it allows.
  const rlimit* files = files_limit_of_servers();
  if (files && setrlimit(RLIMIT_NOFILE, files) != 0) return;
  execve(plan.path(), plan.argv(), plan.environment());
}

pid_t fork_and_become(const ChildPlan& plan) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) plan.fail(errno);
  const UniqueFd reading(ends[0]);
  UniqueFd writing(ends[1]);
  // Handlers of the daemon must not run in the child.
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  // vfork copies nothing of a large daemon, but a child that shares its memory must not be another user's.
  // NOLINTNEXTLINE(clang-analyzer-unix.Vfork,clang-analyzer-security.insecureAPI.vfork,bugprone-unsafe-functions)
  const pid_t pid = plan.user() ? ::fork() : ::vfork();
  const int fork_error = errno;
  if (pid == 0) {
    become(plan);
    const int error = errno;
    (void)!::write(writing.get(), &error, sizeof error);
    ::_exit(127);
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  if (pid < 0) plan.fail(fork_error);
  writing = UniqueFd();
  int error = 0;
  ssize_t got;
  do got = ::read(reading.get(), &error, sizeof error);
  while (got < 0 && errno == EINTR);
  if (got > 0) {
    ::waitpid(pid, nullptr, 0);
    plan.fail(error);
  }
  return pid;
}

}  // namespace

pid_t spawn(const ProcessSettings& process, const std::map<std::string, std::string>& extra_environment) {
  const ChildPlan plan(process, extra_environment);
  // posix_spawn can change neither.
  const bool changes = plan.user() || files_limit_of_servers();
  return changes ? fork_and_become(plan) : spawn_as_daemon(plan);
}

}  // namespace poalocd
