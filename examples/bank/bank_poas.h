// The bank's POAs and the references to its objects.
#pragma once

#include <omniORB4/CORBA.h>

#include <string>
#include <vector>

#include "adapters/omniorb/locator_registration.h"

// Safe from any thread.
class BankPoas {
 public:
  // Activates the root POA's manager.
  explicit BankPoas(CORBA::ORB_ptr orb);

  // False for a path that is not of the bank.
  bool create(PoaLocator::LocatorRegistration& registration, const std::string& path) const;
  void create_all(PoaLocator::LocatorRegistration& registration) const;

  // NAME.ior of each account, and ledger.ior. All POAs must be up. std::exception when the folder cannot be written.
  void write_references(const PoaLocator::LocatorRegistration& registration, const std::vector<std::string>& accounts,
                        const std::string& folder) const;

 private:
  const CORBA::ORB_var m_orb;
  PortableServer::POA_var m_root;
  PortableServer::ServantBase_var m_accounts;
  PortableServer::ServantBase_var m_audit;
};
