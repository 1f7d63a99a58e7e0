// Starting server processes: one of each, what it runs with, and why it cannot be started.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>
#include <thread>

#include "tests/support/files.h"
#include "tests/unit/daemon/process_test.h"

namespace {

using namespace poalocd;
using support::wait_until;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

TEST_F(ProcessTest, StartsTheProgramInAGroupOfItsOwn) {
  add_process("bank", {"sleep", "1000"});
  open_and_start();
  const auto orb = attach("bank");
  process("bank")->start();
  ASSERT_THAT(pids_started(), SizeIs(1));
  EXPECT_EQ(getpgid(pids_started()[0]), pids_started()[0]);
  EXPECT_EQ(orb->deaths, 0);
}

TEST_F(ProcessTest, StartsNothingThatIsStartingOrRunning) {
  add_process("bank", {"sleep", "1000"});
  open_and_start();
  const auto orb = attach("bank");
  for (int i = 0; i < 5; ++i) process("bank")->start();
  EXPECT_THAT(pids_started(), SizeIs(1));
}

TEST_F(ProcessTest, OneStartIsMadeOfManyAtOnce) {
  add_process("bank", {"sleep", "1000"});
  open_and_start();
  const auto orb = attach("bank");
  std::vector<std::thread> threads;
  for (int i = 0; i < 16; ++i) threads.emplace_back([this] { process("bank")->start(); });
  for (auto& thread : threads) thread.join();
  EXPECT_THAT(pids_started(), SizeIs(1));
}

TEST_F(ProcessTest, TellsTheServerWhoItIsAndWhereTheLocatorIs) {
  m_config.set_domain("some domain");
  m_config.set("front_door", "listen", "[\"127.0.0.1:0\"]");
  m_config.add_process({"bank",
                        {"/bin/sh", "-c", "env"},
                        {{"environment", "{ BANK = \"1\" }"}, {"log_file", "\"" + m_dir.file("bank.log") + "\""}}});
  m_config.add_orb("teller", "bank");
  m_config.add_orb("vault", "bank");
  setenv("NOTIFY_SOCKET", "/nowhere", 1);
  open(Host::Listen::YES).start();
  unsetenv("NOTIFY_SOCKET");
  setenv("NOTIFY_SOCKET", "/nowhere", 1);
  const auto orb = attach("bank", "vault");
  process("bank")->start();
  unsetenv("NOTIFY_SOCKET");
  ASSERT_TRUE(wait_until([&] { return orb->deaths == 1; }));
  const auto lines = support::read_lines(m_dir.file("bank.log"));
  const auto port = host().front_door()->listening().at(0).port;
  EXPECT_THAT(lines, testing::Contains("POALOCATOR_DOMAIN=some domain"));
  EXPECT_THAT(lines, testing::Contains("POALOCATOR_ORB_NAME=teller"));
  EXPECT_THAT(lines, testing::Contains("POALOCATOR_URL=corbaloc::127.0.0.1:" + std::to_string(port)));
  EXPECT_THAT(lines, testing::Contains("BANK=1"));
  EXPECT_THAT(lines, testing::Contains(testing::StartsWith("PATH=")));
  EXPECT_THAT(lines, Not(testing::Contains(testing::StartsWith("NOTIFY_SOCKET="))));
}

TEST_F(ProcessTest, AppendsItsOutputToTheLogFile) {
  support::write_file(m_dir.file("bank.log"), "before\n");
  add_script("bank", "echo out; echo err >&2; pwd",
             {{"log_file", "\"" + m_dir.file("bank.log") + "\""}, {"working_directory", "\"" + m_dir.path() + "\""}});
  open_and_start();
  const auto orb = attach("bank");
  process("bank")->start();
  ASSERT_TRUE(wait_until([&] { return orb->deaths == 1; }));
  EXPECT_THAT(support::read_lines(m_dir.file("bank.log")), ElementsAre("before", "out", "err", m_dir.path()));
}

TEST_F(ProcessTest, LogPipeThatNobodyReadsFailsTheStart) {
  const std::string pipe = m_dir.file("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  add_process("bank", {"sleep", "1000"}, {{"log_file", "\"" + pipe + "\""}});
  open_and_start();
  EXPECT_THAT(start_failure("bank"), HasSubstr("\"" + pipe + "\" of \"sleep\" cannot be written: No such device"));
}

TEST_F(ProcessTest, LeaksNeitherDescriptorsNorSignalSettings) {
  add_script("bank", "ls -l /proc/$$/fd; grep -E 'Sig(Blk|Ign)' /proc/self/status",
             {{"log_file", "\"" + m_dir.file("bank.log") + "\""}});
  // One that is not close-on-exec, and settings as the daemon has them.
  const int leaky = ::open("/dev/null", O_RDONLY);
  signal(SIGPIPE, SIG_IGN);
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
  open_and_start();
  const auto orb = attach("bank");
  process("bank")->start();
  pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
  ::close(leaky);
  signal(SIGPIPE, SIG_DFL);
  ASSERT_TRUE(wait_until([&] { return orb->deaths == 1; }));
  const auto text = support::read_file(m_dir.file("bank.log"));
  EXPECT_THAT(text, HasSubstr(" 0 -> /dev/null"));
  EXPECT_THAT(text, HasSubstr(" 2 -> " + m_dir.file("bank.log")));
  EXPECT_THAT(text, testing::ContainsRegex("SigBlk:\t0+\n"));
  // Of signals 1 to 31: the two behind them are the C library's own business.
  const auto ignored = std::stoull(text.substr(text.find("SigIgn:") + 7), nullptr, 16);
  EXPECT_EQ(ignored & 0x7FFFFFFF, 0u);
  EXPECT_EQ(std::count(text.begin(), text.end(), '>'), 3) << text;
}

TEST_F(ProcessTest, SaysWhyAProgramCannotBeStarted) {
  support::write_file(m_dir.file("text"), "no program");
  add_process("missing", {"/no/such/program"});
  add_process("unknown", {"no-such-program-in-the-path"});
  add_process("forbidden", {m_dir.file("text")});
  add_process("homeless", {"/bin/true"}, {{"working_directory", "\"/no/such/folder\""}});
  add_process("silent", {"/bin/true"}, {{"log_file", "\"/no/such/folder/log\""}});
  add_process("nobody", {"/bin/true"}, {{"user", "\"no-such-user\""}});
  open_and_start();
  EXPECT_EQ(start_failure("missing"), "\"/no/such/program\" cannot be run: No such file or directory");
  EXPECT_EQ(start_failure("unknown"), "\"no-such-program-in-the-path\" cannot be run: No such file or directory");
  EXPECT_EQ(start_failure("forbidden"), "\"" + m_dir.file("text") + "\" cannot be run: Permission denied");
  EXPECT_EQ(start_failure("homeless"),
            "\"/bin/true\" cannot run in the working directory \"/no/such/folder\": No such file or directory");
  EXPECT_EQ(start_failure("silent"),
            "the log file \"/no/such/folder/log\" of \"/bin/true\" cannot be written: No such file or directory");
  EXPECT_EQ(start_failure("nobody"), "\"/bin/true\" cannot run as user \"no-such-user\": no such user");
  EXPECT_THAT(events(PROCESS_START_FAILED_EVENT), SizeIs(6));
}

TEST_F(ProcessTest, CanBeStartedAfterAFailedStart) {
  add_process("bank", {m_dir.file("program")});
  open_and_start();
  const auto orb = attach("bank");
  EXPECT_THAT(start_failure("bank"), HasSubstr("No such file"));
  support::write_file(m_dir.file("program"), "#!/bin/sh\nexec sleep 1000\n");
  ASSERT_EQ(chmod(m_dir.file("program").c_str(), 0755), 0);
  EXPECT_EQ(start_failure("bank"), "none");
  EXPECT_THAT(pids_started(), SizeIs(1));
  EXPECT_EQ(orb->deaths, 0);
}

TEST_F(ProcessTest, RunsAsTheConfiguredUser) {
  // Without root's rights a process can only be given the user that the test has anyway.
  const bool root = geteuid() == 0;
  const passwd* const user = root ? getpwnam("nobody") : getpwuid(geteuid());
  ASSERT_NE(user, nullptr);
  const std::string name = user->pw_name;
  const gid_t group = root ? user->pw_gid : getegid();
  ASSERT_EQ(chmod(m_dir.path().c_str(), 0755), 0);
  add_script("bank", "id -un; id -g; find /proc/$$/fd -type l -printf x; echo; cut -d' ' -f5 /proc/$$/stat",
             {{"user", "\"" + name + "\""}, {"log_file", "\"" + m_dir.file("bank.log") + "\""}});
  add_process("missing", {"/no/such/program"}, {{"user", "\"" + name + "\""}});
  open_and_start();
  const auto orb = attach("bank");
  process("bank")->start();
  ASSERT_TRUE(wait_until([&] { return orb->deaths == 1; }));
  const std::string process_group = std::to_string(pids_started().at(0));
  EXPECT_THAT(support::read_lines(m_dir.file("bank.log")),
              ElementsAre(name, std::to_string(group), "xxx", process_group));
  EXPECT_EQ(start_failure("missing"), "\"/no/such/program\" cannot be run: No such file or directory");
}

// Gives up root's rights, where the test has them, while it lives.
class WithoutRoot {
 public:
  WithoutRoot() : m_before(geteuid()) {
    const passwd* const nobody = getpwnam("nobody");
    if (m_before == 0 && (!nobody || seteuid(nobody->pw_uid) != 0)) throw std::runtime_error("root stays root");
  }
  ~WithoutRoot() { EXPECT_EQ(seteuid(m_before), 0); }
  WithoutRoot(const WithoutRoot&) = delete;
  WithoutRoot& operator=(const WithoutRoot&) = delete;

 private:
  const uid_t m_before;
};

TEST_F(ProcessTest, OnlyRootCanStartOneAsAnotherUser) {
  add_process("bank", {"/bin/true"}, {{"user", "\"root\""}});
  open_and_start();
  std::string failure;
  {
    const WithoutRoot restricted;
    failure = start_failure("bank");
  }
  EXPECT_EQ(failure, "\"/bin/true\" cannot run as user \"root\": Operation not permitted (poalocd is not root)");
  EXPECT_THAT(pids_started(), IsEmpty());
  EXPECT_THAT(events(PROCESS_START_FAILED_EVENT), SizeIs(1));
}

TEST_F(ProcessTest, KillsTheWholeGroupWhenNothingRegistersInTime) {
  add_script("bank", "sleep 1000 & echo $! > " + m_dir.file("child") + "; wait", {{"startup_time_limit", "0.3"}});
  open_and_start();
  const auto orb = attach("bank");
  process("bank")->start();
  EXPECT_TRUE(wait_until([&] { return orb->deaths == 1; }));
  EXPECT_THAT(events(PROCESS_STARTUP_LIMIT_EVENT), SizeIs(1));
  const auto child = support::read_lines(m_dir.file("child"));
  ASSERT_THAT(child, SizeIs(1));
  const auto status = "/proc/" + child[0] + "/status";
  EXPECT_TRUE(wait_until([&] {
    const auto text = support::read_file(status);
    return text.empty() || text.find("State:\tZ") != std::string::npos;
  }));
}

TEST_F(ProcessTest, HasNoStartupLimitOnceItRegistered) {
  add_process("bank", {"sleep", "1000"}, {{"startup_time_limit", "0.1"}});
  add_process("slow", {"sleep", "1000"}, {{"startup_time_limit", "0.2"}});
  open_and_start();
  const auto orb = attach("bank");
  const auto slow = attach("slow");
  process("bank")->start();
  orb->is_registered = true;
  process("slow")->start();
  ASSERT_TRUE(wait_until([&] { return slow->deaths == 1; }));
  EXPECT_EQ(orb->deaths, 0);
  EXPECT_EQ(kill(pids_started()[0], 0), 0);
}

TEST_F(ProcessTest, AProcessThatRegisteredByItselfIsNotStarted) {
  add_process("bank", {"sleep", "1000"});
  open_and_start();
  const auto running = process("bank", true);
  const auto orb = make_orb("bank", running);
  running->add_orb(orb.get());
  running->start();
  EXPECT_THAT(pids_started(), IsEmpty());
  // Once its last ORB has unregistered, there is nobody left to wait for.
  running->remove_orb("bank");
  const auto next = attach("bank");
  process("bank")->start();
  EXPECT_THAT(pids_started(), SizeIs(1));
}

}  // namespace
