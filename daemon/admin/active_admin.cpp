#include "daemon/admin/active_admin.h"

#include "daemon/host.h"

namespace poalocd {

ActiveAdmin::ActiveAdmin(Host& host)
    : m_locator(new LocatorAdmin(host)),
      m_orbs(new ActiveOrbRegistryAdmin(host.orb_nc(), host.parent_poa_nc(), host.locator().active_orbs())),
      m_process(new ActiveProcessAdmin(host.orb_nc(), host.parent_poa_nc(), host.locator().active_processes())),
      m_processes(new ActiveProcessRegistryAdmin(host.orb_nc(), host.parent_poa_nc(), host.locator().active_processes(),
                                                 *m_process)) {
  host.locator().active_processes().set_references(
      [this](const std::string& name) { return m_process->reference(name); });
  m_locator->make_known(host.locator(), QZ_LocatorAdmin::LOCATOR_ADMIN, "Locator");
  m_orbs->make_known(host.locator(), QZ_LocatorAdmin::ACTIVE_ORB_REGISTRY, "ActiveORBRegistry");
  m_processes->make_known(host.locator(), QZ_LocatorAdmin::ACTIVE_PROCESS_REGISTRY, "ActiveProcessRegistry");
}

void ActiveAdmin::stop() {
  m_locator->impl_close();
  m_orbs->impl_close();
  m_processes->impl_close();
  m_process->impl_close();
}

}  // namespace poalocd
