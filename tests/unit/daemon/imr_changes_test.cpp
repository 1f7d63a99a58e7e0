// What administrators change in the host's repository, and that it lasts.
#include <gmock/gmock.h>

#include <future>
#include <thread>

#include "daemon/process_info.h"
#include "platform/pss/transaction_guard.h"
#include "tests/unit/daemon/host_fixture.h"

namespace {

using namespace poalocd;
using QZ_LocationCommon::DESTROY_DEEP;
using QZ_LocationCommon::DESTROY_FORCE;
using QZ_LocationCommon::DESTROY_NORMAL;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using Words = std::vector<std::string>;

ProcessSettings settings_of(const std::string& name, const Words& argv) {
  ProcessSettings result;
  result.name = name;
  result.argv = argv;
  return result;
}

template <class Function>
Words references_of(Function destroy) {
  try {
    destroy();
  } catch (const QZ_LocationCommon::HasReferences& e) {
    Words result;
    for (CORBA::ULong i = 0; i < e.references.length(); ++i) result.emplace_back(e.references[i]);
    return result;
  }
  return {"(destroyed)"};
}

class ImrChangesTest : public HostFixture {
 protected:
  void SetUp() override { open(); }
  void reopen() {
    close();
    open();
  }

  ImrImpl& imr() { return host().imr(); }
  ProcessSettings process_settings(const std::string& name) {
    const auto process = imr().processes().get(name);
    return process.is_null() ? ProcessSettings() : process->settings();
  }
  Words orbs_of(const std::string& process_name) {
    Words result;
    for (const auto& orb : imr().orbs().of_process(process_name)) result.push_back(orb->settings().name);
    return result;
  }
  std::string process_of(const std::string& orb_name) {
    const auto orb = imr().orbs().get(orb_name);
    return orb.is_null() ? "(no ORB)" : orb->settings().process;
  }
  Words process_names(const std::string& after, std::size_t how_many) {
    Words result;
    for (const auto& process : imr().processes().page(after, how_many)) result.push_back(process->settings().name);
    return result;
  }
};

TEST_F(ImrChangesTest, AddedProcessHoldsAtOnceAndAfterARestart) {
  auto bank = settings_of("bank", {"/bin/bank", "-x", ""});
  bank.environment = {{"A", "b=c"}, {"EMPTY", ""}};
  bank.working_directory = "/tmp";
  bank.user = "nobody";
  bank.startup_time_limit = Milliseconds(1);
  bank.stop_grace = Milliseconds(1250);
  bank.log_file = "/tmp/log";
  imr().add_process(bank);
  EXPECT_EQ(process_settings("bank"), bank);
  EXPECT_THAT(events(PROCESS_ADDED_EVENT), SizeIs(1));
  reopen();
  EXPECT_EQ(process_settings("bank"), bank);
}

TEST_F(ImrChangesTest, NamesAreTakenOnce) {
  imr().add_process(settings_of("bank", {"a"}));
  EXPECT_THROW(imr().add_process(settings_of("bank", {"b"})), QZ_IMRAdmin::AlreadyExists);
  imr().add_orb({"bank", ""});
  EXPECT_THROW(imr().add_orb({"bank", "bank"}), QZ_IMRAdmin::AlreadyExists);
  EXPECT_THAT(process_settings("bank").argv, ElementsAre("a"));
  EXPECT_EQ(process_of("bank"), "");
}

TEST_F(ImrChangesTest, ChangedProcessHoldsAtOnceAndAfterARestart) {
  auto bank = settings_of("bank", {"a", "b", "c"});
  bank.environment = {{"A", "1"}, {"B", "2"}};
  imr().add_process(bank);
  imr().add_process(settings_of("other", {"o"}));
  bank.argv = {"z"};
  bank.environment = {{"C", "3"}};
  imr().change_process(bank);
  EXPECT_EQ(process_settings("bank"), bank);
  reopen();
  EXPECT_EQ(process_settings("bank"), bank);
  EXPECT_THAT(process_settings("other").argv, ElementsAre("o"));
  EXPECT_THROW(imr().change_process(settings_of("none", {"a"})), CORBA::OBJECT_NOT_EXIST);
  EXPECT_TRUE(imr().processes().get("none").is_null());
}

TEST_F(ImrChangesTest, OrbsNeedAName_AndAProcessThatIsThere) {
  try {
    imr().add_orb({"teller", "bank"});
    FAIL() << "an ORB of an unknown process was added";
  } catch (const QZ_IMRAdmin::InvalidValue& e) {
    EXPECT_STREQ(e.member, "process");
    EXPECT_STREQ(e.reason, "is not known: there is no process \"bank\"");
  }
  EXPECT_THROW(imr().add_orb({"", ""}), QZ_IMRAdmin::InvalidValue);
  EXPECT_EQ(imr().orbs().size(), 0U);
  imr().add_orb({"teller", ""});
  EXPECT_THROW(imr().change_orb({"teller", "bank"}), QZ_IMRAdmin::InvalidValue);
  EXPECT_THROW(imr().change_orb({"vault", ""}), CORBA::OBJECT_NOT_EXIST);
}

TEST_F(ImrChangesTest, OrbsOfAProcessKeepTheOrderOfTheirCreation) {
  imr().add_process(settings_of("bank", {"a"}));
  for (const char* name : {"z", "a", "m"}) imr().add_orb({name, ""});
  imr().change_orb({"m", "bank"});
  imr().change_orb({"z", "bank"});
  EXPECT_THAT(orbs_of("bank"), ElementsAre("z", "m"));
  reopen();
  EXPECT_THAT(orbs_of("bank"), ElementsAre("z", "m"));
  imr().change_orb({"z", ""});
  EXPECT_THAT(orbs_of("bank"), ElementsAre("m"));
  EXPECT_EQ(process_of("z"), "");
}

TEST_F(ImrChangesTest, AddedOrbOfAServerTakesNothingFromTheStoredOne) {
  imr().add_process(settings_of("bank", {"a"}));
  imr().add_orb({"teller", "bank"});
  CORBA::release(imr().orbs().add("teller"));
  EXPECT_EQ(process_of("teller"), "bank");
}

TEST_F(ImrChangesTest, ProcessInUseIsNotDestroyed) {
  imr().add_process(settings_of("bank", {"a"}));
  imr().add_orb({"teller", "bank"});
  imr().add_orb({"vault", "bank"});
  EXPECT_THAT(references_of([&] { imr().destroy_process("bank", DESTROY_NORMAL, {"its run with pid 1"}); }),
              ElementsAre("ORB teller", "ORB vault", "its run with pid 1"));
  EXPECT_THAT(orbs_of("bank"), SizeIs(2));
  EXPECT_EQ(process_settings("bank").name, "bank");
}

TEST_F(ImrChangesTest, ForcedDestructionLeavesTheOrbsWithoutAProcess) {
  imr().add_process(settings_of("bank", {"a"}));
  imr().add_orb({"teller", "bank"});
  imr().add_orb({"vault", "bank"});
  imr().destroy_process("bank", DESTROY_FORCE, {"its run"});
  for (int i = 0; i < 2; ++i) {
    EXPECT_TRUE(imr().processes().get("bank").is_null());
    EXPECT_EQ(process_of("teller"), "");
    EXPECT_EQ(process_of("vault"), "");
    reopen();
  }
  EXPECT_THROW(imr().destroy_process("bank", DESTROY_FORCE, {}), CORBA::OBJECT_NOT_EXIST);
}

TEST_F(ImrChangesTest, DeepDestructionTakesTheOrbsToo) {
  imr().add_process(settings_of("bank", {"a"}));
  imr().add_orb({"teller", "bank"});
  imr().add_orb({"other", ""});
  imr().destroy_process("bank", DESTROY_DEEP, {});
  for (int i = 0; i < 2; ++i) {
    EXPECT_TRUE(imr().processes().get("bank").is_null());
    EXPECT_EQ(process_of("teller"), "(no ORB)");
    EXPECT_EQ(process_of("other"), "");
    reopen();
  }
}

TEST_F(ImrChangesTest, UnusedProcessIsDestroyedWithoutForce) {
  imr().add_process(settings_of("bank", {"a"}));
  imr().destroy_process("bank", DESTROY_NORMAL, {});
  EXPECT_THAT(events(PROCESS_DESTROYED_EVENT), SizeIs(1));
  reopen();
  EXPECT_EQ(imr().processes().size(), 0U);
}

TEST_F(ImrChangesTest, PagesGoOnWhereTheyStoppedWhileEntriesComeAndGo) {
  for (const char* name : {"a", "c", "e", "g"}) imr().add_process(settings_of(name, {"x"}));
  EXPECT_THAT(process_names("", 2), ElementsAre("a", "c"));
  imr().destroy_process("c", DESTROY_NORMAL, {});
  imr().add_process(settings_of("b", {"x"}));
  imr().add_process(settings_of("f", {"x"}));
  EXPECT_THAT(process_names("c", 2), ElementsAre("e", "f"));
  EXPECT_THAT(process_names("f", 2), ElementsAre("g"));
  EXPECT_THAT(process_names("g", 2), IsEmpty());
}

TEST_F(ImrChangesTest, FailureOfTheStoreChangesNothing) {
  m_config.set("store", "busy_timeout", "0.05");
  reopen();
  imr().add_process(settings_of("bank", {"a"}));
  imr().add_orb({"teller", "bank"});
  std::promise<void> taken;
  std::promise<void> over;
  // Somebody else writes all the time.
  std::thread writer([&] {
    QZ_PSS::TransactionGuard guard(host().tx_current_nc());
    const QZ_PSS::TxSessionAssociation association(host().session_manager_nc(), QZ_PSS::READ_WRITE);
    taken.set_value();
    over.get_future().wait();
  });
  taken.get_future().wait();
  EXPECT_THROW(imr().change_process(settings_of("bank", {"b"})), CORBA::TRANSIENT);
  EXPECT_THROW(imr().add_process(settings_of("shop", {"b"})), CORBA::TRANSIENT);
  EXPECT_THROW(imr().change_orb({"teller", ""}), CORBA::TRANSIENT);
  EXPECT_THROW(imr().destroy_process("bank", DESTROY_FORCE, {}), CORBA::TRANSIENT);
  EXPECT_THROW(imr().destroy_orb("teller", DESTROY_NORMAL), CORBA::TRANSIENT);
  over.set_value();
  writer.join();
  EXPECT_THAT(process_settings("bank").argv, ElementsAre("a"));
  EXPECT_TRUE(imr().processes().get("shop").is_null());
  EXPECT_THAT(orbs_of("bank"), ElementsAre("teller"));
}

class ProcessInfoTest : public testing::Test {
 protected:
  ProcessInfoTest() {
    m_info.name = "bank";
    m_info.argv.length(1);
    m_info.argv[0] = "/bin/bank";
    m_info.stop_grace = 1;
    m_info.startup_time_limit = 0;
  }
  void add_variable(const char* line) {
    m_info.environment.length(m_info.environment.length() + 1);
    m_info.environment[m_info.environment.length() - 1] = line;
  }
  // "member reason".
  std::string flaw() const {
    try {
      to_settings(m_info);
      return "";
    } catch (const QZ_IMRAdmin::InvalidValue& e) {
      return std::string(e.member.in()) + " " + e.reason.in();
    }
  }

  QZ_IMRAdmin::ProcessInfo m_info;
};

TEST_F(ProcessInfoTest, IsTheSameThereAndBack) {
  add_variable("A=b=c");
  add_variable("EMPTY=");
  m_info.user = "nobody";
  m_info.working_directory = "/tmp";
  m_info.log_file = "/tmp/log";
  m_info.startup_time_limit = 24ULL * 3600 * 1000;
  const auto info = to_info(to_settings(m_info));
  EXPECT_STREQ(info.name, "bank");
  ASSERT_EQ(info.argv.length(), 1U);
  EXPECT_STREQ(info.argv[0], "/bin/bank");
  ASSERT_EQ(info.environment.length(), 2U);
  EXPECT_STREQ(info.environment[0], "A=b=c");
  EXPECT_STREQ(info.environment[1], "EMPTY=");
  EXPECT_STREQ(info.user, "nobody");
  EXPECT_STREQ(info.working_directory, "/tmp");
  EXPECT_STREQ(info.log_file, "/tmp/log");
  EXPECT_EQ(info.startup_time_limit, m_info.startup_time_limit);
  EXPECT_EQ(info.stop_grace, 1U);
}

TEST_F(ProcessInfoTest, NamesTheMemberThatCannotBe) {
  EXPECT_EQ(flaw(), "");
  m_info.startup_time_limit = 24ULL * 3600 * 1000 + 1;
  EXPECT_EQ(flaw(), "startup_time_limit must be from 0 to 86400000 milliseconds");
  m_info.startup_time_limit = 0;
  m_info.stop_grace = 0;
  EXPECT_EQ(flaw(), "stop_grace must be from 1 to 86400000 milliseconds");
  m_info.stop_grace = 1;
  add_variable("A");
  EXPECT_EQ(flaw(), "environment has \"A\", which is no NAME=value");
  m_info.environment[0] = "=A";
  EXPECT_EQ(flaw(), "environment has \"=A\", which is no NAME=value");
  m_info.environment[0] = "A=1";
  add_variable("A=2");
  EXPECT_EQ(flaw(), "environment has \"A\" twice");
  m_info.argv[0] = "";
  EXPECT_EQ(flaw(), "argv needs at least the program to run");
  m_info.argv.length(0);
  EXPECT_EQ(flaw(), "argv needs at least the program to run");
  m_info.name = "";
  EXPECT_EQ(flaw(), "name is empty");
}

}  // namespace
