// Administration of the active state.
#include <gmock/gmock.h>

#include <poa_locator_admin.hh>

#include "tests/unit/poa_locator/active_fixture.h"

namespace {

using QZ_POALocatorAdmin::ActivePOA_var;
using QZ_POALocatorAdmin::ActivePOAList_var;
using QZ_POALocatorAdmin::POAActiveORB_var;
using testing::ElementsAre;

class ActiveAdminTest : public ActiveFixture {
 protected:
  const Names m_bank{"Bank"};

  QZ_POALocatorAdmin::ActivePOARegistry_var admin() {
    const CORBA::Object_var object =
        known(QZ_POALocatorAdmin::ACTIVE_POA_REGISTRY, QZ_LocatorInternal::ROLE_ADMINISTRATOR);
    return QZ_POALocatorAdmin::ActivePOARegistry::_narrow(object);
  }
  ActivePOA_var active_poa(const Names& names) { return admin()->find(*fqpn_of(names)); }

  template <class Exception, class Work>
  CORBA::ULong minor_of(Work&& work) {
    try {
      work();
    } catch (const Exception& ex) {
      EXPECT_EQ(ex.completed(), CORBA::COMPLETED_NO);
      return ex.minor();
    }
    ADD_FAILURE() << "no exception";
    return 0;
  }
};

TEST_F(ActiveAdminTest, TheRegistryIsKnownToAdministratorsOnly) {
  start();
  EXPECT_FALSE(CORBA::is_nil(admin()));
  EXPECT_TRUE(CORBA::is_nil(
      CORBA::Object_var(known(QZ_POALocatorAdmin::ACTIVE_POA_REGISTRY, QZ_LocatorInternal::ROLE_SERVER))));
  EXPECT_TRUE(CORBA::is_nil(
      CORBA::Object_var(known(QZ_POA_PersistentServer::POA_REGISTRY, QZ_LocatorInternal::ROLE_ADMINISTRATOR))));
}

TEST_F(ActiveAdminTest, TellsOfAnActivePoa) {
  start();
  add(m_bank, "orb");
  add({"Bank", "Accounts"}, "orb");
  const ActivePOA_var poa = active_poa({"Bank", "Accounts"});
  ASSERT_FALSE(CORBA::is_nil(poa));
  EXPECT_EQ(octets(*QZ_POAIMRAdmin::POAId_var(poa->id()).operator->()), octets(*id_of({"Bank", "Accounts"})));
  EXPECT_STREQ(CORBA::String_var(poa->name()), "Accounts");
  EXPECT_EQ(texts(*QZ_POAIMRAdmin::FullyQualifiedName_var(poa->full_name()).operator->()), (Names{"Bank", "Accounts"}));
  const QZ_POAIMRAdmin::POA_var info = poa->poa_info();
  EXPECT_STREQ(CORBA::String_var(info->orb_name()), "orb");
  const POAActiveORB_var orb = poa->orb();
  EXPECT_STREQ(CORBA::String_var(orb->name()), "orb");
}

TEST_F(ActiveAdminTest, GivesNilWhereThereIsNothing) {
  start();
  EXPECT_TRUE(CORBA::is_nil(active_poa({"Unknown"})));
  add_entry(m_bank, "");
  ActiveEndpoint endpoint(core(), *id_of(m_bank));
  {
    QZ_MutexLock lock(endpoints().m_mutex);
    endpoints().impl_insert(endpoint);
  }
  EXPECT_TRUE(CORBA::is_nil(POAActiveORB_var(active_poa(m_bank)->orb())));
}

TEST_F(ActiveAdminTest, GivesNoEntryForAPoaThatTheRepositoryHasLost) {
  start();
  add(m_bank, "orb");
  stop();
  start();
  registry().find(*id_of(m_bank)).destroy();
  stop();
  start();
  EXPECT_TRUE(CORBA::is_nil(QZ_POAIMRAdmin::POA_var(active_poa(m_bank)->poa_info())));
}

TEST_F(ActiveAdminTest, ListsAsManyAsItCounts) {
  start();
  for (const char* name : {"A", "B", "C"}) add({name}, "orb");
  ActivePOAList_var list = admin()->list();
  EXPECT_EQ(list->length(), 3u);
  EXPECT_EQ(admin()->number_of_entries(), 3u);
  std::vector<std::string> names;
  for (CORBA::ULong i = 0; i < list->length(); ++i) names.emplace_back(CORBA::String_var(list[i]->name()));
  EXPECT_THAT(names, testing::UnorderedElementsAre("A", "B", "C"));
}

TEST_F(ActiveAdminTest, DestroysAnActivePoa) {
  start();
  add(m_bank, "orb");
  const ActivePOA_var poa = active_poa(m_bank);
  poa->destroy();
  EXPECT_TRUE(find(m_bank).is_null());
  EXPECT_EQ(minor_of<CORBA::OBJECT_NOT_EXIST>([&] { CORBA::String_var(poa->name()); }), 0x515A0C00u);
  EXPECT_EQ(minor_of<CORBA::OBJECT_NOT_EXIST>([&] { poa->destroy(); }), 0x515A0C00u);
}

TEST_F(ActiveAdminTest, RefusesObservers) {
  start();
  EXPECT_EQ(minor_of<CORBA::NO_IMPLEMENT>([&] { admin()->register_observer(QZ_POALocatorAdmin::Observer::_nil()); }),
            0x515A0C03u);
  EXPECT_EQ(minor_of<CORBA::NO_IMPLEMENT>([&] { admin()->unregister_observer(1); }), 0x515A0C04u);
}

TEST_F(ActiveAdminTest, TellsOfAnActiveOrb) {
  configure_living_process("process", {"orb"});
  start();
  add({"A"}, "orb");
  add({"B"}, "orb");
  add({"C"}, "without process");
  const POAActiveORB_var orb = active_poa({"A"})->orb();
  EXPECT_STREQ(CORBA::String_var(orb->name()), "orb");
  const QZ_LocationCommon::ORBInfo_var info = orb->orb_info();
  EXPECT_STREQ(info->process, "process");
  const ActivePOAList_var list = orb->poa_list();
  EXPECT_EQ(list->length(), 2u);
  EXPECT_NO_THROW(QZ_LocatorAdmin::ActiveProcess_var(orb->process()));
  const POAActiveORB_var other = active_poa({"C"})->orb();
  EXPECT_TRUE(CORBA::is_nil(QZ_LocatorAdmin::ActiveProcess_var(other->process())));
}

TEST_F(ActiveAdminTest, RemovesOneActivePoaOfAnOrb) {
  start();
  add({"A"}, "orb");
  add({"B"}, "orb");
  const POAActiveORB_var orb = active_poa({"A"})->orb();
  orb->remove_active_poa(*fqpn_of({"A"}));
  EXPECT_EQ(ActivePOAList_var(orb->poa_list())->length(), 1u);
  EXPECT_TRUE(find({"A"}).is_null());
  EXPECT_FALSE(find({"B"}).is_null());
}

TEST_F(ActiveAdminTest, DestroysAnActiveOrbWithItsPoas) {
  start();
  add({"A"}, "orb");
  add({"B"}, "orb");
  const POAActiveORB_var orb = active_poa({"A"})->orb();
  orb->destroy();
  EXPECT_EQ(endpoints().number_of_entries(), 0u);
  EXPECT_TRUE(find_orb("orb").is_null());
  EXPECT_EQ(minor_of<CORBA::OBJECT_NOT_EXIST>([&] { CORBA::String_var(orb->name()); }), 0x515A0C07u);
  EXPECT_EQ(minor_of<CORBA::OBJECT_NOT_EXIST>([&] { ActivePOAList_var(orb->poa_list()); }), 0x515A0C07u);
  EXPECT_EQ(minor_of<CORBA::OBJECT_NOT_EXIST>([&] { orb->remove_active_poa(*fqpn_of({"A"})); }), 0x515A0C07u);
}

TEST_F(ActiveAdminTest, ReferencesOutliveARestart) {
  start();
  add(m_bank, "orb");
  const CORBA::String_var text = orb()->object_to_string(active_poa(m_bank));
  stop();
  start();
  const CORBA::Object_var object = orb()->string_to_object(text);
  const ActivePOA_var poa = QZ_POALocatorAdmin::ActivePOA::_narrow(object);
  EXPECT_STREQ(CORBA::String_var(poa->name()), "Bank");
}

}  // namespace
