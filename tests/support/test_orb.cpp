#include "tests/support/test_orb.h"

#include <gtest/gtest.h>

namespace {

CORBA::ORB_var the_orb;
PortableServer::POA_var the_root_poa;
PortableServer::POA_var the_named_poa;

PortableServer::POA_ptr activated(const char* name) {
  CORBA::Object_var object = the_orb->resolve_initial_references(name);
  PortableServer::POA_var poa = PortableServer::POA::_narrow(object);
  PortableServer::POAManager_var manager = poa->the_POAManager();
  manager->activate();
  return poa._retn();
}

class OrbEnvironment : public ::testing::Environment {
 public:
  void TearDown() override {
    the_root_poa = PortableServer::POA::_nil();
    the_named_poa = PortableServer::POA::_nil();
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
    the_root_poa = activated("RootPOA");
  }
  return the_orb;
}

PortableServer::POA_ptr root_poa() {
  orb();
  return the_root_poa;
}

PortableServer::POA_ptr named_poa() {
  orb();
  if (CORBA::is_nil(the_named_poa)) the_named_poa = activated("omniINSPOA");
  return the_named_poa;
}

std::string url() {
  CORBA::Object_var object = root_poa()->create_reference("IDL:Any:1.0");
  cdrMemoryStream stream;
  CORBA::Object::_marshalObjRef(object, stream);
  IOP::IOR ior;
  ior <<= stream;
  IIOP::ProfileBody body;
  IIOP::unmarshalProfile(ior.profiles[0], body);
  return "corbaloc::127.0.0.1:" + std::to_string(body.address.port);
}

}  // namespace test_orb
