#include "daemon/locator_impl.h"

#include <utility>

#include "daemon/host_event.h"
#include "platform/orb/ior_impl.h"

namespace poalocd {

LocatorImpl::LocatorImpl(CORBA::ORB_ptr orb, OrbAccess& access, RefCountHandle<ImrImpl> imr,
                         QZ_Binding::BindingManagerImpl& binding_manager, ProcessContext& context)
    : m_orb(CORBA::ORB::_duplicate(orb)),
      m_access(access),
      m_domain(context.domain),
      m_log(context.log),
      m_imr(std::move(imr)),
      m_binding_manager(RefCountHandle<QZ_Binding::BindingManagerImpl>::share(&binding_manager)),
      m_active_orbs(new ActiveOrbRegistryImpl),
      m_active_processes(new ActiveProcessRegistryImpl(context)),
      m_oa_locators(new OaLocatorRegistryImpl) {}

QZ_IMRInternal::IMR_ptr LocatorImpl::imr() {
  return QZ_IMRInternal::IMR::_duplicate(m_imr.get());
}

QZ_LocatorInternal::ActiveORBRegistry_ptr LocatorImpl::active_orb_registry() {
  return QZ_LocatorInternal::ActiveORBRegistry::_duplicate(m_active_orbs.get());
}

QZ_LocatorInternal::ActiveProcessRegistry_ptr LocatorImpl::active_process_registry() {
  return QZ_LocatorInternal::ActiveProcessRegistry::_duplicate(m_active_processes.get());
}

QZ_LocatorInternal::OALocatorRegistry_ptr LocatorImpl::oa_locator_registry() {
  return QZ_LocatorInternal::OALocatorRegistry::_duplicate(m_oa_locators.get());
}

void LocatorImpl::make_known(const char* name, CORBA::Object_ptr reference, CORBA::Long role) {
  const bool server = role == QZ_LocatorInternal::ROLE_SERVER;
  if (!name || !*name || CORBA::is_nil(reference) || (!server && role != QZ_LocatorInternal::ROLE_ADMINISTRATOR))
    throw CORBA::BAD_PARAM(0, CORBA::COMPLETED_NO);
  const QZ_IOR::IOR_var target = server ? m_access.admit_servers(reference) : QZ_IOR::from_object(reference);
  m_binding_manager->register_name(name, target, static_cast<int>(role));
  report(m_log, NAME_KNOWN_EVENT, {name, server ? "servers" : "administrators"});
}

}  // namespace poalocd
