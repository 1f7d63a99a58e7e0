// How a record of an active ORB comes into being: it joins its process, is stored and gets its place, or nothing of it
// is left.
#include <gmock/gmock.h>

#include <thread>

#include "daemon/active_process_impl.h"
#include "platform/pss/tx_session_association.h"
#include "tests/unit/poa_locator/active_orb_test.h"
#include "tests/unit/poa_locator/foreign_orb.h"
#include "tests/unit/poa_locator/imr_store_fault.h"

namespace {

using QZ_LocatorInternal::ActiveORB;
using QZ_LocatorInternal::ActiveORB_var;
using testing::ElementsAre;
using testing::IsEmpty;

class ActiveOrbMakingTest : public ActiveOrbTest {
 protected:
  // The first ORB that the host knows in a process; nil when there is none.
  ActiveORB_var joined(const char* process) {
    const QZ_LocatorInternal::ActiveProcess_var found = host().locator().active_processes().find(process);
    if (CORBA::is_nil(found)) return ActiveORB::_nil();
    auto& record = dynamic_cast<poalocd::ActiveProcessImpl&>(*found.in());
    const QZ_MutexLock lock(record.m_mutex);
    return record.m_orbs.empty() ? ActiveORB::_nil() : ActiveORB::_duplicate(record.m_orbs[0].orb);
  }
};

TEST_F(ActiveOrbMakingTest, TheStoreHoldsItsNameProcessAndActivator) {
  configure_living_process("process", {"orb"});
  start();
  const auto activator = make_activator(m_activator);
  add_activator("orb", activator);
  add(m_bank, "alone");
  QZ_PSS::TxSessionAssociation association(session_manager(), QZ_PSS::READ_ONLY);
  auto* home = QZ_PoaLocatorStore::PoaActiveOrbHome::_narrow(association.find_storage_home(orbs().home_type_id()));
  const auto stored = [home](const char* name) {
    return QZ_PoaLocatorStore::PoaActiveOrbDataRef::narrow(home->find_by_name(name));
  };
  EXPECT_EQ(stored("orb")->process_name(), "process");
  EXPECT_EQ(stored("orb")->endpoints().length(), 0u);
  const QZ_POA_PersistentServer::EndpointActivator_var kept = stored("orb")->endpoint_activator();
  EXPECT_TRUE(activator->_is_equivalent(kept));
  EXPECT_EQ(stored("alone")->process_name(), "");
  const QZ_POA_PersistentServer::EndpointActivator_var none = stored("alone")->endpoint_activator();
  EXPECT_TRUE(CORBA::is_nil(none));
}

TEST_F(ActiveOrbMakingTest, ARecordThatCannotBeStoredIsHarmlessToAHostThatKnowsIt) {
  config().set("store", "busy_timeout", "30");
  configure_living_process("process", {"orb"});
  start();
  const auto activator = make_activator(m_activator);
  ActiveORB_var known;
  {
    StoreFault fault(store_file());
    // The server has joined its process, and waits for the store, which will then refuse it.
    fault.m_session << "begin immediate";
    std::jthread server([&] { EXPECT_THROW(add_activator("orb", activator), CORBA::SystemException); });
    EXPECT_TRUE(support::wait_until([&] {
      known = joined("process");
      return !CORBA::is_nil(known);
    }));
    fault.m_session << "rollback";
  }
  EXPECT_STREQ(CORBA::String_var(known->name()), "orb");
  known->process_died();
  known->destroy();
  EXPECT_FALSE(known->registered());
  EXPECT_TRUE(CORBA::is_nil(joined("process")));
  EXPECT_TRUE(find_orb("orb").is_null());
  EXPECT_EQ(stored_orbs(), 0u);
  EXPECT_THAT(log().events(), IsEmpty());
  // The mutexes are free, and nothing is in the way of the next one.
  add_activator("orb", activator);
  EXPECT_EQ(joined("process").in(), find_orb("orb").get());
  EXPECT_EQ(stored_orbs(), 1u);
}

TEST_F(ActiveOrbMakingTest, ARecordThatGetsNoPlaceIsTakenBack) {
  configure_living_process("process", {"orb"});
  start();
  const ActiveORB_var other = new ForeignOrb("orb");
  const QZ_LocatorInternal::ActiveORBRegistry_var table = host().locator().active_orb_registry();
  table->insert(other);
  EXPECT_THROW(add_activator("orb"), CORBA::BAD_PARAM);
  EXPECT_TRUE(CORBA::is_nil(joined("process")));
  EXPECT_EQ(stored_orbs(), 0u);
  EXPECT_THAT(log().events(), IsEmpty());
  table->remove("orb");
  add_activator("orb");
  EXPECT_FALSE(find_orb("orb").is_null());
}

TEST_F(ActiveOrbMakingTest, ARestoredRecordThatGetsNoPlaceEndsTheStartAndStaysStored) {
  configure_living_process("process", {"orb"});
  start();
  add_activator("orb");
  stop();
  start_host();
  log().clear();
  const ActiveORB_var other = new ForeignOrb("orb");
  const QZ_LocatorInternal::ActiveORBRegistry_var table = host().locator().active_orb_registry();
  table->insert(other);
  EXPECT_THROW(start_core(), CORBA::BAD_PARAM);
  EXPECT_TRUE(CORBA::is_nil(joined("process")));
  EXPECT_THAT(event_ids(), IsEmpty());
  table->remove("orb");
  start_core();
  ASSERT_FALSE(find_orb("orb").is_null());
  EXPECT_EQ(joined("process").in(), find_orb("orb").get());
  EXPECT_THAT(event_ids(), ElementsAre(39u));
}

TEST_F(ActiveOrbMakingTest, ARestoredRecordWithAnActivatorIsValidThoughNoneOfItsEndpointsIs) {
  start();
  add_activator("orb");
  endpoints().create(core(), *id_of(m_bank), "orb");
  stop();
  start();
  EXPECT_FALSE(find(m_bank).validate());
  EXPECT_TRUE(find_orb("orb")->validate());
}

}  // namespace
