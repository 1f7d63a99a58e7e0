// The host's implementation repository.
#pragma once

#include <qz_imr_internal.hh>
#include <qz_logging.hh>
#include <string>
#include <vector>

#include "daemon/oa_imr_registry_impl.h"
#include "daemon/orb_registry_impl.h"
#include "daemon/process_registry_impl.h"
#include "platform/base/ref_count_handle.h"

namespace poalocd {

// Safe from any thread. Changes are durable, and valid for everybody, when the operation returns; they are made one at
// a time. CORBA's system exceptions of the store escape from all of them.
class ImrImpl : public virtual QZ_IMRInternal::IMR, public QZ_CORBA::RefCountedLocalObject {
 public:
  ImrImpl(const StoreAccess& store, QZ_Logging::EventLog_ptr log);

  // Reads the store; one without processes and ORBs gets those that are configured. Once, before anything else.
  // ConfigurationError when a configured ORB names a process that is not configured.
  void load(const Settings& settings);

  QZ_IMRInternal::OAIMRRegistry_ptr oa_imr_registry() override;
  QZ_IMRInternal::ORBRegistry_ptr orb_registry() override;
  QZ_IMRInternal::ProcessRegistry_ptr process_registry() override;

  // QZ_IMRAdmin::AlreadyExists.
  void add_process(const ProcessSettings& settings);
  // OBJECT_NOT_EXIST when there is no such process.
  void change_process(const ProcessSettings& settings);
  // False when it is not like before any more.
  bool change_process(const ProcessSettings& before, const ProcessSettings& settings);
  // What is in the way of DESTROY_NORMAL are the process's ORBs and what the caller knows of. DESTROY_FORCE leaves the
  // ORBs without a process, DESTROY_DEEP destroys them first, one by one. OBJECT_NOT_EXIST, HasReferences.
  void destroy_process(const std::string& name, QZ_LocationCommon::DestroyType type,
                       const std::vector<std::string>& in_the_way);

  // QZ_IMRAdmin::AlreadyExists; QZ_IMRAdmin::InvalidValue for an empty name or an unknown process.
  void add_orb(const OrbSettings& settings);
  // OBJECT_NOT_EXIST when there is no such ORB; InvalidValue for an unknown process.
  void change_orb(const OrbSettings& settings);
  // Asks every object adapter's repository, then removes the ORB. OBJECT_NOT_EXIST when there is no such ORB;
  // HasReferences, with nothing removed, when a repository refuses.
  void destroy_orb(const std::string& name, QZ_LocationCommon::DestroyType type);

  // work() while nobody else changes anything by the operations above.
  template <class Work>
  void change(Work work) EXCLUDES(m_changes) {
    const QZ_MutexLock lock(m_changes);
    work();
  }

  // Nil when no plug-in has one; the caller releases it.
  QZ_IMRInternal::POARepository_ptr poa_repository() const;

  const StoreAccess& store() const { return m_store; }
  OrbRegistryImpl& orbs() const { return *m_orbs; }
  ProcessRegistryImpl& processes() const { return *m_processes; }

 private:
  void seed(const Settings& settings);
  void check_orb(const OrbSettings& settings) const;
  void write_process(const ProcessSettings& settings) REQUIRES(m_changes);
  void remove_orb(const std::string& name, QZ_LocationCommon::DestroyType type) REQUIRES(m_changes);

  const StoreAccess m_store;
  const QZ_Logging::EventLog_var m_log;
  const RefCountHandle<OaImrRegistryImpl> m_oa_imrs;
  const RefCountHandle<ProcessRegistryImpl> m_processes;
  const RefCountHandle<OrbRegistryImpl> m_orbs;
  // Held from looking what there is to showing what has become of it, and so before every other lock.
  QZ_Mutex m_changes;
};

}  // namespace poalocd
