// The plug-in's life, and what its core builds.
#include <gmock/gmock.h>

#include <thread>

#include "platform/base/plugin_manager.h"
#include "platform/base/qz_shlib_init.h"
#include "platform/orb/vendor_policy.h"
#include "poa_locator/plugin/gate_pass.h"
#include "poa_locator/plugin/poa_loc_pi.h"
#include "tests/unit/poa_locator/active_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class RecordingSupervisor : public virtual QZ_AppServices::ServiceControlManager,
                            public QZ_CORBA::RefCountedLocalObject {
 public:
  void status(CORBA::Long code) override { m_codes.push_back(code); }
  std::vector<CORBA::Long> m_codes;
};

// The one that loading the library has made.
QZ_POALocPlugIn& plug_in() {
  const QZ_PlugIn::PlugInManager_var manager = QZ_PlugIn::plugin_manager();
  const QZ_PlugIn::PlugIn_var found = manager->find("poa_locator");
  return dynamic_cast<QZ_POALocPlugIn&>(*found.in());
}

class PluginTest : public ActiveFixture {
 protected:
  ~PluginTest() override {
    plug_in().cleanup();
    plug_in().m_service_control_manager = QZ_AppServices::ServiceControlManager::_nil();
  }
  void initialize() {
    plug_in().initialize(m_supervisor.get(), &host().locator(), host().parent_poa_nc(), session_manager());
  }
  QZ_LocatorInternal::OALocatorRegistry_var host_locators() { return host().locator().oa_locator_registry(); }

  const RefCountHandle<RecordingSupervisor> m_supervisor{new RecordingSupervisor};
};

TEST_F(PluginTest, LoadingTheLibraryAnnouncesThePlugIn) {
  EXPECT_EQ(plug_in().type(), 1);
  const CORBA::String_var first = plug_in().name();
  const CORBA::String_var second = plug_in().name();
  EXPECT_STREQ(first, "poa_locator");
  EXPECT_STREQ(second, "poa_locator");
  EXPECT_NE(first.in(), second.in());
}

TEST_F(PluginTest, ASecondPlugInOfTheSameNameIsRefused) {
  EXPECT_THROW(QZ_POALocPlugIn(), CORBA::BAD_PARAM);
  EXPECT_EQ(plug_in().type(), 1);
}

TEST_F(PluginTest, TheLibraryDeclaresWhatItIsAndNeeds) {
  const auto all = QZ_Shlib_Init::declared();
  const auto found =
      std::find_if(all.begin(), all.end(), [](const auto& one) { return one.description == "qz_poa_location_loc"; });
  ASSERT_NE(found, all.end());
  EXPECT_EQ(found->version, "3");
  std::vector<std::string> names;
  for (const auto& dependency : found->dependencies) {
    names.push_back(dependency.name);
    EXPECT_EQ(dependency.version, "3");
    EXPECT_EQ(dependency.word, dependency.name == "qz_kolm" ? 0x10201u : 0x201u);
  }
  EXPECT_THAT(names, ElementsAre("qz_app_svc", "qz_poa_location", "qz_location", "qz_location_psk", "qz_locator_svr",
                                 "qz_pss", "qz_ots", "qz_poa", "qz_bram", "qz_kolm"));
}

TEST_F(PluginTest, CleanupBeforeInitializeDoesNothing) {
  EXPECT_NO_THROW(plug_in().cleanup());
  EXPECT_THROW(plug_in().validate_persistent_data(), CORBA::BAD_INV_ORDER);
}

TEST_F(PluginTest, ReportsEveryStepOfItsLife) {
  start_host();
  initialize();
  EXPECT_THAT(m_supervisor->m_codes, ElementsAre(0));
  plug_in().validate_persistent_data();
  EXPECT_THAT(m_supervisor->m_codes, ElementsAre(0, 0));
  plug_in().cleanup();
  EXPECT_THAT(m_supervisor->m_codes, ElementsAre(0, 0, 3));
  plug_in().cleanup();
  EXPECT_THAT(m_supervisor->m_codes, ElementsAre(0, 0, 3, 3));
}

TEST_F(PluginTest, ValidationReportsItsProgressForEachEndpoint) {
  start();
  add({"Runs"}, "orb");
  endpoints().create(core(), *id_of({"Idle"}), "orb");
  stop();
  start_host();
  initialize();
  m_supervisor->m_codes.clear();
  plug_in().validate_persistent_data();
  // Itself, each of two, and the one that it destroys.
  EXPECT_THAT(m_supervisor->m_codes, ElementsAre(0, 0, 0, 0));
}

TEST_F(PluginTest, ASecondCoreIsRefusedAndTheFirstStays) {
  start_host();
  initialize();
  EXPECT_THROW(initialize(), CORBA::BAD_INV_ORDER);
  EXPECT_NE(plug_in().m_locator_impl, nullptr);
}

TEST_F(PluginTest, CanBeInitializedAgainAfterCleanup) {
  start_host();
  initialize();
  plug_in().cleanup();
  EXPECT_NO_THROW(initialize());
}

TEST_F(PluginTest, AFailedInitializationLeavesNothingAndCleanupOnlyReports) {
  start_host();
  const PortableServer::POA_var in_the_way =
      host().parent_poa_nc()->create_POA("POALocator", PortableServer::POAManager::_nil(), CORBA::PolicyList());
  EXPECT_THROW(initialize(), PortableServer::POA::AdapterAlreadyExists);
  EXPECT_EQ(plug_in().m_locator_impl, nullptr);
  plug_in().cleanup();
  EXPECT_THAT(m_supervisor->m_codes, ElementsAre(0, 3));
  in_the_way->destroy(true, true);
  EXPECT_NO_THROW(initialize());
}

TEST_F(PluginTest, AFailureAtTheEndOfTheStartUndoesWhatWasDone) {
  start();
  add({"Bank"}, "orb");
  stop();
  start_host();
  // The domain's prefix is taken, which is the last thing that the core asks for.
  const std::string key = key_of({"Bank"}, "");
  class Nobody : public virtual QZ_Binding::ServerRequestInterceptor, public QZ_CORBA::RefCountedLocalObject {
   public:
    char* name() override { return CORBA::string_dup("nobody"); }
    QZ_Binding::ServerRequestInterceptor_ptr next_interceptor() override { return nullptr; }
    void invoke(QZ_Binding::ServerRequestData_ptr, QZ_Binding::ServerRequestCallback_ptr) override {}
    void locate(QZ_Binding::ServerLocateRequestData_ptr, QZ_Binding::ServerRequestCallback_ptr) override {}
  };
  const QZ_Binding::ServerRequestInterceptor_var nobody = new Nobody;
  const std::string prefix = key.substr(0, 4 + 2 + 4 + std::string(DOMAIN_NAME).size());
  const QZ_Binding::ServerBinding_var taken =
      host().binding_manager().register_interceptor(octet_seq(prefix), nobody, QZ_Binding::DISPATCH_WORKER);
  EXPECT_THROW(initialize(), CORBA::BAD_INV_ORDER);
  EXPECT_STREQ(CORBA::String_var(interceptor_of(key)->name()), "nobody");
  const QZ_LocatorInternal::ActiveORBRegistry_var table = host().locator().active_orb_registry();
  EXPECT_EQ(table->number_of_entries(), 0u);
  taken->destroy();
  EXPECT_NO_THROW(initialize());
  EXPECT_EQ(table->number_of_entries(), 1u);
}

TEST_F(PluginTest, TheCoreIsKnownToTheHostUnderItsName) {
  start();
  EXPECT_STREQ(CORBA::String_var(core().name()), "POALocator");
  EXPECT_THROW(host_locators()->register_locator("POALocator", &core()), CORBA::BAD_PARAM);
  core().impl_shutdown();
  EXPECT_NO_THROW(host_locators()->register_locator("POALocator", &core()));
  host_locators()->unregister_locator("POALocator");
}

TEST_F(PluginTest, TheCoresPoaIsACalledPOALocatorWithTheParentsManager) {
  start();
  EXPECT_STREQ(CORBA::String_var(core().impl_poa_nc()->the_name()), "POALocator");
  const PortableServer::POAManager_var own = core().impl_poa_nc()->the_POAManager();
  const PortableServer::POAManager_var parents = host().parent_poa_nc()->the_POAManager();
  EXPECT_EQ(own->get_state(), parents->get_state());
  parents->hold_requests(false);
  EXPECT_EQ(own->get_state(), PortableServer::POAManager::HOLDING);
  parents->activate();
}

TEST_F(PluginTest, TheCoresPoaHasSevenPoliciesInOrder) {
  start_host();
  const CORBA::PolicyList policies = POALocatorImpl::poa_policies(orb());
  std::vector<CORBA::PolicyType> types;
  for (CORBA::ULong i = 0; i < policies.length(); ++i) types.push_back(policies[i]->policy_type());
  EXPECT_THAT(types, ElementsAre(PortableServer::LIFESPAN_POLICY_ID, PortableServer::ID_ASSIGNMENT_POLICY_ID,
                                 PortableServer::SERVANT_RETENTION_POLICY_ID, PortableServer::THREAD_POLICY_ID,
                                 0x515A5F42u, 0x515A5F50u, 36u));
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

TEST_F(PluginTest, RestoresOrbsBeforeEndpoints) {
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

TEST_F(PluginTest, ShutdownWithdrawsItFromTheHostAndLeavesItsState) {
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

TEST_F(PluginTest, TheEndOfTheCoreLeavesNothingWithTheHost) {
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

TEST_F(PluginTest, TheCoreEndsOnlyWhenNobodyIsInsideAnyMore) {
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

TEST_F(PluginTest, GivesItsServices) {
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

TEST_F(PluginTest, TakesItsTimeLimitsFromTheConfiguration) {
  config().set("orb_endpoint", "probe_time_limit", "0.25");
  config().set("orb_endpoint", "activate_time_limit", "7");
  start();
  EXPECT_EQ(core().impl_probe_time_limit(), 250u);
  EXPECT_EQ(core().impl_activate_time_limit(), 7000u);
}

}  // namespace
