#include "daemon/admin/orb_admin.h"

namespace poalocd {

RefCountHandle<ImrOrb> OrbAdmin::orb() const {
  auto result = m_imr.orbs().get(object_id());
  if (result.is_null()) throw CORBA::OBJECT_NOT_EXIST(0, CORBA::COMPLETED_NO);
  return result;
}

char* OrbAdmin::name() {
  return orb()->name();
}

QZ_LocationCommon::ORBInfo* OrbAdmin::info() {
  return orb()->info();
}

void OrbAdmin::change_process(const char* process_name) {
  m_imr.change_orb({object_id(), process_name});
}

void OrbAdmin::destroy(QZ_LocationCommon::DestroyType type) {
  m_imr.destroy_orb(object_id(), type);
}

}  // namespace poalocd
