#include "daemon/imr_impl.h"

#include "daemon/host_event.h"

namespace poalocd {

ImrImpl::ImrImpl(const StoreAccess& store, QZ_Logging::EventLog_ptr log)
    : m_log(QZ_Logging::EventLog::_duplicate(log)),
      m_oa_imrs(new OaImrRegistryImpl),
      m_processes(new ProcessRegistryImpl(store)),
      m_orbs(new OrbRegistryImpl(store, log, m_processes.get())) {}

void ImrImpl::load(const Settings& settings) {
  m_processes->load(settings.processes);
  m_orbs->load(settings.orbs);
}

QZ_IMRInternal::OAIMRRegistry_ptr ImrImpl::oa_imr_registry() {
  return QZ_IMRInternal::OAIMRRegistry::_duplicate(m_oa_imrs.get());
}

QZ_IMRInternal::ORBRegistry_ptr ImrImpl::orb_registry() {
  return QZ_IMRInternal::ORBRegistry::_duplicate(m_orbs.get());
}

QZ_IMRInternal::ProcessRegistry_ptr ImrImpl::process_registry() {
  return QZ_IMRInternal::ProcessRegistry::_duplicate(m_processes.get());
}

void ImrImpl::destroy_orb(const std::string& name, QZ_LocationCommon::DestroyType type) {
  const QZ_IMRInternal::ORB_var orb = m_orbs->find(name.c_str());
  if (CORBA::is_nil(orb)) throw CORBA::OBJECT_NOT_EXIST(0, CORBA::COMPLETED_NO);
  for (const auto& repository : m_oa_imrs->list()) repository->orb_pre_destroy(orb, type);
  if (!m_orbs->remove(name)) throw CORBA::OBJECT_NOT_EXIST(0, CORBA::COMPLETED_NO);
  report(m_log, ORB_DESTROYED_EVENT, {name});
}

}  // namespace poalocd
