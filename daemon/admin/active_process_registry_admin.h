// Serves the administrators' list of processes that run.
#pragma once

#include <qz_locator_admin.hh>

#include "daemon/admin/active_process_admin.h"

namespace poalocd {

// Safe from any thread.
class ActiveProcessRegistryAdmin
    : public AdminServant<POA_QZ_LocatorAdmin::ActiveProcessRegistry, QZ_LocatorAdmin::ActiveProcessRegistry> {
 public:
  // one: serves the processes.
  ActiveProcessRegistryAdmin(CORBA::ORB_ptr orb, PortableServer::POA_ptr parent, ActiveProcessRegistryImpl& processes,
                             const ActiveProcessAdmin& one)
      : AdminServant(orb, parent), m_processes(processes), m_one(one) {}

  QZ_LocatorAdmin::ActiveProcess_ptr find(const char* name) override;
  QZ_LocatorAdmin::ActiveProcessInfoList* list(const char* from, CORBA::ULong how_many,
                                               CORBA::String_out next) override;

 private:
  ActiveProcessRegistryImpl& m_processes;
  const ActiveProcessAdmin& m_one;
};

}  // namespace poalocd
