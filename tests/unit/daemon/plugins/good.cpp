// A locator plug-in that notes in a file what is called on it, as it shares no code with its test.
#include <cstdlib>
#include <fstream>
#include <string>

#include "platform/base/plugin_manager.h"
#include "platform/base/qz_shlib_init.h"
#include "platform/idl/oa_locator_plugin.h"

namespace {

const QZ_Shlib_Dependency DEPENDENCIES[] = {{"qz_poa", "3", 0x201}, {"qz_kolm", "3", 0x10201}, {nullptr, nullptr, 0}};
const QZ_Shlib_Init INIT("test_plugin_good", "3", DEPENDENCIES, QZ_global_exception_handler());

void note(const std::string& call) {
  if (const char* file = std::getenv("TEST_PLUGIN_CALLS_FILE")) std::ofstream(file, std::ios::app) << call << ';';
}

class GoodPlugin : public virtual QZ_LocationPlugIn::OALocatorPlugIn, public virtual CORBA::LocalObject {
 public:
  GoodPlugin() {
    const QZ_PlugIn::PlugInManager_var manager = QZ_PlugIn::plugin_manager();
    manager->register_plugin(this);
  }
  ~GoodPlugin() override {
    const QZ_PlugIn::PlugInManager_var manager = QZ_PlugIn::plugin_manager();
    manager->unregister_plugin("test_good");
  }

  CORBA::Long type() override { return 1; }
  char* name() override { return CORBA::string_dup("test_good"); }
  void initialize(QZ_AppServices::ServiceControlManager_ptr scm, QZ_LocatorInternal::Locator_ptr locator,
                  PortableServer::POA_ptr parent_poa, QZ_PSS::SessionManager_ptr session_manager) override {
    const CORBA::String_var domain = locator->domain_name();
    const bool complete = !CORBA::is_nil(scm) && !CORBA::is_nil(parent_poa) && !CORBA::is_nil(session_manager);
    note(std::string("initialize ") + domain.in() + (complete ? "" : " incomplete"));
    if (std::getenv("TEST_PLUGIN_FAILS")) throw CORBA::INITIALIZE(0x515A0C00, CORBA::COMPLETED_NO);
  }
  void validate_persistent_data() override { note("validate"); }
  void cleanup() override { note("cleanup"); }
};

GoodPlugin plugin;

}  // namespace
