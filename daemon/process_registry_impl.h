// The configured server processes.
#pragma once

#include <map>
#include <qz_imr_internal.hh>
#include <string>
#include <utility>
#include <vector>

#include "daemon/settings.h"
#include "daemon/store_access.h"
#include "platform/base/qz_mutex.h"
#include "platform/base/ref_count_handle.h"
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

// Safe from any thread. Whoever changes an entry writes it first, and shows it when what was written is durable;
// ImrImpl lets one change happen at a time.
class ProcessRegistryImpl : public virtual QZ_IMRInternal::ProcessRegistry, public QZ_CORBA::RefCountedLocalObject {
 public:
  using ImrProcesses = std::vector<RefCountHandle<ImrProcess>>;

  explicit ProcessRegistryImpl(StoreAccess store);

  // Reads what is stored. Once, before anything else.
  void load();

  QZ_IMRInternal::Process_ptr find(const char* name) override;
  // Null when there is none.
  RefCountHandle<ImrProcess> get(const std::string& name) const;
  std::size_t size() const;
  // Those behind that name, in the order of their names.
  ImrProcesses page(const std::string& after, std::size_t how_many) const;

  // A new entry, or all of an existing one. In the calling thread's transaction, or in one of its own.
  void write(const ProcessSettings& settings);
  void show(const ProcessSettings& settings);
  // Nothing when there is none. In the calling thread's transaction, or in one of its own.
  void erase(const std::string& name);
  void hide(const std::string& name);

 private:
  const StoreAccess m_store;
  mutable QZ_Mutex m_mutex;
  std::map<std::string, RefCountHandle<ImrProcess>> m_processes GUARDED_BY(m_mutex);
};

}  // namespace poalocd
