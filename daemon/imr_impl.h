// The host's implementation repository.
#pragma once

#include <qz_imr_internal.hh>
#include <qz_logging.hh>
#include <string>
#include <utility>
#include <vector>

#include "daemon/oa_imr_registry_impl.h"
#include "daemon/orb_registry_impl.h"
#include "daemon/process_registry_impl.h"
#include "platform/base/ref_count_handle.h"

namespace poalocd {

// Safe from any thread.
class ImrImpl : public virtual QZ_IMRInternal::IMR, public QZ_CORBA::RefCountedLocalObject {
 public:
  ImrImpl(const StoreAccess& store, QZ_Logging::EventLog_ptr log);

  // Reads the store, and puts what is configured into it. Once, before anything else. ConfigurationError, or the
  // store's exceptions.
  void load(const Settings& settings);

  QZ_IMRInternal::OAIMRRegistry_ptr oa_imr_registry() override;
  QZ_IMRInternal::ORBRegistry_ptr orb_registry() override;
  QZ_IMRInternal::ProcessRegistry_ptr process_registry() override;

  // Asks every object adapter's repository, then removes the ORB. OBJECT_NOT_EXIST when there is no such ORB;
  // HasReferences, with nothing removed, when a repository refuses.
  void destroy_orb(const std::string& name, QZ_LocationCommon::DestroyType type);

  OrbRegistryImpl& orbs() const { return *m_orbs; }
  ProcessRegistryImpl& processes() const { return *m_processes; }

 private:
  const QZ_Logging::EventLog_var m_log;
  const RefCountHandle<OaImrRegistryImpl> m_oa_imrs;
  const RefCountHandle<ProcessRegistryImpl> m_processes;
  const RefCountHandle<OrbRegistryImpl> m_orbs;
};

}  // namespace poalocd
