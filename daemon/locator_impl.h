// The host locator.
#pragma once

#include <qz_locator_internal.hh>
#include <qz_logging.hh>
#include <string>

#include "daemon/active_orb_registry_impl.h"
#include "daemon/active_process_registry_impl.h"
#include "daemon/imr_impl.h"
#include "daemon/oa_locator_registry_impl.h"
#include "daemon/orb_access.h"
#include "platform/base/ref_count_handle.h"
#include "platform/binding/binding_manager_impl.h"

namespace poalocd {

// Safe from any thread.
class LocatorImpl : public virtual QZ_LocatorInternal::Locator, public QZ_CORBA::RefCountedLocalObject {
 public:
  LocatorImpl(CORBA::ORB_ptr orb, OrbAccess& access, RefCountHandle<ImrImpl> imr,
              QZ_Binding::BindingManagerImpl& binding_manager, ProcessContext& context);

  CORBA::ORB_ptr _qz_get_orb() override { return CORBA::ORB::_duplicate(m_orb); }
  char* domain_name() override { return CORBA::string_dup(m_domain.c_str()); }
  QZ_IMRInternal::IMR_ptr imr() override;
  QZ_LocatorInternal::ActiveORBRegistry_ptr active_orb_registry() override;
  QZ_LocatorInternal::ActiveProcessRegistry_ptr active_process_registry() override;
  QZ_LocatorInternal::OALocatorRegistry_ptr oa_locator_registry() override;
  // BAD_PARAM for an empty name, a nil reference or an unknown role.
  void make_known(const char* name, CORBA::Object_ptr reference, CORBA::Long role) override;

  ActiveOrbRegistryImpl& active_orbs() const { return *m_active_orbs; }
  ActiveProcessRegistryImpl& active_processes() const { return *m_active_processes; }

 private:
  const CORBA::ORB_var m_orb;
  OrbAccess& m_access;
  const std::string m_domain;
  const QZ_Logging::EventLog_var m_log;
  const RefCountHandle<ImrImpl> m_imr;
  const RefCountHandle<QZ_Binding::BindingManagerImpl> m_binding_manager;
  const RefCountHandle<ActiveOrbRegistryImpl> m_active_orbs;
  const RefCountHandle<ActiveProcessRegistryImpl> m_active_processes;
  const RefCountHandle<OaLocatorRegistryImpl> m_oa_locators;
};

}  // namespace poalocd
