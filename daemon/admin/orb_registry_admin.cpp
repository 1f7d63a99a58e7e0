#include "daemon/admin/orb_registry_admin.h"

#include "daemon/admin/name_pages.h"

namespace poalocd {

QZ_IMRAdmin::ORB_ptr OrbRegistryAdmin::add(const QZ_LocationCommon::ORBInfo& info) {
  m_imr.add_orb({info.name.in(), info.process.in()});
  return m_one.reference(info.name.in());
}

QZ_IMRAdmin::ORB_ptr OrbRegistryAdmin::find(const char* name) {
  return m_imr.orbs().get(name).is_null() ? QZ_IMRAdmin::ORB::_nil() : m_one.reference(name);
}

QZ_IMRAdmin::ORBInfoList* OrbRegistryAdmin::list(const char* from, CORBA::ULong how_many, CORBA::String_out next) {
  return make_page<QZ_IMRAdmin::ORBInfoList>(
      from, how_many, next,
      [this](const std::string& after, std::size_t most) { return m_imr.orbs().page(after, most); },
      [](const RefCountHandle<ImrOrb>& orb) { return orb->settings().name; },
      [](const RefCountHandle<ImrOrb>& orb, QZ_LocationCommon::ORBInfo& info) {
        info = QZ_LocationCommon::ORBInfo_var(orb->info()).in();
        return true;
      });
}

}  // namespace poalocd
