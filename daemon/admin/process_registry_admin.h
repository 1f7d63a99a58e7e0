// Serves the administrators' registry of the repository's processes.
#pragma once

#include <qz_imr_admin.hh>

#include "daemon/admin/process_admin.h"

namespace poalocd {

// Safe from any thread.
class ProcessRegistryAdmin : public AdminServant<POA_QZ_IMRAdmin::ProcessRegistry, QZ_IMRAdmin::ProcessRegistry> {
 public:
  // one: serves the processes.
  ProcessRegistryAdmin(CORBA::ORB_ptr orb, PortableServer::POA_ptr parent, ImrImpl& imr, const ProcessAdmin& one)
      : AdminServant(orb, parent), m_imr(imr), m_one(one) {}

  QZ_IMRAdmin::Process_ptr add(const QZ_IMRAdmin::ProcessInfo& info) override;
  QZ_IMRAdmin::Process_ptr find(const char* name) override;
  QZ_IMRAdmin::ProcessInfoList* list(const char* from, CORBA::ULong how_many, CORBA::String_out next) override;

 private:
  ImrImpl& m_imr;
  const ProcessAdmin& m_one;
};

}  // namespace poalocd
