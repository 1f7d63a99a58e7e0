// The server ORBs that the host knows, and which process runs each.
#pragma once

#include <qz_imr_internal.hh>
#include <qz_logging.hh>
#include <string>
#include <unordered_map>
#include <vector>

#include "daemon/settings.h"
#include "daemon/store_access.h"
#include "platform/base/qz_mutex.h"
#include "platform/orb/ref_counted_local_object.h"

namespace poalocd {

// Safe from any thread.
class OrbRegistryImpl : public virtual QZ_IMRInternal::ORBRegistry, public QZ_CORBA::RefCountedLocalObject {
 public:
  OrbRegistryImpl(StoreAccess store, QZ_Logging::EventLog_ptr log, QZ_IMRInternal::ProcessRegistry_ptr processes);

  // Reads what is stored, then stores the configured ones, which win over stored ones of the same name.
  // ConfigurationError when a configured ORB names a process that is not known.
  void load(const std::vector<OrbSettings>& configured);

  QZ_IMRInternal::ORB_ptr find(const char* name) override;
  // The addition is part of the calling thread's transaction, when it has one. BAD_PARAM for an empty name.
  QZ_IMRInternal::ORB_ptr add(const char* name) override;
  // Configured ones first, in the order of the configuration.
  QZ_IMRInternal::ORBList* list_by_process(const char* process_name) override;

  // False when there is no such ORB.
  bool remove(const std::string& name);
  std::size_t size() const;

 private:
  void keep(const std::string& name, const std::string& process_name);

  const StoreAccess m_store;
  const QZ_Logging::EventLog_var m_log;
  const QZ_IMRInternal::ProcessRegistry_var m_processes;
  mutable QZ_Mutex m_mutex;  // guards both tables; not held while the store is used
  std::unordered_map<std::string, QZ_IMRInternal::ORB_var> m_orbs GUARDED_BY(m_mutex);
  std::unordered_map<std::string, std::vector<std::string>> m_by_process GUARDED_BY(m_mutex);
};

}  // namespace poalocd
