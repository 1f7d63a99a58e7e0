// The server ORBs that the host knows, and which process runs each.
#pragma once

#include <map>
#include <qz_imr_internal.hh>
#include <qz_logging.hh>
#include <string>
#include <utility>
#include <vector>

#include "daemon/settings.h"
#include "daemon/store_access.h"
#include "platform/base/qz_mutex.h"
#include "platform/base/ref_count_handle.h"
#include "platform/orb/ref_counted_local_object.h"

namespace poalocd {

// One ORB. Immutable; safe from any thread.
class ImrOrb : public virtual QZ_IMRInternal::ORB, public QZ_CORBA::RefCountedLocalObject {
 public:
  ImrOrb(OrbSettings settings, QZ_IMRInternal::ProcessRegistry_ptr processes)
      : m_settings(std::move(settings)), m_processes(QZ_IMRInternal::ProcessRegistry::_duplicate(processes)) {}

  char* name() override { return CORBA::string_dup(m_settings.name.c_str()); }
  QZ_IMRInternal::Process_ptr get_process() override;
  QZ_LocationCommon::ORBInfo* info() override;
  const OrbSettings& settings() const { return m_settings; }

 private:
  const OrbSettings m_settings;
  const QZ_IMRInternal::ProcessRegistry_var m_processes;
};

// Safe from any thread. Whoever changes an entry writes it first, and shows it when what was written is durable;
// ImrImpl lets one change happen at a time, but ORBs are added at any time.
class OrbRegistryImpl : public virtual QZ_IMRInternal::ORBRegistry, public QZ_CORBA::RefCountedLocalObject {
 public:
  using ImrOrbs = std::vector<RefCountHandle<ImrOrb>>;

  OrbRegistryImpl(StoreAccess store, QZ_Logging::EventLog_ptr log, QZ_IMRInternal::ProcessRegistry_ptr processes);

  // Reads what is stored. Once, before anything else.
  void load();

  QZ_IMRInternal::ORB_ptr find(const char* name) override;
  // The addition is part of the calling thread's transaction, when it has one. BAD_PARAM for an empty name.
  QZ_IMRInternal::ORB_ptr add(const char* name) override;
  // In the order of their creation.
  QZ_IMRInternal::ORBList* list_by_process(const char* process_name) override;

  // Null when there is none.
  RefCountHandle<ImrOrb> get(const std::string& name) const;
  std::size_t size() const;
  // Those behind that name, in the order of their names.
  ImrOrbs page(const std::string& after, std::size_t how_many) const;
  // In the order of their creation.
  ImrOrbs of_process(const std::string& process_name) const;

  // A new entry, or another process of an existing one. In the calling thread's transaction, or in one of its own.
  void write(const OrbSettings& settings);
  void show(const OrbSettings& settings) { place(settings, true); }
  // Nothing when there is none. In the calling thread's transaction, or in one of its own.
  void erase(const std::string& name);
  void hide(const std::string& name);

 private:
  struct Entry {
    RefCountHandle<ImrOrb> orb;
    unsigned long number = 0;  // rises with each new one
  };

  void place(const OrbSettings& settings, bool replace);
  void leave_process(const Entry& entry) REQUIRES(m_mutex);

  const StoreAccess m_store;
  const QZ_Logging::EventLog_var m_log;
  const QZ_IMRInternal::ProcessRegistry_var m_processes;
  mutable QZ_Mutex m_mutex;  // guards all below; not held while the store is used
  std::map<std::string, Entry> m_orbs GUARDED_BY(m_mutex);
  std::map<std::string, std::map<unsigned long, RefCountHandle<ImrOrb>>> m_by_process GUARDED_BY(m_mutex);
  unsigned long m_latest GUARDED_BY(m_mutex) = 0;
};

}  // namespace poalocd
