#include "tests/unit/platform/orb/test_orb.h"

#include <gtest/gtest.h>

// omniORB loses the profiles of a reference that it refuses while it unmarshals it.
extern "C" const char* __lsan_default_suppressions() { return "leak:omniObjRef::_unMarshal\n"; }

namespace {

CORBA::ORB_var the_orb;
PortableServer::POA_var the_root_poa;

class OrbEnvironment : public ::testing::Environment {
 public:
  void TearDown() override {
    the_root_poa = PortableServer::POA::_nil();
    if (!CORBA::is_nil(the_orb)) the_orb->destroy();
    the_orb = CORBA::ORB::_nil();
  }
};

[[maybe_unused]] const auto* const environment = ::testing::AddGlobalTestEnvironment(new OrbEnvironment);

}  // namespace

namespace test_orb {

CORBA::ORB_ptr orb() {
  if (CORBA::is_nil(the_orb)) {
    int argc = 0;
    const char* options[][2] = {{"endPoint", "giop:tcp:127.0.0.1:"}, {nullptr, nullptr}};
    the_orb = CORBA::ORB_init(argc, nullptr, "omniORB4", options);
    CORBA::Object_var object = the_orb->resolve_initial_references("RootPOA");
    the_root_poa = PortableServer::POA::_narrow(object);
    PortableServer::POAManager_var manager = the_root_poa->the_POAManager();
    manager->activate();
  }
  return the_orb;
}

PortableServer::POA_ptr root_poa() {
  orb();
  return the_root_poa;
}

}  // namespace test_orb
