// Active ORBs, seen over the wire.
#include "tests/system/admin/active_test.h"

namespace {

using QZ_LocatorAdmin::ActiveORB_var;
using QZ_LocatorAdmin::ActiveORBInfo;
using QZ_LocatorAdmin::ActiveProcess_var;

class ActiveOrbTest : public ActiveTest {
 protected:
  Words listed(CORBA::ULong how_many) const {
    const auto registry = active_orbs();
    return all_pages([&](auto&&... a) { return QZ_LocatorAdmin::ActiveORBInfoList_var(registry->list(a...)); },
                     how_many, [](const ActiveORBInfo& info) { return std::string(info.name.in()); });
  }
  ActiveORBInfo info_of(const std::string& name) const {
    CORBA::String_var next;
    QZ_LocatorAdmin::ActiveORBInfoList_var list = active_orbs()->list("", 1000, next.out());
    for (CORBA::ULong i = 0; i < list->length(); ++i)
      if (name == list[i].name.in()) return list[i];
    ADD_FAILURE() << name << " is not active";
    return {};
  }

  support::FakeServer m_server{m_locator, "bank"};
};

TEST_F(ActiveOrbTest, TellsOfAServerThatWasStartedByHand) {
  m_server.add("Bank");
  m_server.add("Bank/Accounts");
  const auto info = info_of("bank");
  EXPECT_STREQ(info.process, "");
  EXPECT_EQ(info.process_state, QZ_LocatorAdmin::PROCESS_RUNNING);
  EXPECT_EQ(info.pid, 0U);
  EXPECT_EQ(info.start_time, 0U);
  EXPECT_FALSE(info.activator_held);
  EXPECT_EQ(info.number_of_poas, 2U);
  m_server.add_activator([](const auto&) {});
  EXPECT_TRUE(info_of("bank").activator_held);
  m_server.remove_activator();
  EXPECT_FALSE(info_of("bank").activator_held);

  const auto orb = poa_orb("bank");
  EXPECT_EQ(text(orb->name()), "bank");
  const QZ_LocationCommon::ORBInfo_var entry = orb->orb_info();
  EXPECT_STREQ(entry->name, "bank");
  EXPECT_STREQ(entry->process, "");
  EXPECT_TRUE(CORBA::is_nil(ActiveProcess_var(orb->process())));
}

TEST_F(ActiveOrbTest, LeadsToItsProcess) {
  const auto bank = add_script("bank", "exec sleep 1000");
  bank->start();
  m_server.add("Bank");
  const auto process = ActiveTest::info_of(bank);
  EXPECT_EQ(process.state, QZ_LocatorAdmin::PROCESS_RUNNING);
  ASSERT_EQ(process.orbs.length(), 1U);
  EXPECT_STREQ(process.orbs[0], "bank");
  const auto info = info_of("bank");
  EXPECT_STREQ(info.process, "bank");
  EXPECT_EQ(info.process_state, QZ_LocatorAdmin::PROCESS_RUNNING);
  EXPECT_EQ(info.pid, process.pid);
  EXPECT_EQ(info.start_time, process.start_time);

  const auto orb = poa_orb("bank");
  EXPECT_STREQ(QZ_LocationCommon::ORBInfo_var(orb->orb_info())->process, "bank");
  const ActiveProcess_var its_process = orb->process();
  ASSERT_FALSE(CORBA::is_nil(its_process));
  EXPECT_TRUE(its_process->_is_equivalent(bank));
  EXPECT_EQ(text(its_process->name()), "bank");
  // Its end takes the ORB with it.
  its_process->stop();
  EXPECT_TRUE(support::wait_until([&] { return CORBA::is_nil(ActiveORB_var(active_orbs()->find("bank"))); }));
  expect_minor<CORBA::OBJECT_NOT_EXIST>(7, [&] { text(orb->name()); });
}

TEST_F(ActiveOrbTest, ComesInPages) {
  EXPECT_EQ(listed(3), Words());
  std::vector<std::unique_ptr<support::FakeServer>> servers;
  Words expected;
  for (int i = 0; i < 9; ++i) {
    expected.push_back("orb" + std::to_string(i));
    servers.push_back(std::make_unique<support::FakeServer>(m_locator, expected.back()));
    servers.back()->add("Poa" + std::to_string(i));
  }
  for (const CORBA::ULong page : {1U, 2U, 9U, 1000U}) EXPECT_EQ(listed(page), expected) << page;
}

TEST_F(ActiveOrbTest, EveryOperationOnAnOrbThatHasLeftRaises) {
  EXPECT_TRUE(CORBA::is_nil(ActiveORB_var(active_orbs()->find("bank"))));
  m_server.add("Bank");
  const auto orb = poa_orb("bank");
  ASSERT_FALSE(CORBA::is_nil(orb));
  m_server.remove("Bank");
  expect_minor<CORBA::OBJECT_NOT_EXIST>(7, [&] { text(orb->name()); });
  expect_minor<CORBA::OBJECT_NOT_EXIST>(7, [&] { QZ_LocationCommon::ORBInfo_var(orb->orb_info()); });
  expect_minor<CORBA::OBJECT_NOT_EXIST>(7, [&] { ActiveProcess_var(orb->process()); });
  expect_minor<CORBA::OBJECT_NOT_EXIST>(7, [&] { QZ_POALocatorAdmin::ActivePOAList_var(orb->poa_list()); });
  expect_minor<CORBA::OBJECT_NOT_EXIST>(7, [&] { orb->remove_active_poa(full_name("Bank")); });
  expect_minor<CORBA::OBJECT_NOT_EXIST>(7, [&] { orb->destroy(); });
}

TEST_F(ActiveOrbTest, ReferencesHoldAcrossARestart) {
  m_server.add("Bank");
  m_server.add_activator([](const auto&) {});
  const auto orb = poa_orb("bank");
  restart();
  const auto again = poa_orb("bank");
  ASSERT_FALSE(CORBA::is_nil(again));
  EXPECT_TRUE(orb->_is_equivalent(again));
  const auto info = info_of("bank");
  EXPECT_TRUE(info.activator_held);
  EXPECT_EQ(info.number_of_poas, 1U);
  m_server.remove_activator();
}

}  // namespace
