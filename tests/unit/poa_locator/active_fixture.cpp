#include "tests/unit/poa_locator/active_fixture.h"

#include <unistd.h>

#include "platform/orb/ior_endpoint_impl.h"
#include "platform/pss/result_set.h"
#include "platform/pss/statement.h"
#include "poa_locator/idl/home_configuration.h"
#include "tests/support/files.h"
#include "tests/support/loopback.h"

using QZ_POA_PersistentServer::EndpointActivator;
using QZ_POA_PersistentServer::EndpointActivator_var;
using QZ_POA_PersistentServer::EndpointDynamicState;
using QZ_POA_PersistentServer::EndpointDynamicState_var;

namespace {

// Nobody listens there.
constexpr std::uint16_t DEAD_PORT = 1;

QZ_IOR::IOREndpoint_var address(const std::string& key_prefix) {
  const std::span prefix(reinterpret_cast<const unsigned char*>(key_prefix.data()), key_prefix.size());
  return QZ_IOR::IOREndpointImpl::of_addresses({{support::own_address(), DEAD_PORT}}, prefix);
}

class Nobody : public virtual QZ_Binding::ServerRequestInterceptor, public QZ_CORBA::RefCountedLocalObject {
 public:
  char* name() override { return CORBA::string_dup("nobody"); }
  QZ_Binding::ServerRequestInterceptor_ptr next_interceptor() override { return nullptr; }
  void invoke(QZ_Binding::ServerRequestData_ptr, QZ_Binding::ServerRequestCallback_ptr) override {}
  void locate(QZ_Binding::ServerLocateRequestData_ptr, QZ_Binding::ServerRequestCallback_ptr) override {}
};

}  // namespace

void TestActivator::activate(const QZ_POA_PersistentServer::EndpointIdList& ids) {
  std::vector<Names> names;
  for (CORBA::ULong i = 0; i < ids.length(); ++i) names.push_back(names_of(ids[i]));
  {
    const std::lock_guard lock(m_mutex);
    m_calls.push_back(names);
  }
  m_function(names);
}

std::vector<std::vector<Names>> TestActivator::calls() const {
  const std::lock_guard lock(m_mutex);
  return m_calls;
}

ActiveFixture::ActiveFixture() = default;

ActiveFixture::~ActiveFixture() {
  for (const std::string& process : m_processes) end_process(process);
  stop();
}

void ActiveFixture::live(CORBA::Object_ptr reference) {
  const std::lock_guard lock(m_mutex);
  m_living.emplace_back(CORBA::Object::_duplicate(reference));
}

void ActiveFixture::end_all() {
  for (;;) {
    CORBA::Object_var one;
    {
      const std::lock_guard lock(m_mutex);
      if (m_living.empty()) return;
      one = m_living.back();
    }
    die(one);
  }
}

void ActiveFixture::stop() {
  end_all();
  PluginFixture::stop();
}

void ActiveFixture::stop_host() {
  end_all();
  host().stop();
}

Endpoint ActiveFixture::add_entry(const Names& names, const std::string& orb_name) {
  Endpoint entry = registry().root();
  for (const std::string& name : names) {
    const Endpoint present = entry.lookup(name.c_str());
    entry = present.is_null() ? entry.add(name.c_str(), true, true, orb_name.c_str()) : present;
  }
  return entry;
}

EndpointDynamicState_var ActiveFixture::make_state() {
  PortableServer::Servant_var<TestDynamicState> servant(new TestDynamicState);
  EndpointDynamicState_var reference = servant->_this();
  live(reference);
  return reference;
}

EndpointActivator_var ActiveFixture::make_activator(TestActivator*& servant, TestActivator::Function function) {
  servant = function ? new TestActivator(std::move(function)) : new TestActivator;
  PortableServer::Servant_var<TestActivator> owned(servant);
  EndpointActivator_var reference = owned->_this();
  live(reference);
  return reference;
}

void ActiveFixture::die(CORBA::Object_ptr reference) {
  const CORBA::Object_var object = orb()->resolve_initial_references("RootPOA");
  const PortableServer::POA_var root = PortableServer::POA::_narrow(object);
  const PortableServer::ObjectId_var id = root->reference_to_id(reference);
  root->deactivate_object(id);
  const std::lock_guard lock(m_mutex);
  std::erase_if(m_living, [&](const CORBA::Object_var& one) { return one->_is_equivalent(reference); });
}

CORBA::Object_var ActiveFixture::prototype(const std::string& key) {
  const QZ_IOR::IOR_var ior = address(key)->make_ior(CORBA::OctetSeq(), "");
  return host().binding_manager().ior_to_object(ior);
}

EndpointDynamicState_var ActiveFixture::dead_state() {
  const CORBA::Object_var object = prototype("dead state");
  return EndpointDynamicState::_unchecked_narrow(object);
}

EndpointActivator_var ActiveFixture::dead_activator() {
  const CORBA::Object_var object = prototype("dead activator");
  return EndpointActivator::_unchecked_narrow(object);
}

std::string ActiveFixture::server_key(const Names& names) {
  std::string key = "server:";
  for (const std::string& name : names) key += name + "/";
  return key;
}

QZ_POA_PersistentServer::EndpointRegistry_var ActiveFixture::server_registry() {
  const CORBA::Object_var object = known(QZ_POA_PersistentServer::POA_REGISTRY, QZ_LocatorInternal::ROLE_SERVER);
  return QZ_POA_PersistentServer::EndpointRegistry::_narrow(object);
}

QZ_POA_PersistentServer::EndpointActivatorRegistry_var ActiveFixture::activator_registry() {
  const CORBA::Object_var object =
      known(QZ_POA_PersistentServer::POA_ACTIVATOR_REGISTRY, QZ_LocatorInternal::ROLE_SERVER);
  return QZ_POA_PersistentServer::EndpointActivatorRegistry::_narrow(object);
}

CORBA::ULong ActiveFixture::add(const Names& names, const std::string& orb_name) {
  return add(names, orb_name, make_state());
}

CORBA::ULong ActiveFixture::add(const Names& names, const std::string& orb_name,
                                QZ_POA_PersistentServer::EndpointDynamicState_ptr state) {
  CORBA::Object_var locator_reference;
  CORBA::ULong number = 0;
  server_registry()->add(orb_name.c_str(), *id_of(names), prototype(server_key(names)), state, locator_reference.out(),
                         number);
  return number;
}

void ActiveFixture::remove(const Names& names, const std::string& orb_name) {
  server_registry()->remove(orb_name.c_str(), *id_of(names));
}

QZ_Binding::ServerRequestInterceptor_var ActiveFixture::interceptor_of(const std::string& key) {
  const std::span view(reinterpret_cast<const unsigned char*>(key.data()), key.size());
  const auto route = host().binding_manager().find_route(view);
  return route ? QZ_Binding::ServerRequestInterceptor::_duplicate(route->enter())
               : QZ_Binding::ServerRequestInterceptor::_nil();
}

QZ_Binding::ServerBinding_var ActiveFixture::take_key_prefix(const CORBA::OctetSeq& prefix) {
  const QZ_Binding::ServerRequestInterceptor_var nobody = new Nobody;
  return host().binding_manager().register_interceptor(prefix, nobody, QZ_Binding::DISPATCH_WORKER,
                                                       QZ_IOR::IOREndpoint::_nil());
}

std::shared_ptr<FakeRequest> ActiveFixture::send(const std::string& key, FakeRequest::Kind kind) {
  auto request = std::make_shared<FakeRequest>(key, kind);
  m_requests.push_back(request);
  request->give_to(interceptor_of(key));
  return request;
}

void ActiveFixture::configure_living_process(const std::string& name, const std::vector<std::string>& orb_names) {
  m_processes.push_back(name);
  allow_process(name);
  const std::string loop = "while [ -e '" + m_own_dir.file(name) + "' ]; do sleep 0.02; done";
  config().add_process({name, {"/bin/sh", "-c", loop}, {}});
  for (const std::string& orb_name : orb_names) config().add_orb(orb_name, name);
}

void ActiveFixture::end_process(const std::string& name) {
  ::unlink(m_own_dir.file(name).c_str());
}

void ActiveFixture::allow_process(const std::string& name) {
  support::write_file(m_own_dir.file(name), "");
}

std::size_t ActiveFixture::stored(const char* home_type_id) {
  QZ_PSS::TxSessionAssociation association(session_manager(), QZ_PSS::READ_ONLY);
  QZ_PSS::Statement statement(association.session());
  const auto rows = statement.execute(home_query(home_type_id));
  std::size_t count = 0;
  while (rows->next()) ++count;
  return count;
}
