// The process's ORB, and a servant that answers any operation.
#pragma once

#include <omniORB4/CORBA.h>

#include <atomic>

namespace test {

inline CORBA::ORB_ptr orb() {
  static const CORBA::ORB_var the_orb = [] {
    const char* options[][2] = {{"endPoint", "giop:tcp:127.0.0.1:"}, {nullptr, nullptr}};
    int argc = 0;
    return CORBA::ORB_init(argc, nullptr, "omniORB4", options);
  }();
  return the_orb;
}

inline PortableServer::POA_ptr root_poa() {
  static const PortableServer::POA_var poa = [] {
    CORBA::Object_var object = orb()->resolve_initial_references("RootPOA");
    PortableServer::POA_var root = PortableServer::POA::_narrow(object);
    PortableServer::POAManager_var manager = root->the_POAManager();
    manager->activate();
    return root;
  }();
  return poa;
}

// "size" returns how many octets its argument has.
class SizeServant : public PortableServer::DynamicImplementation {
 public:
  void invoke(CORBA::ServerRequest_ptr request) override {
    CORBA::NVList_ptr arguments;
    orb()->create_list(0, arguments);
    CORBA::Any value;
    value.replace(CORBA::_tc_OctetSeq, nullptr);
    arguments->add_value("data", value, CORBA::ARG_IN);
    request->arguments(arguments);
    const CORBA::OctetSeq* data = nullptr;
    CORBA::Any result;
    if (*arguments->item(0)->value() >>= data) result <<= data->length();
    request->set_result(result);
    ++calls;
  }
  char* _primary_interface(const PortableServer::ObjectId&, PortableServer::POA_ptr) override {
    return CORBA::string_dup("IDL:Test/Size:1.0");
  }
  CORBA::Boolean _is_a(const char*) override { return true; }

  std::atomic<int> calls{0};
};

}  // namespace test
