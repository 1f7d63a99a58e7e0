// The plug-in's core: what it builds, what it gives to others, and how it leaves the host.
#include <gmock/gmock.h>

#include <atomic>
#include <memory>
#include <thread>

#include "platform/orb/vendor_policy.h"
#include "poa_locator/plugin/gate_pass.h"
#include "tests/unit/poa_locator/active_fixture.h"
#include "tests/unit/poa_locator/broken_host.h"

namespace {

using testing::ElementsAre;

class CoreTest : public ActiveFixture {
 protected:
  QZ_LocatorInternal::OALocatorRegistry_var host_locators() { return host().locator().oa_locator_registry(); }
};

TEST_F(CoreTest, TheCoreIsKnownToTheHostUnderItsName) {
  start();
  EXPECT_STREQ(CORBA::String_var(core().name()), "POALocator");
  EXPECT_THROW(host_locators()->register_locator("POALocator", &core()), CORBA::BAD_PARAM);
  core().impl_shutdown();
  EXPECT_NO_THROW(host_locators()->register_locator("POALocator", &core()));
  host_locators()->unregister_locator("POALocator");
}

TEST_F(CoreTest, TheCoresPoaIsACalledPOALocatorWithTheParentsManager) {
  start();
  EXPECT_STREQ(CORBA::String_var(core().impl_poa_nc()->the_name()), "POALocator");
  const PortableServer::POAManager_var own = core().impl_poa_nc()->the_POAManager();
  const PortableServer::POAManager_var parents = host().parent_poa_nc()->the_POAManager();
  EXPECT_EQ(own->get_state(), parents->get_state());
  parents->hold_requests(false);
  EXPECT_EQ(own->get_state(), PortableServer::POAManager::HOLDING);
  parents->activate();
}

TEST_F(CoreTest, TheCoresPoaHasSevenPoliciesInOrder) {
  start_host();
  const CORBA::PolicyList policies = POALocatorImpl::poa_policies(orb());
  std::vector<CORBA::PolicyType> types;
  for (CORBA::ULong i = 0; i < policies.length(); ++i) types.push_back(policies[i]->policy_type());
  EXPECT_THAT(types, ElementsAre(PortableServer::LIFESPAN_POLICY_ID, PortableServer::ID_ASSIGNMENT_POLICY_ID,
                                 PortableServer::SERVANT_RETENTION_POLICY_ID, PortableServer::THREAD_POLICY_ID,
                                 0x515A5F42u, 0x515A5F50u, 36u));
  using namespace PortableServer;
  EXPECT_EQ(LifespanPolicy_var(LifespanPolicy::_narrow(policies[0]))->value(), PERSISTENT);
  EXPECT_EQ(IdAssignmentPolicy_var(IdAssignmentPolicy::_narrow(policies[1]))->value(), USER_ID);
  EXPECT_EQ(ServantRetentionPolicy_var(ServantRetentionPolicy::_narrow(policies[2]))->value(), RETAIN);
  EXPECT_EQ(ThreadPolicy_var(ThreadPolicy::_narrow(policies[3]))->value(), ORB_CTRL_MODEL);
  const auto value = [&](CORBA::ULong i) {
    const CORBA::Policy_ptr policy = policies[i];
    return dynamic_cast<QZ_PortableServer::VendorPolicy&>(*policy).value();
  };
  const char* scope = nullptr;
  CORBA::Any scope_value = value(4);
  ASSERT_TRUE(scope_value >>= scope);
  EXPECT_STREQ(scope, "plugins:locator");
  QZ_PortableServer::PersistenceModePolicyValue mode{};
  CORBA::Any mode_value = value(5);
  ASSERT_TRUE(mode_value >>= mode);
  EXPECT_EQ(static_cast<int>(mode), 0);
  CORBA::UShort firewall = 1;
  CORBA::Any firewall_value = value(6);
  ASSERT_TRUE(firewall_value >>= firewall);
  EXPECT_EQ(firewall, 0u);
}

TEST_F(CoreTest, RestoresOrbsBeforeEndpoints) {
  start();
  add({"A"}, "first");
  add({"B"}, "second");
  stop();
  log().clear();
  start();
  std::vector<unsigned> ids;
  for (const support::Event& event : log().events()) ids.push_back(event.id);
  EXPECT_THAT(ids, ElementsAre(39u, 39u, 31u, 31u));
}

TEST_F(CoreTest, ShutdownWithdrawsItFromTheHostAndLeavesItsState) {
  start();
  add({"Runs"}, "orb");
  endpoints().create(core(), *id_of({"Idle"}), "orb");
  core().impl_shutdown();
  EXPECT_TRUE(CORBA::is_nil(interceptor_of(key_of({"Nobody's"}))));
  EXPECT_EQ(endpoints().number_of_entries(), 2u);
  core().impl_validate_persistent_data();
  EXPECT_EQ(endpoints().number_of_entries(), 1u);
  EXPECT_EQ(orbs().number_of_entries(), 1u);
  core().impl_shutdown();
}

TEST_F(CoreTest, AHostThatCannotUnregisterItIsHeardOfAtShutdown) {
  start();
  const QZ_LocatorInternal::Locator_var whole = QZ_LocatorInternal::Locator::_duplicate(core().impl_locator_nc());
  core().m_locator = new BrokenHost(whole, BrokenHost::LOCATORS);
  EXPECT_THROW(core().impl_shutdown(), CORBA::NO_RESOURCES);
  core().m_locator = whole;
  host_locators()->unregister_locator("POALocator");
}

TEST_F(CoreTest, TheEndOfTheCoreLeavesNothingWithTheHost) {
  start();
  add({"Bank"}, "orb");
  const std::string key = key_of({"Bank"});
  stop_host();
  core().impl_shutdown();
  m_core = {};
  EXPECT_TRUE(CORBA::is_nil(interceptor_of(key)));
  const QZ_LocatorInternal::ActiveORBRegistry_var table = host().locator().active_orb_registry();
  EXPECT_EQ(table->number_of_entries(), 0u);
  PortableServer::POA_var poa;
  EXPECT_THROW(poa = host().parent_poa_nc()->find_POA("POALocator", false), PortableServer::POA::AdapterNonExistent);
}

TEST_F(CoreTest, TheCoreEndsOnlyWhenNobodyIsInsideAnyMore) {
  start();
  const std::shared_ptr<Gate> gate = core().impl_gate();
  auto inside = std::make_unique<GatePass>(gate);
  ASSERT_TRUE(*inside);
  stop_host();
  core().impl_shutdown();
  std::atomic<bool> ended{false};
  std::jthread end([&] {
    m_core = {};
    ended = true;
  });
  ASSERT_TRUE(support::wait_until([&] { return !GatePass(gate); }));
  EXPECT_FALSE(ended);
  inside.reset();
  end.join();
  EXPECT_TRUE(ended);
}

TEST_F(CoreTest, GivesItsServices) {
  start();
  EXPECT_FALSE(CORBA::is_nil(core().impl_service_control_manager_nc()));
  EXPECT_FALSE(CORBA::is_nil(core().impl_locator_nc()));
  EXPECT_FALSE(CORBA::is_nil(core().impl_event_log()));
  EXPECT_FALSE(CORBA::is_nil(core().impl_session_manager_nc()));
  EXPECT_FALSE(CORBA::is_nil(core().impl_poa_current_nc()));
  EXPECT_FALSE(CORBA::is_nil(core().impl_tx_current_nc()));
  EXPECT_FALSE(CORBA::is_nil(core().impl_config_nc()));
  EXPECT_STREQ(CORBA::String_var(core().impl_poa_active_orb_poa_nc()->the_name()), "QZ_POALocatorAdmin::POAActiveORB");
  EXPECT_STREQ(CORBA::String_var(core().impl_active_endpoint_poa_nc()->the_name()), "QZ_POALocatorAdmin::ActivePOA");
  EXPECT_EQ(core().impl_probe_time_limit(), 2000u);
  EXPECT_EQ(core().impl_activate_time_limit(), 30000u);
}

TEST_F(CoreTest, TakesItsTimeLimitsFromTheConfiguration) {
  config().set("orb_endpoint", "probe_time_limit", "0.25");
  config().set("orb_endpoint", "activate_time_limit", "7");
  start();
  EXPECT_EQ(core().impl_probe_time_limit(), 250u);
  EXPECT_EQ(core().impl_activate_time_limit(), 7000u);
}

}  // namespace
