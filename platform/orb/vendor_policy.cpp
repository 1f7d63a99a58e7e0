#include "platform/orb/vendor_policy.h"

#include <cstring>

namespace QZ_PortableServer {

namespace {

// Whether an any holds what policies of the type hold.
bool holds_value_of(CORBA::PolicyType type, const CORBA::Any& value) {
  const char* scope;
  PersistenceModePolicyValue mode;
  CORBA::UShort number;
  switch (type) {
    case BINDING_SCOPE_POLICY_TYPE:
      return value >>= scope;
    case PERSISTENCE_MODE_POLICY_TYPE:
      return value >>= mode;
    default:
      return value >>= number;
  }
}

}  // namespace

bool VendorPolicy::is_vendor_type(CORBA::PolicyType type) {
  return type == BINDING_SCOPE_POLICY_TYPE || type == PERSISTENCE_MODE_POLICY_TYPE || type == FIREWALL_POLICY_TYPE;
}

VendorPolicy::VendorPolicy(CORBA::PolicyType type, const CORBA::Any& value) : CORBA::Policy(type), m_value(value) {
  if (!is_vendor_type(type)) throw CORBA::PolicyError(CORBA::BAD_POLICY_TYPE);
  if (!holds_value_of(type, value)) throw CORBA::PolicyError(CORBA::BAD_POLICY_VALUE);
}

CORBA::Policy_ptr VendorPolicy::copy() {
  return new VendorPolicy(policy_type(), m_value);
}

bool VendorPolicy::can_be_kept() const {
  const char* scope;
  if (m_value >>= scope) return std::strcmp(scope, LOCATOR_SCOPE) == 0;
  PersistenceModePolicyValue mode;
  if (m_value >>= mode) return mode == DIRECT_PERSISTENCE;
  return true;
}

CORBA::Policy_ptr create_policy(CORBA::ORB_ptr orb, CORBA::PolicyType type, const CORBA::Any& value) {
  if (VendorPolicy::is_vendor_type(type)) return new VendorPolicy(type, value);
  if (CORBA::is_nil(orb)) throw CORBA::BAD_PARAM(0, CORBA::COMPLETED_NO);
  return orb->create_policy(type, value);
}

// omniORB passes over policies of types that it does not know.
PortableServer::POA_ptr create_poa(PortableServer::POA_ptr parent, const char* name,
                                   PortableServer::POAManager_ptr manager, const CORBA::PolicyList& policies) {
  if (CORBA::is_nil(parent)) throw CORBA::BAD_PARAM(0, CORBA::COMPLETED_NO);
  for (CORBA::ULong i = 0; i < policies.length(); ++i) {
    const auto* vendor = dynamic_cast<const VendorPolicy*>(static_cast<CORBA::Policy_ptr>(policies[i]));
    if (vendor && !vendor->can_be_kept()) throw PortableServer::POA::InvalidPolicy(static_cast<CORBA::UShort>(i));
  }
  return parent->create_POA(name, manager, policies);
}

}  // namespace QZ_PortableServer
