// Server processes, administered over the wire.
#include "tests/support/proc_info.h"
#include "tests/system/admin/admin_test.h"

namespace {

using namespace QZ_LocationCommon;
using QZ_IMRAdmin::Process_var;
using QZ_IMRAdmin::ProcessInfo_var;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Optional;

class ProcessRegistryTest : public AdminTest {
 protected:
  pid_t start(const char* name) const {
    const auto registry =
        support::resolve<QZ_LocatorAdmin::ActiveProcessRegistry>(m_locator, QZ_LocatorAdmin::ACTIVE_PROCESS_REGISTRY);
    const QZ_LocatorAdmin::ActiveProcess_var process = registry->find(name);
    process->start();
    const QZ_LocatorAdmin::ActiveProcessInfo_var info = process->info();
    return static_cast<pid_t>(info->pid);
  }
  // Its settings as text; "(none)" when there is no such process.
  std::string shown(const char* name) const {
    const Process_var found = processes()->find(name);
    if (CORBA::is_nil(found)) return "(none)";
    const ProcessInfo_var info = found->info();
    std::string text;
    for (CORBA::ULong i = 0; i < info->argv.length(); ++i) text += std::string(info->argv[i].in()) + " ";
    for (CORBA::ULong i = 0; i < info->environment.length(); ++i) text += std::string(info->environment[i].in()) + " ";
    return text + info->working_directory.in() + " " + info->user.in() + " " +
           std::to_string(info->startup_time_limit) + " " + std::to_string(info->stop_grace) + " " +
           info->log_file.in();
  }
};

TEST_F(ProcessRegistryTest, AddedProcessIsThereAtOnceAndAfterAKill) {
  auto info = process_info("bank", {"/bin/bank", "-x", ""});
  append(info.environment, "A=b=c");
  append(info.environment, "EMPTY=");
  info.working_directory = "/tmp";
  info.user = "nobody";
  info.startup_time_limit = 30'000;
  info.stop_grace = 1250;
  info.log_file = "/tmp/bank.log";
  const Process_var added = processes()->add(info);
  const std::string wanted = "/bin/bank -x  A=b=c EMPTY= /tmp nobody 30000 1250 /tmp/bank.log";
  EXPECT_EQ(shown("bank"), wanted);
  EXPECT_STREQ(CORBA::String_var(added->name()), "bank");
  m_locator.kill9();
  m_locator.start();
  EXPECT_EQ(shown("bank"), wanted);
}

TEST_F(ProcessRegistryTest, ReferencesOutliveTheDaemon) {
  const Process_var bank = add_process("bank");
  restart();
  processes();  // connects anew
  EXPECT_STREQ(CORBA::String_var(bank->name()), "bank");
  bank->destroy(DESTROY_NORMAL);
  EXPECT_THROW(CORBA::String_var(bank->name()), CORBA::OBJECT_NOT_EXIST);
}

TEST_F(ProcessRegistryTest, NameIsTakenOnce) {
  add_process("bank");
  try {
    add_process("bank", {"/bin/false"});
    FAIL() << "a second process of that name was added";
  } catch (const QZ_IMRAdmin::AlreadyExists& e) {
    EXPECT_STREQ(e.name, "bank");
  }
  EXPECT_THAT(process_names(), ElementsAre("bank"));
}

TEST_F(ProcessRegistryTest, WhatCannotBeIsRefusedByItsMember) {
  const auto refusal = [&](const QZ_IMRAdmin::ProcessInfo& info) {
    return invalid_value([&] { Process_var(processes()->add(info)); });
  };
  auto info = process_info("bank");
  info.stop_grace = 0;
  EXPECT_EQ(refusal(info), "stop_grace must be from 1 to 86400000 milliseconds");
  info.startup_time_limit = 86'400'001;
  EXPECT_EQ(refusal(info), "startup_time_limit must be from 0 to 86400000 milliseconds");
  append(info.environment, "A");
  EXPECT_EQ(refusal(info), "environment has \"A\", which is no NAME=value");
  info.argv.length(0);
  EXPECT_EQ(refusal(info), "argv needs at least the program to run");
  info.name = "";
  EXPECT_EQ(refusal(info), "name is empty");
  EXPECT_THAT(process_names(), IsEmpty());
}

TEST_F(ProcessRegistryTest, NobodyHasNoReference) {
  EXPECT_TRUE(CORBA::is_nil(Process_var(processes()->find("nobody"))));
  EXPECT_TRUE(CORBA::is_nil(Process_var(processes()->find(""))));
}

TEST_F(ProcessRegistryTest, ChangeHoldsAtOnceAndAfterARestart) {
  const Process_var bank = add_process("bank", {"/bin/old", "argument"});
  auto info = process_info("bank", {"/bin/new"});
  append(info.environment, "A=1");
  bank->change(info);
  EXPECT_EQ(shown("bank"), "/bin/new A=1   0 10000 ");
  restart();
  EXPECT_EQ(shown("bank"), "/bin/new A=1   0 10000 ");
}

TEST_F(ProcessRegistryTest, ChangeFromWhatWasReadIsRefusedWhenItIsOld) {
  const Process_var bank = add_process("bank", {"/bin/old"});
  const ProcessInfo_var read = bank->info();
  EXPECT_TRUE(bank->change_from(read, process_info("bank", {"/bin/new"})));
  EXPECT_FALSE(bank->change_from(read, process_info("bank", {"/bin/newer"})));
  EXPECT_EQ(shown("bank"), "/bin/new   0 10000 ");
  EXPECT_EQ(invalid_value([&] { bank->change_from(read, process_info("shop")); }), "name must stay \"bank\"");
  EXPECT_EQ(invalid_value([&] { bank->change_from(process_info("shop"), read); }), "name must stay \"bank\"");
  bank->destroy(DESTROY_NORMAL);
  EXPECT_THROW(bank->change_from(read, read), CORBA::OBJECT_NOT_EXIST);
}

TEST_F(ProcessRegistryTest, ChangeOfTheNameOrToWhatCannotBeIsRefused) {
  const Process_var bank = add_process("bank");
  EXPECT_EQ(invalid_value([&] { bank->change(process_info("shop")); }), "name must stay \"bank\"");
  EXPECT_EQ(invalid_value([&] { bank->change(process_info("bank", {})); }), "argv needs at least the program to run");
  EXPECT_EQ(shown("bank"), "/bin/true   0 10000 ");
  EXPECT_EQ(shown("shop"), "(none)");
}

TEST_F(ProcessRegistryTest, ProcessThatIsGoneDoesNotExist) {
  const Process_var bank = add_process("bank");
  bank->destroy(DESTROY_NORMAL);
  EXPECT_THROW(CORBA::String_var(bank->name()), CORBA::OBJECT_NOT_EXIST);
  EXPECT_THROW(ProcessInfo_var(bank->info()), CORBA::OBJECT_NOT_EXIST);
  EXPECT_THROW(bank->change(process_info("bank")), CORBA::OBJECT_NOT_EXIST);
  EXPECT_THROW(bank->destroy(DESTROY_FORCE), CORBA::OBJECT_NOT_EXIST);
  EXPECT_THAT(process_names(), IsEmpty());
  restart();
  EXPECT_THAT(process_names(), IsEmpty());
}

TEST_F(ProcessRegistryTest, DestroyNamesWhatIsInTheWay) {
  const Process_var bank = add_process("bank", {"/bin/sleep", "1000"});
  add_orb("teller", "bank");
  add_orb("other");
  EXPECT_THAT(references_of([&] { bank->destroy(DESTROY_NORMAL); }), Optional(ElementsAre("ORB teller")));
  const pid_t pid = start("bank");
  EXPECT_THAT(references_of([&] { bank->destroy(DESTROY_NORMAL); }),
              Optional(ElementsAre("ORB teller", "its run with pid " + std::to_string(pid))));
  EXPECT_THAT(process_names(), ElementsAre("bank"));
  EXPECT_EQ(process_of("teller"), "bank");
}

TEST_F(ProcessRegistryTest, ForcedDestroyLeavesOrbsAndWhatRuns) {
  const Process_var bank = add_process("bank", {"/bin/sleep", "1000"});
  add_orb("teller", "bank");
  const pid_t pid = start("bank");
  bank->destroy(DESTROY_FORCE);
  for (int i = 0; i < 2; ++i) {
    EXPECT_THAT(process_names(), IsEmpty());
    EXPECT_EQ(process_of("teller"), "");
    EXPECT_TRUE(support::runs(pid));
    restart();
  }
}

TEST_F(ProcessRegistryTest, DeepDestroyTakesOrbsAndTheirPoas) {
  const Process_var bank = add_process("bank");
  add_orb("teller", "bank");
  add_orb("vault", "bank");
  add_orb("other");
  add_poa("Bank/Accounts", "teller");
  add_poa("Vault", "vault");
  add_poa("Shop", "other");
  bank->destroy(DESTROY_DEEP);
  for (int i = 0; i < 2; ++i) {
    EXPECT_THAT(process_names(), IsEmpty());
    EXPECT_THAT(orb_names(), ElementsAre("other"));
    EXPECT_THAT(poa_entries(), ElementsAre("Shop other"));
    restart();
  }
}

TEST_F(ProcessRegistryTest, PagesListWhatIsThereThroughoutOnce) {
  for (const char* name : {"a", "c", "e", "g", "i"}) add_process(name);
  const auto registry = processes();
  CORBA::String_var next;
  QZ_IMRAdmin::ProcessInfoList_var page = registry->list("", 2, next.out());
  ASSERT_EQ(page->length(), 2U);
  // The entry at which the list stopped goes, others come on both sides.
  Process_var(registry->find(page[1].name))->destroy(DESTROY_NORMAL);
  add_process("b");
  add_process("f");
  Words rest;
  while (*next) {
    CORBA::String_var position = next._retn();
    page = registry->list(position, 2, next.out());
    for (CORBA::ULong i = 0; i < page->length(); ++i) rest.emplace_back(page[i].name.in());
  }
  EXPECT_THAT(rest, ElementsAre("e", "f", "g", "i"));
  EXPECT_THAT(process_names(), ElementsAre("a", "b", "e", "f", "g", "i"));
}

TEST_F(ProcessRegistryTest, PageHasAtLeastOneAndNotTooMany) {
  for (int i = 0; i < 1100; ++i) add_process("p" + std::to_string(1000 + i));
  CORBA::String_var next;
  EXPECT_EQ(QZ_IMRAdmin::ProcessInfoList_var(processes()->list("", 0, next.out()))->length(), 1U);
  EXPECT_STRNE(next, "");
  EXPECT_EQ(QZ_IMRAdmin::ProcessInfoList_var(processes()->list("", 4'000'000'000U, next.out()))->length(), 1000U);
  EXPECT_EQ(process_names().size(), 1100U);
}

TEST_F(ProcessRegistryTest, PageOfLargeEntriesFitsIntoAMessageOfAnyORB) {
  constexpr std::size_t OMNIORBS_OWN_LIMIT = 2 * 1024 * 1024;
  const std::string long_argument(100'000, 'x');
  for (int i = 0; i < 60; ++i) add_process("p" + std::to_string(1000 + i), {"/bin/true", long_argument});
  CORBA::String_var next;
  const auto length = QZ_IMRAdmin::ProcessInfoList_var(processes()->list("", 1000, next.out()))->length();
  EXPECT_GE(length, 1U);
  EXPECT_LT(length * long_argument.size(), OMNIORBS_OWN_LIMIT);
  EXPECT_EQ(process_names().size(), 60U);
}

TEST_F(ProcessRegistryTest, ConfigurationFillsOnlyAnEmptyStore) {
  m_locator.terminate();
  m_locator.config().add_process({"configured", {"/bin/true"}, {}});
  m_locator.config().add_orb("configured", "configured");
  m_locator.start();
  EXPECT_THAT(process_names(), ElementsAre("configured"));
  Process_var(processes()->find("configured"))->change(process_info("configured", {"/bin/changed"}));
  QZ_IMRAdmin::ORB_var(orbs()->find("configured"))->destroy(DESTROY_NORMAL);
  restart();
  EXPECT_EQ(shown("configured"), "/bin/changed   0 10000 ");
  EXPECT_THAT(orb_names(), IsEmpty());
  EXPECT_TRUE(m_locator.log().wait_for([](const support::Event& event) {
    return event.subsystem == "QZ_HOST" && event.message.find("are not used") != std::string::npos;
  }));
}

}  // namespace
