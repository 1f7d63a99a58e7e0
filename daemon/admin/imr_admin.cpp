#include "daemon/admin/imr_admin.h"

#include "daemon/host.h"

namespace poalocd {

ImrAdmin::ImrAdmin(Host& host)
    : m_imports(host.imr(), &host.event_log(), host.loop()),
      m_process(new ProcessAdmin(host.orb_nc(), host.parent_poa_nc(), host.imr(), host.locator().active_processes())),
      m_processes(new ProcessRegistryAdmin(host.orb_nc(), host.parent_poa_nc(), host.imr(), *m_process)),
      m_orb(new OrbAdmin(host.orb_nc(), host.parent_poa_nc(), host.imr())),
      m_orbs(new OrbRegistryAdmin(host.orb_nc(), host.parent_poa_nc(), host.imr(), *m_orb)),
      m_import(new RepositoryImportAdmin(host.orb_nc(), host.parent_poa_nc(), m_imports)),
      m_repository(new RepositoryAdmin(host.orb_nc(), host.parent_poa_nc(), host.imr(), m_imports, *m_import)) {
  m_processes->make_known(host.locator(), QZ_IMRAdmin::PROCESS_REGISTRY, "ProcessRegistry");
  m_orbs->make_known(host.locator(), QZ_IMRAdmin::ORB_REGISTRY, "ORBRegistry");
  m_repository->make_known(host.locator(), QZ_IMRAdmin::REPOSITORY_ADMIN, "Repository");
}

void ImrAdmin::stop() {
  m_imports.stop();
  m_repository->impl_close();
  m_import->impl_close();
  m_orbs->impl_close();
  m_orb->impl_close();
  m_processes->impl_close();
  m_process->impl_close();
}

}  // namespace poalocd
