// The plug-in as the host sees it, from its library's loading on.
#include <gmock/gmock.h>

#include "platform/base/plugin_manager.h"
#include "platform/base/qz_shlib_init.h"
#include "poa_locator/plugin/poa_loc_pi.h"
#include "tests/unit/poa_locator/active_fixture.h"

namespace {

using testing::ElementsAre;

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

  const RefCountHandle<RecordingSupervisor> m_supervisor{new RecordingSupervisor};
};

TEST_F(PluginTest, LoadingTheLibraryAnnouncesThePlugIn) {
  EXPECT_STREQ(CORBA::String_var(plug_in().name()), "poa_locator");
}

TEST_F(PluginTest, ItsNameIsANewCopyEachTimeAndItsTypeIsAlwaysOne) {
  EXPECT_EQ(plug_in().type(), 1);
  start_host();
  initialize();
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

TEST_F(PluginTest, CleanupBeforeInitializeOnlyReports) {
  EXPECT_NO_THROW(plug_in().cleanup());
  m_supervisor->_qz_add_ref();
  plug_in().m_service_control_manager = m_supervisor.get();
  plug_in().cleanup();
  EXPECT_THAT(m_supervisor->m_codes, ElementsAre(3));
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
}

TEST_F(PluginTest, ASecondCleanupOnlyReports) {
  start_host();
  initialize();
  plug_in().cleanup();
  EXPECT_EQ(plug_in().m_locator_impl, nullptr);
  plug_in().cleanup();
  EXPECT_THAT(m_supervisor->m_codes, ElementsAre(0, 3, 3));
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

// A host whose ORB has no initial references but the standard's own.
class BareHost : public virtual QZ_LocatorInternal::Locator, public QZ_CORBA::RefCountedLocalObject {
 public:
  explicit BareHost(CORBA::ORB_ptr orb) : m_orb(CORBA::ORB::_duplicate(orb)) {}
  CORBA::ORB_ptr _qz_get_orb() override { return CORBA::ORB::_duplicate(m_orb); }
  char* domain_name() override { return CORBA::string_dup("bare"); }
  QZ_IMRInternal::IMR_ptr imr() override { throw CORBA::NO_IMPLEMENT(); }
  QZ_LocatorInternal::ActiveORBRegistry_ptr active_orb_registry() override { throw CORBA::NO_IMPLEMENT(); }
  QZ_LocatorInternal::ActiveProcessRegistry_ptr active_process_registry() override { throw CORBA::NO_IMPLEMENT(); }
  QZ_LocatorInternal::OALocatorRegistry_ptr oa_locator_registry() override { throw CORBA::NO_IMPLEMENT(); }
  void make_known(const char*, CORBA::Object_ptr, CORBA::Long) override { throw CORBA::NO_IMPLEMENT(); }

 private:
  const CORBA::ORB_var m_orb;
};

TEST_F(PluginTest, AMissingInitialReferenceFailsTheStart) {
  int argc = 0;
  const CORBA::ORB_var orb = CORBA::ORB_init(argc, nullptr);
  const QZ_LocatorInternal::Locator_var bare = new BareHost(orb);
  EXPECT_THROW(POALocatorImpl(m_supervisor.get(), bare, PortableServer::POA::_nil(), QZ_PSS::SessionManager::_nil()),
               CORBA::ORB::InvalidName);
  EXPECT_THROW(
      plug_in().initialize(m_supervisor.get(), bare, PortableServer::POA::_nil(), QZ_PSS::SessionManager::_nil()),
      CORBA::ORB::InvalidName);
  EXPECT_EQ(plug_in().m_locator_impl, nullptr);
  plug_in().cleanup();
  EXPECT_THAT(m_supervisor->m_codes, ElementsAre(0, 3));
  orb->destroy();
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
  const QZ_Binding::ServerBinding_var taken = host().binding_manager().register_interceptor(
      octet_seq(prefix), nobody, QZ_Binding::DISPATCH_WORKER, QZ_IOR::IOREndpoint::_nil());
  EXPECT_THROW(initialize(), CORBA::BAD_INV_ORDER);
  EXPECT_STREQ(CORBA::String_var(interceptor_of(key)->name()), "nobody");
  const QZ_LocatorInternal::ActiveORBRegistry_var table = host().locator().active_orb_registry();
  EXPECT_EQ(table->number_of_entries(), 0u);
  taken->destroy();
  EXPECT_NO_THROW(initialize());
  EXPECT_EQ(table->number_of_entries(), 1u);
}

}  // namespace
