// One daemon a store.
#include "daemon/store_lock.h"

#include <gmock/gmock.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <optional>

#include "daemon/start_error.h"
#include "tests/support/files.h"
#include "tests/support/test_dir.h"

namespace {

using poalocd::StartError;
using poalocd::StoreLock;
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class StoreLockTest : public testing::Test {
 protected:
  std::string url(const std::string& file = "state.db") const { return "sqlite://" + m_dir.file(file); }
  std::vector<std::string> lines() const { return support::read_lines(m_dir.file("state.db.lock")); }

  static std::string refusal(const std::string& url) {
    try {
      const StoreLock lock(url);
    } catch (const StartError& e) {
      return e.what();
    }
    return "none";
  }

  const support::TestDir m_dir;
};

TEST_F(StoreLockTest, SecondOwnerHearsWhoHasTheStoreAndWhatToDo) {
  std::optional<StoreLock> lock(url());
  EXPECT_THAT(refusal(url()), AllOf(HasSubstr(url() + " is in use"), HasSubstr("pid " + std::to_string(getpid())),
                                    HasSubstr("stop that one, or set store.url")));
  EXPECT_EQ(refusal(url("other.db")), "none");
  lock.reset();
  EXPECT_EQ(refusal(url()), "none");
}

TEST_F(StoreLockTest, StoreIsTheSameByWhateverPath) {
  support::write_file(m_dir.file("state.db"), "");
  std::filesystem::create_symlink(m_dir.file("state.db"), m_dir.file("link.db"));
  const StoreLock lock(url());
  EXPECT_THAT(refusal(url("link.db")), HasSubstr("is in use"));
}

TEST_F(StoreLockTest, IsFreeOnceItsOwnerWasKilledAndKnowsItsRunsWithoutARecord) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const pid_t owner = fork();
  if (owner == 0) {
    StoreLock lock(url());
    lock.begin_run();
    lock.settle_run(lock.begin_run());
    lock.begin_run();
    (void)!write(ends[1], "x", 1);
    while (true) pause();
  }
  char ready = 0;
  ASSERT_EQ(read(ends[0], &ready, 1), 1);
  close(ends[0]);
  close(ends[1]);
  EXPECT_THAT(refusal(url()), HasSubstr("pid " + std::to_string(owner)));
  kill(owner, SIGKILL);
  ASSERT_EQ(waitpid(owner, nullptr, 0), owner);

  StoreLock lock(url());
  const std::string prefix = std::to_string(owner) + ".";
  EXPECT_THAT(lock.runs_of_killed(),
              ElementsAre(AllOf(StartsWith(prefix), EndsWith("/1")), AllOf(StartsWith(prefix), EndsWith("/3"))));
}

TEST_F(StoreLockTest, KeepsRunsWithoutARecordUntilToldToForgetThem) {
  support::write_file(m_dir.file("state.db.lock"), "2.20.b\n2.20.b/7\n1.10.b/3\n");
  {
    StoreLock lock(url());
    EXPECT_THAT(lines(), ElementsAre(lock.owner(), "2.20.b/7", "1.10.b/3"));
  }
  EXPECT_THAT(lines(), ElementsAre("2.20.b/7", "1.10.b/3"));
  std::string run;
  {
    StoreLock lock(url());
    EXPECT_THAT(lock.runs_of_killed(), ElementsAre("2.20.b/7", "1.10.b/3"));
    lock.forget_runs_of_killed();
    EXPECT_THAT(lock.runs_of_killed(), IsEmpty());
    run = lock.begin_run();
    EXPECT_EQ(run, lock.owner() + "/1");
    EXPECT_THAT(lines(), ElementsAre(lock.owner(), run));
  }
  EXPECT_THAT(lines(), ElementsAre(run));
}

TEST_F(StoreLockTest, SaysWhatToDoWhenTheFileCannotBeHad) {
  EXPECT_THAT(refusal(url("missing/state.db")), AllOf(HasSubstr("missing/state.db"), HasSubstr("make the folder")));
  EXPECT_THAT(refusal("carddeck://drawer"), HasSubstr("carddeck"));
}

}  // namespace
