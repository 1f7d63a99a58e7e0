// A locator as one would write it on an ORB's public interface: a servant locator that looks the key up in a table and
// raises a forward.
#include <omniORB4/CORBA.h>

#include <CLI/CLI.hpp>
#include <iostream>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <unordered_map>

namespace {

class Forwarder : public POA_PortableServer::ServantLocator {
 public:
  void add(const std::string& id, CORBA::Object_ptr target) {
    const std::unique_lock lock(m_mutex);
    m_targets[id] = CORBA::Object::_duplicate(target);
  }

  PortableServer::Servant preinvoke(const PortableServer::ObjectId& id, PortableServer::POA_ptr, const char*,
                                    PortableServer::ServantLocator::Cookie&) override {
    const std::string key(reinterpret_cast<const char*>(id.get_buffer()), id.length());
    const std::shared_lock lock(m_mutex);
    const auto found = m_targets.find(key);
    if (found == m_targets.end()) throw CORBA::OBJECT_NOT_EXIST(0, CORBA::COMPLETED_NO);
    throw PortableServer::ForwardRequest(found->second);
  }

  void postinvoke(const PortableServer::ObjectId&, PortableServer::POA_ptr, const char*,
                  PortableServer::ServantLocator::Cookie, PortableServer::Servant) override {}

 private:
  std::shared_mutex m_mutex;  // guards m_targets
  std::unordered_map<std::string, CORBA::Object_var> m_targets;
};

// Requests of different connections run at the same time: the default thread policy.
PortableServer::POA_ptr make_poa(PortableServer::POA_ptr root) {
  CORBA::PolicyList policies;
  policies.length(4);
  policies[0] = root->create_lifespan_policy(PortableServer::PERSISTENT);
  policies[1] = root->create_id_assignment_policy(PortableServer::USER_ID);
  policies[2] = root->create_servant_retention_policy(PortableServer::NON_RETAIN);
  policies[3] = root->create_request_processing_policy(PortableServer::USE_SERVANT_MANAGER);
  const PortableServer::POAManager_var manager = root->the_POAManager();
  return root->create_POA("forwards", manager, policies);
}

void serve(CORBA::ORB_ptr orb, const std::string& id, const std::string& target) {
  const CORBA::Object_var object = orb->resolve_initial_references("RootPOA");
  const PortableServer::POA_var root = PortableServer::POA::_narrow(object);
  const PortableServer::POA_var poa = make_poa(root);

  auto* const forwarder = new Forwarder;
  const PortableServer::ServantBase_var owner(forwarder);
  const CORBA::Object_var target_object = orb->string_to_object(target.c_str());
  forwarder->add(id, target_object);
  const PortableServer::ServantLocator_var manager = forwarder->_this();
  poa->set_servant_manager(manager);

  const PortableServer::POAManager_var state = root->the_POAManager();
  state->activate();
  const PortableServer::ObjectId_var object_id = PortableServer::string_to_ObjectId(id.c_str());
  const CORBA::Object_var reference = poa->create_reference_with_id(object_id, "IDL:omg.org/CORBA/Object:1.0");
  const CORBA::String_var ior = orb->object_to_string(reference);
  std::cout << ior.in() << std::endl;
  orb->run();
}

}  // namespace

int main(int argc, char** argv) {
  std::string endpoint;
  std::string id;
  std::string target;
  CLI::App app("Forwards requests for one object; prints that object's IOR when it is ready.");
  app.add_option("--listen", endpoint, "HOST:PORT")->required();
  app.add_option("--id", id, "Object id")->required();
  app.add_option("--target", target, "Reference that requests are forwarded to")->required();
  CLI11_PARSE(app, argc, argv);
  try {
    const std::string omni_endpoint = "giop:tcp:" + endpoint;
    const char* options[][2] = {{"endPoint", omni_endpoint.c_str()}, {nullptr, nullptr}};
    int no_arguments = 0;
    const CORBA::ORB_var orb = CORBA::ORB_init(no_arguments, nullptr, "", options);
    serve(orb, id, target);
  } catch (const CORBA::Exception& exception) {
    std::cerr << "naive_forwarder: CORBA exception " << exception._name() << std::endl;
    return 1;
  }
}
