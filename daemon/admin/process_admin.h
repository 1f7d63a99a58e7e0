// Serves the administration objects of all processes of the repository. An object's id is its process's name.
#pragma once

#include <qz_imr_admin.hh>

#include "daemon/active_process_registry_impl.h"
#include "daemon/admin/admin_servant.h"
#include "daemon/imr_impl.h"

namespace poalocd {

// Safe from any thread. Of a process that is not there any more every operation raises OBJECT_NOT_EXIST.
class ProcessAdmin : public AdminServant<POA_QZ_IMRAdmin::Process, QZ_IMRAdmin::Process> {
 public:
  ProcessAdmin(CORBA::ORB_ptr orb, PortableServer::POA_ptr parent, ImrImpl& imr, ActiveProcessRegistryImpl& active)
      : AdminServant(orb, parent), m_imr(imr), m_active(active) {}

  char* name() override;
  QZ_IMRAdmin::ProcessInfo* info() override;
  void change(const QZ_IMRAdmin::ProcessInfo& info) override;
  CORBA::Boolean change_from(const QZ_IMRAdmin::ProcessInfo& before, const QZ_IMRAdmin::ProcessInfo& info) override;
  void destroy(QZ_LocationCommon::DestroyType type) override;

 private:
  // That of the request being served.
  RefCountHandle<ImrProcess> process() const;
  ProcessSettings checked(const QZ_IMRAdmin::ProcessInfo& info) const;
  std::vector<std::string> runs(const std::string& name) const;

  ImrImpl& m_imr;
  ActiveProcessRegistryImpl& m_active;
};

}  // namespace poalocd
