// Serves the administrators' registry of the repository's ORBs.
#pragma once

#include <qz_imr_admin.hh>

#include "daemon/admin/orb_admin.h"

namespace poalocd {

// Safe from any thread.
class OrbRegistryAdmin : public AdminServant<POA_QZ_IMRAdmin::ORBRegistry, QZ_IMRAdmin::ORBRegistry> {
 public:
  // one: serves the ORBs.
  OrbRegistryAdmin(CORBA::ORB_ptr orb, PortableServer::POA_ptr parent, ImrImpl& imr, const OrbAdmin& one)
      : AdminServant(orb, parent), m_imr(imr), m_one(one) {}

  QZ_IMRAdmin::ORB_ptr add(const QZ_LocationCommon::ORBInfo& info) override;
  QZ_IMRAdmin::ORB_ptr find(const char* name) override;
  QZ_IMRAdmin::ORBInfoList* list(const char* from, CORBA::ULong how_many, CORBA::String_out next) override;

 private:
  ImrImpl& m_imr;
  const OrbAdmin& m_one;
};

}  // namespace poalocd
