// Serves the administration objects of all ORBs of the repository. An object's id is its ORB's name.
#pragma once

#include <qz_imr_admin.hh>

#include "daemon/admin/admin_servant.h"
#include "daemon/imr_impl.h"

namespace poalocd {

// Safe from any thread. Of an ORB that is not there any more every operation raises OBJECT_NOT_EXIST.
class OrbAdmin : public AdminServant<POA_QZ_IMRAdmin::ORB, QZ_IMRAdmin::ORB> {
 public:
  OrbAdmin(CORBA::ORB_ptr orb, PortableServer::POA_ptr parent, ImrImpl& imr) : AdminServant(orb, parent), m_imr(imr) {}

  char* name() override;
  QZ_LocationCommon::ORBInfo* info() override;
  void change_process(const char* process_name) override;
  void destroy(QZ_LocationCommon::DestroyType type) override;

 private:
  // That of the request being served.
  RefCountHandle<ImrOrb> orb() const;

  ImrImpl& m_imr;
};

}  // namespace poalocd
