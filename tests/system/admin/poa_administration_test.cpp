// POAs of the repository and of the active state, where they are not as callers think.
#include "tests/system/admin/active_test.h"

namespace {

using QZ_POAIMRAdmin::POA_var;
using QZ_POAIMRAdmin::POAList_var;
using QZ_POALocatorAdmin::ActivePOA_var;
using QZ_POALocatorAdmin::ActivePOAList_var;

class PoaAdministrationTest : public ActiveTest {
 protected:
  POA_var poa(const std::string& path) const { return poas()->find(full_name(path)); }
  ActivePOA_var active(const std::string& path) const { return active_poas()->find(full_name(path)); }

  support::FakeServer m_server{m_locator, "bank"};
};

TEST_F(PoaAdministrationTest, EveryOperationOnADestroyedEntryRaises) {
  add_poa("Bank");
  const auto bank = poa("Bank");
  bank->destroy();
  const auto gone = [](auto operation) { expect_minor<CORBA::OBJECT_NOT_EXIST>(0, operation); };
  gone([&] { QZ_POAIMRAdmin::POAId_var(bank->id()); });
  gone([&] { text(bank->name()); });
  gone([&] { QZ_POAIMRAdmin::FullyQualifiedName_var(bank->full_name()); });
  gone([&] { bank->persistent(); });
  gone([&] { text(bank->orb_name()); });
  gone([&] { bank->orb_name("bank"); });
  gone([&] { bank->allow_dynamic_registration(); });
  gone([&] { bank->allow_dynamic_registration(true); });
  gone([&] { POA_var(bank->parent()); });
  gone([&] { POAList_var(bank->children()); });
  gone([&] { POA_var(bank->lookup("Accounts")); });
  gone([&] { POA_var(bank->add("Accounts", true, true, "")); });
  gone([&] { bank->destroy(); });
  // What is wrong with the arguments is said first.
  expect_minor<CORBA::BAD_PARAM>(0, [&] { POA_var(bank->add("", true, true, "")); });
  expect_minor<CORBA::BAD_PARAM>(4, [&] { POA_var(bank->add("Accounts", false, true, "bank")); });
}

TEST_F(PoaAdministrationTest, NamespacesHaveNoOrb) {
  const POA_var root = poas()->root_namespace();
  expect_minor<CORBA::BAD_PARAM>(4, [&] { POA_var(root->add("Space", false, true, "bank")); });
  const POA_var space = root->add("Space", false, true, "");
  EXPECT_FALSE(space->persistent());
  EXPECT_EQ(text(space->orb_name()), "");
  const POA_var inner = space->add("Persistent", true, false, "");
  EXPECT_TRUE(inner->persistent());
  EXPECT_FALSE(inner->allow_dynamic_registration());
}

TEST_F(PoaAdministrationTest, ListsByProcessAndOrb) {
  EXPECT_EQ(POAList_var(poas()->list_in_process("nobody"))->length(), 0U);
  add_process("bank");
  EXPECT_EQ(POAList_var(poas()->list_in_process("bank"))->length(), 0U);
  add_orb("bank", "bank");
  add_orb("vault", "bank");
  EXPECT_EQ(POAList_var(poas()->list_in_process("bank"))->length(), 0U);
  add_poa("Bank", "bank");
  add_poa("Vault", "vault");
  add_poa("Other", "other");
  EXPECT_EQ(POAList_var(poas()->list_in_process("bank"))->length(), 2U);
  EXPECT_EQ(POAList_var(poas()->list_in_orb_name("vault"))->length(), 1U);
}

TEST_F(PoaAdministrationTest, EveryOperationOnAnInactivePoaRaises) {
  EXPECT_TRUE(CORBA::is_nil(active("Bank")));
  m_server.add("Audit");
  m_server.add("Bank");
  const auto bank = active("Bank");
  m_server.remove("Bank");
  EXPECT_THROW(QZ_POAIMRAdmin::POAId_var(bank->id()), CORBA::OBJECT_NOT_EXIST);
  EXPECT_THROW(text(bank->name()), CORBA::OBJECT_NOT_EXIST);
  EXPECT_THROW(QZ_POAIMRAdmin::FullyQualifiedName_var(bank->full_name()), CORBA::OBJECT_NOT_EXIST);
  EXPECT_THROW(POA_var(bank->poa_info()), CORBA::OBJECT_NOT_EXIST);
  EXPECT_THROW(QZ_POALocatorAdmin::POAActiveORB_var(bank->orb()), CORBA::OBJECT_NOT_EXIST);
  EXPECT_THROW(bank->destroy(), CORBA::OBJECT_NOT_EXIST);
  // The reference is good again when the POA is.
  m_server.add("Bank");
  EXPECT_EQ(text(bank->name()), "Bank");
}

TEST_F(PoaAdministrationTest, ListsAsManyActivePoasAsItCounts) {
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(ActivePOAList_var(active_poas()->list())->length(), active_poas()->number_of_entries());
    EXPECT_EQ(active_poas()->number_of_entries(), static_cast<CORBA::ULong>(i));
    m_server.add("Poa" + std::to_string(i));
  }
}

TEST_F(PoaAdministrationTest, AnOrbLosesTheActivePoaThatIsRemoved) {
  m_server.add("Audit");
  m_server.add("Bank");
  const auto orb = poa_orb("bank");
  ASSERT_EQ(ActivePOAList_var(orb->poa_list())->length(), 2U);
  orb->remove_active_poa(full_name("Bank"));
  ActivePOAList_var left = orb->poa_list();
  ASSERT_EQ(left->length(), 1U);
  EXPECT_EQ(text(left[0]->name()), "Audit");
  // Of a name that it does not have it only tells the log.
  orb->remove_active_poa(full_name("Nobody"));
  EXPECT_EQ(ActivePOAList_var(orb->poa_list())->length(), 1U);
}

TEST_F(PoaAdministrationTest, NobodyObserves) {
  const CORBA::Object_var nowhere = support::make_reference("127.9.9.9", 9, support::octets_of("observer"));
  const QZ_POAIMRAdmin::Observer_var of_entries = QZ_POAIMRAdmin::Observer::_unchecked_narrow(nowhere);
  const QZ_POALocatorAdmin::Observer_var of_active = QZ_POALocatorAdmin::Observer::_unchecked_narrow(nowhere);
  expect_minor<CORBA::NO_IMPLEMENT>(1, [&] { poas()->register_observer(of_entries); });
  expect_minor<CORBA::NO_IMPLEMENT>(2, [&] { poas()->unregister_observer(0); });
  expect_minor<CORBA::NO_IMPLEMENT>(3, [&] { active_poas()->register_observer(of_active); });
  expect_minor<CORBA::NO_IMPLEMENT>(4, [&] { active_poas()->unregister_observer(0); });
}

}  // namespace
