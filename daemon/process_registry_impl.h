// The configured server processes.
#pragma once

#include <qz_imr_internal.hh>
#include <string>
#include <unordered_map>
#include <vector>

#include "daemon/settings.h"
#include "daemon/store_access.h"
#include "platform/base/qz_mutex.h"
#include "platform/orb/ref_counted_local_object.h"

namespace poalocd {

// One configured process. Immutable; safe from any thread.
class ImrProcess : public virtual QZ_IMRInternal::Process, public QZ_CORBA::RefCountedLocalObject {
 public:
  explicit ImrProcess(ProcessSettings settings) : m_settings(std::move(settings)) {}
  char* name() override { return CORBA::string_dup(m_settings.name.c_str()); }
  const ProcessSettings& settings() const { return m_settings; }

 private:
  const ProcessSettings m_settings;
};

// Safe from any thread.
class ProcessRegistryImpl : public virtual QZ_IMRInternal::ProcessRegistry, public QZ_CORBA::RefCountedLocalObject {
 public:
  explicit ProcessRegistryImpl(StoreAccess store);

  // Reads what is stored, then stores the configured ones, which win over stored ones of the same name.
  void load(const std::vector<ProcessSettings>& configured);

  QZ_IMRInternal::Process_ptr find(const char* name) override;
  std::size_t size() const;

 private:
  const StoreAccess m_store;
  mutable QZ_Mutex m_mutex;
  std::unordered_map<std::string, QZ_IMRInternal::Process_var> m_processes GUARDED_BY(m_mutex);
};

}  // namespace poalocd
