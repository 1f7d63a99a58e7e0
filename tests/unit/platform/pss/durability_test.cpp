#include <gmock/gmock.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include "tests/support/disk_waits.h"
#include "tests/unit/platform/pss/store_test.h"

namespace Example {
namespace {

using QZ_PSS::TxSessionAssociation;

constexpr const char* FILE_VARIABLE = "POALOCATOR_TEST_STORE";
constexpr const char* REPORT_VARIABLE = "POALOCATOR_TEST_REPORT";

// Commits twenty records, writes one more without commit, reports, and waits to be killed.
[[noreturn]] void write_until_killed(const std::string& file, int report) {
  CosTransactions::Current_var current = new CurrentImpl;
  QZ_PSS::SessionManager_var manager = QZ_PSS::SessionManagerImpl::open("sqlite://" + file);
  QZ_PSS::register_home<NameHome>(manager, NAMES);
  const auto create = [&](TxSessionAssociation& association, unsigned number) {
    NameHome& home = *NameHome::_narrow(association.find_storage_home(NAMES));
    home.create(id_of(number), "", NameDataRef(), ids_of({number}), true, true)->add_child(id_of(number + 1));
  };
  for (unsigned number = 0; number < 20; ++number)
    QZ_PSS::in_transaction(current, manager, [&](TxSessionAssociation& association) { create(association, number); });
  current->begin();
  TxSessionAssociation association(manager, QZ_PSS::READ_WRITE);
  create(association, 20);
  if (::write(report, "x", 1) != 1) _exit(1);
  for (;;) pause();
}

// The writer is this program once more, so that it starts without the threads and locks of its parent.
class WriterMode : public testing::Environment {
 public:
  void SetUp() override {
    const char* file = std::getenv(FILE_VARIABLE);
    const char* report = std::getenv(REPORT_VARIABLE);
    if (file && report) write_until_killed(file, std::atoi(report));
  }
};

[[maybe_unused]] const testing::Environment* const writer_mode = testing::AddGlobalTestEnvironment(new WriterMode);

class DurabilityTest : public StoreTest {
 protected:
  pid_t start_writer() {
    int ends[2];
    if (pipe(ends) != 0) return -1;
    const std::string variables[] = {std::string(FILE_VARIABLE) + "=" + file(),
                                     std::string(REPORT_VARIABLE) + "=" + std::to_string(ends[1])};
    const char* const environment[] = {variables[0].c_str(), variables[1].c_str(), nullptr};
    const char* const arguments[] = {"writer", "--gtest_brief=1", nullptr};
    const pid_t child = fork();
    if (child == 0) {
      execve("/proc/self/exe", const_cast<char**>(arguments), const_cast<char**>(environment));
      _exit(127);
    }
    ::close(ends[1]);
    char byte = 0;
    const ssize_t got = ::read(ends[0], &byte, 1);  // 0 when the child ends without a report
    ::close(ends[0]);
    EXPECT_EQ(got, 1) << "the writer did not report";
    return child;
  }
};

TEST_F(DurabilityTest, keeps_committed_records_and_no_others_when_the_process_is_killed) {
  const pid_t child = start_writer();
  ASSERT_GT(child, 0);
  ASSERT_EQ(kill(child, SIGKILL), 0);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFSIGNALED(status));

  open();
  EXPECT_EQ(all_names().size(), 20U);
  EXPECT_FALSE(has_name(20));
  read([&](TxSessionAssociation& association) {
    EXPECT_THAT(numbers_of(names(association).find_by_id(id_of(19))->children()), testing::ElementsAre(19, 20));
  });
  add_name(20);
}

TEST_F(DurabilityTest, waits_for_the_disk_only_in_commits_that_are_durable_at_once) {
  open();
  add_name(0);
  const auto create = [&](unsigned number, QZ_PSS::Durable durable) {
    const unsigned before = disk_waits();
    QZ_PSS::in_transaction(
        current(), manager(),
        [&](TxSessionAssociation& association) {
          names(association).create(id_of(number), "", NameDataRef(), ids_of({}), true, true);
        },
        durable);
    return disk_waits() - before;
  };
  EXPECT_EQ(create(1, QZ_PSS::Durable::AT_ONCE), 1U);
  EXPECT_EQ(create(2, QZ_PSS::Durable::WITH_NEXT), 0U);
  EXPECT_EQ(create(3, QZ_PSS::Durable::WITH_NEXT), 0U);
  EXPECT_EQ(create(4, QZ_PSS::Durable::AT_ONCE), 1U);
  reopen();
  EXPECT_EQ(all_names().size(), 5U);
}

TEST_F(DurabilityTest, is_durable_at_once_when_the_transaction_around_it_is) {
  open();
  add_name(0);
  const unsigned before = disk_waits();
  QZ_PSS::TransactionGuard around(current());
  QZ_PSS::in_transaction(
      current(), manager(),
      [&](TxSessionAssociation& association) {
        names(association).create(id_of(1), "", NameDataRef(), ids_of({}), true, true);
      },
      QZ_PSS::Durable::WITH_NEXT);
  EXPECT_EQ(disk_waits(), before);
  around.commit();
  EXPECT_EQ(disk_waits(), before + 1);
}

}  // namespace
}  // namespace Example
