// Serves the administrators' list of active ORBs, of every kind of object adapter.
#pragma once

#include <qz_locator_admin.hh>

#include "daemon/active_orb_registry_impl.h"
#include "daemon/admin/admin_servant.h"

namespace poalocd {

// Safe from any thread. The ORBs themselves are served by their plug-ins.
class ActiveOrbRegistryAdmin
    : public AdminServant<POA_QZ_LocatorAdmin::ActiveORBRegistry, QZ_LocatorAdmin::ActiveORBRegistry> {
 public:
  ActiveOrbRegistryAdmin(CORBA::ORB_ptr orb, PortableServer::POA_ptr parent, ActiveOrbRegistryImpl& orbs)
      : AdminServant(orb, parent), m_orbs(orbs) {}

  QZ_LocatorAdmin::ActiveORB_ptr find(const char* name) override;
  QZ_LocatorAdmin::ActiveORBInfoList* list(const char* from, CORBA::ULong how_many, CORBA::String_out next) override;

 private:
  ActiveOrbRegistryImpl& m_orbs;
};

}  // namespace poalocd
