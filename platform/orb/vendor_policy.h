// POA policies beyond those of the OMG.
#pragma once

#include <omniORB4/CORBA.h>
#include <qz_portable_server.hh>

namespace QZ_PortableServer {

// Says nothing here: requests of other transports are not served.
inline constexpr CORBA::PolicyType FIREWALL_POLICY_TYPE = 36;
// The scope whose POAs are reached at the ORB's fixed addresses.
inline constexpr const char* LOCATOR_SCOPE = "plugins:locator";

// Immutable; safe from any thread.
class VendorPolicy : public CORBA::Policy {
 public:
  static bool is_vendor_type(CORBA::PolicyType type);

  // BINDING_SCOPE_POLICY_TYPE takes a string, PERSISTENCE_MODE_POLICY_TYPE a PersistenceModePolicyValue and
  // FIREWALL_POLICY_TYPE an unsigned short; PolicyError BAD_POLICY_VALUE for anything else, BAD_POLICY_TYPE for
  // another type.
  VendorPolicy(CORBA::PolicyType type, const CORBA::Any& value);

  CORBA::Policy_ptr copy() override;
  void destroy() override {}

  const CORBA::Any& value() const { return m_value; }
  // Whether a POA can do what the policy asks: objects are served at the ORB's own addresses, so the scope must be
  // LOCATOR_SCOPE and the persistence mode DIRECT_PERSISTENCE.
  bool can_be_kept() const;

 private:
  const CORBA::Any m_value;
};

// Standard types are made by the ORB, with its exceptions; the types above are VendorPolicy objects.
CORBA::Policy_ptr create_policy(CORBA::ORB_ptr orb, CORBA::PolicyType type, const CORBA::Any& value);

// parent->create_POA for a policy list that may hold vendor policies; the same exceptions, InvalidPolicy also for a
// vendor policy that cannot be kept. The references of such a POA hold the addresses at which the ORB listens.
PortableServer::POA_ptr create_poa(PortableServer::POA_ptr parent, const char* name,
                                   PortableServer::POAManager_ptr manager, const CORBA::PolicyList& policies);

}  // namespace QZ_PortableServer
