// The administration of the host's repository: QZ_IMRAdmin.
#pragma once

#include "daemon/admin/imports.h"
#include "daemon/admin/orb_admin.h"
#include "daemon/admin/orb_registry_admin.h"
#include "daemon/admin/process_admin.h"
#include "daemon/admin/process_registry_admin.h"
#include "daemon/admin/repository_admin.h"
#include "daemon/admin/repository_import_admin.h"

namespace poalocd {

class Host;

// Made and stopped on the host's thread.
class ImrAdmin {
 public:
  // Makes the names known.
  explicit ImrAdmin(Host& host);
  // Cancels imports. After it no request is inside and none can enter.
  void stop();

 private:
  Imports m_imports;
  const OwnedServant<ProcessAdmin> m_process;
  const OwnedServant<ProcessRegistryAdmin> m_processes;
  const OwnedServant<OrbAdmin> m_orb;
  const OwnedServant<OrbRegistryAdmin> m_orbs;
  const OwnedServant<RepositoryImportAdmin> m_import;
  const OwnedServant<RepositoryAdmin> m_repository;
};

}  // namespace poalocd
