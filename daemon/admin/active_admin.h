// The administration of what runs, and of the locator itself: QZ_LocatorAdmin.
#pragma once

#include "daemon/admin/active_orb_registry_admin.h"
#include "daemon/admin/active_process_admin.h"
#include "daemon/admin/active_process_registry_admin.h"
#include "daemon/admin/locator_admin.h"

namespace poalocd {

class Host;

// Made and stopped on the host's thread.
class ActiveAdmin {
 public:
  // Makes the names known. Processes have references from now on.
  explicit ActiveAdmin(Host& host);
  // After it no request is inside and none can enter.
  void stop();

 private:
  const OwnedServant<LocatorAdmin> m_locator;
  const OwnedServant<ActiveOrbRegistryAdmin> m_orbs;
  const OwnedServant<ActiveProcessAdmin> m_process;
  const OwnedServant<ActiveProcessRegistryAdmin> m_processes;
};

}  // namespace poalocd
