// Serves the administration objects of all configured processes. An object's id is its process's name.
#pragma once

#include <qz_locator_admin.hh>

#include "daemon/active_process_registry_impl.h"
#include "daemon/admin/admin_servant.h"

namespace poalocd {

// Safe from any thread. Of a process that is not configured any more every operation raises OBJECT_NOT_EXIST.
class ActiveProcessAdmin : public AdminServant<POA_QZ_LocatorAdmin::ActiveProcess, QZ_LocatorAdmin::ActiveProcess> {
 public:
  ActiveProcessAdmin(CORBA::ORB_ptr orb, PortableServer::POA_ptr parent, ActiveProcessRegistryImpl& processes)
      : AdminServant(orb, parent), m_processes(processes) {}

  char* name() override;
  QZ_LocatorAdmin::ActiveProcessInfo* info() override;
  void start() override;
  void stop() override;
  void restart() override;
  CORBA::OctetSeq* read_log(CORBA::LongLong position, CORBA::ULong how_many, CORBA::LongLong& next) override;

 private:
  // That of the request being served.
  RefCountHandle<ActiveProcessImpl> process();

  ActiveProcessRegistryImpl& m_processes;
};

}  // namespace poalocd
