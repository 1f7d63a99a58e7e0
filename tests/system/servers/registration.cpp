#include "tests/system/servers/registration.h"

#include <unistd.h>

#include <algorithm>
#include <probe.hh>
#include <vector>

#include "tests/support/files.h"
#include "tests/support/object_key.h"
#include "tests/support/wait.h"

using namespace QZ_POA_PersistentServer;

namespace {

constexpr std::chrono::minutes RELEASE_LIMIT(3);

class ProbeImpl : public POA_SystemTest::Probe {
 public:
  ProbeImpl(CORBA::ORB_ptr orb, std::string path, bool crash_on_call)
      : m_path(std::move(path)), m_crash_on_call(crash_on_call) {
    CORBA::Object_var object = orb->resolve_initial_references("POACurrent");
    m_current = PortableServer::Current::_narrow(object);
  }

  char* whoami() override {
    if (m_crash_on_call) _exit(9);
    PortableServer::ObjectId_var id = m_current->get_object_id();
    CORBA::String_var object = PortableServer::ObjectId_to_string(id);
    return CORBA::string_dup((m_path + ":" + object.in()).c_str());
  }
  CORBA::ULong pid() override { return static_cast<CORBA::ULong>(getpid()); }
  char* echo(const char* text) override { return CORBA::string_dup(text); }
  CORBA::ULongLong count_octets(const CORBA::OctetSeq& data) override { return data.length(); }
  void notify(const char* /*text*/) override {}

 private:
  std::string m_path;
  bool m_crash_on_call;
  PortableServer::Current_var m_current;
};

class DynamicStateImpl : public POA_QZ_POA_PersistentServer::EndpointDynamicState {};

class ActivatorImpl : public POA_QZ_POA_PersistentServer::EndpointActivator {
 public:
  ActivatorImpl(Registration& registration, const TestServerOptions& options)
      : m_registration(registration), m_options(options) {}

  void activate(const EndpointIdList& ids) override {
    std::vector<std::string> paths;
    std::string line;
    for (CORBA::ULong i = 0; i < ids.length(); ++i) {
      paths.push_back(support::path_of({ids[i].get_buffer(), ids[i].get_buffer() + ids[i].length()}));
      line += (i == 0 ? "" : " ") + paths.back();
    }
    if (!m_options.activations.empty()) support::append_line(m_options.activations, line);
    if (m_options.activator == "nonexistent") throw QZ_POA_PersistentServer::EndpointActivator::EndpointNonExistent();
    if (m_options.activator == "system-exception") throw CORBA::NO_RESOURCES(7, CORBA::COMPLETED_NO);
    if (m_options.activator == "exit") _exit(3);
    if (m_options.activator == "hang") {
      support::wait_until([this] { return support::file_exists(m_options.release); }, RELEASE_LIMIT);
    }
    for (const std::string& path : paths) m_registration.add(path);
  }

 private:
  Registration& m_registration;
  const TestServerOptions& m_options;
};

template <typename Interface>
typename Interface::_var_type serve(PortableServer::POA_ptr poa, PortableServer::ServantBase* servant) {
  PortableServer::ServantBase_var release(servant);
  PortableServer::ObjectId_var id = poa->activate_object(servant);
  CORBA::Object_var object = poa->id_to_reference(id);
  return Interface::_unchecked_narrow(object);
}

}  // namespace

Registration::Registration(CORBA::ORB_ptr orb, const TestServerOptions& options) : m_orb(orb), m_options(options) {
  CORBA::Object_var object = orb->resolve_initial_references("RootPOA");
  m_root = PortableServer::POA::_narrow(object);
  PortableServer::POAManager_var manager = m_root->the_POAManager();
  manager->activate();
}

template <typename Interface>
typename Interface::_var_type Registration::resolve(const char* name) const {
  const std::string url = "corbaloc::" + m_options.locator + "/" + name;
  CORBA::Object_var object = m_orb->string_to_object(url.c_str());
  return Interface::_narrow(object);
}

CORBA::OctetSeq Registration::id_of(const std::string& path) const {
  const support::Octets octets = support::endpoint_id(m_options.domain, support::split_path(path));
  CORBA::OctetSeq id;
  id.length(static_cast<CORBA::ULong>(octets.size()));
  std::copy(octets.begin(), octets.end(), id.get_buffer());
  return id;
}

CORBA::Object_var Registration::prototype_of(const std::string& path) {
  CORBA::PolicyList policies;
  policies.length(4);
  policies[0] = m_root->create_lifespan_policy(PortableServer::PERSISTENT);
  policies[1] = m_root->create_id_assignment_policy(PortableServer::USER_ID);
  policies[2] = m_root->create_id_uniqueness_policy(PortableServer::MULTIPLE_ID);
  policies[3] = m_root->create_request_processing_policy(PortableServer::USE_DEFAULT_SERVANT);
  PortableServer::POAManager_var manager = m_root->the_POAManager();
  PortableServer::POA_var poa = m_root->create_POA(path.c_str(), manager, policies);
  PortableServer::ServantBase_var servant(new ProbeImpl(m_orb, path, m_options.crash_on_call));
  poa->set_servant(servant);
  return poa->create_reference_with_id(PortableServer::ObjectId(), SystemTest::Probe::_PD_repoId);
}

void Registration::add(const std::string& path) {
  const std::scoped_lock lock(m_mutex);
  if (!m_paths.insert(path).second) return;
  const CORBA::Object_var prototype = prototype_of(path);
  const EndpointDynamicState_var state = serve<EndpointDynamicState>(m_root, new DynamicStateImpl);
  CORBA::Object_var locator_reference;
  CORBA::ULong number = 0;
  resolve<EndpointRegistry>(POA_REGISTRY)
      ->add(m_options.orb.c_str(), id_of(path), prototype, state, locator_reference.out(), number);
}

void Registration::add_activator() {
  const EndpointActivator_var activator = serve<EndpointActivator>(m_root, new ActivatorImpl(*this, m_options));
  EndpointIdList_var ids;
  resolve<EndpointActivatorRegistry>(POA_ACTIVATOR_REGISTRY)->add(m_options.orb.c_str(), activator, ids.out());
  m_has_activator = true;
}

void Registration::leave() {
  const std::scoped_lock lock(m_mutex);
  for (const std::string& path : m_paths) {
    resolve<EndpointRegistry>(POA_REGISTRY)->remove(m_options.orb.c_str(), id_of(path));
  }
  m_paths.clear();
  if (m_has_activator) resolve<EndpointActivatorRegistry>(POA_ACTIVATOR_REGISTRY)->remove(m_options.orb.c_str());
}
