#include "platform/orb/servant_poa.h"

#include <initializer_list>

#include "platform/orb/vendor_policy.h"

namespace {

CORBA::Any any_of(auto value) {
  CORBA::Any any;
  any <<= value;
  return any;
}

void append(CORBA::PolicyList& policies, CORBA::Policy_ptr policy) {
  const CORBA::ULong length = policies.length();
  policies.length(length + 1);
  policies[length] = policy;
}

CORBA::PolicyList policies_of(CORBA::ORB_ptr orb) {
  using namespace PortableServer;
  CORBA::PolicyList policies;
  const auto add = [&](CORBA::PolicyType type, auto value) {
    append(policies, QZ_PortableServer::create_policy(orb, type, any_of(value)));
  };
  add(LIFESPAN_POLICY_ID, PERSISTENT);
  add(ID_UNIQUENESS_POLICY_ID, MULTIPLE_ID);
  add(ID_ASSIGNMENT_POLICY_ID, USER_ID);
  add(SERVANT_RETENTION_POLICY_ID, NON_RETAIN);
  add(REQUEST_PROCESSING_POLICY_ID, USE_DEFAULT_SERVANT);
  add(QZ_PortableServer::BINDING_SCOPE_POLICY_TYPE, QZ_PortableServer::LOCATOR_SCOPE);
  add(QZ_PortableServer::PERSISTENCE_MODE_POLICY_TYPE, QZ_PortableServer::DIRECT_PERSISTENCE);
  add(QZ_PortableServer::FIREWALL_POLICY_TYPE, CORBA::UShort{0});
  return policies;
}

PortableServer::POA_ptr create(CORBA::ORB_ptr orb, PortableServer::POA_ptr parent, const char* name) {
  const PortableServer::POAManager_var manager = parent->the_POAManager();
  return QZ_PortableServer::create_poa(parent, name, manager, policies_of(orb));
}

}  // namespace

ServantPOA::ServantPOA(CORBA::ORB_ptr orb, PortableServer::POA_ptr parent, const char* name,
                       PortableServer::Servant servant)
    : m_poa(create(orb, parent, name)) {
  try {
    m_poa->set_servant(servant);
  } catch (...) {
    destroy();
    throw;
  }
}

CORBA::Object_ptr ServantPOA::create_reference(const char* object_id, const char* interface_id) const {
  const PortableServer::ObjectId_var id = PortableServer::string_to_ObjectId(object_id);
  return m_poa->create_reference_with_id(id, interface_id);
}

void ServantPOA::destroy() noexcept {
  try {
    m_poa->destroy(true, true);
  } catch (const CORBA::Exception&) {
    // Destroyed already, by an earlier call or with its parent or the ORB.
  }
}
