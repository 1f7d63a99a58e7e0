// The server processes that run, or are expected to.
#pragma once

#include <map>
#include <qz_locator_internal.hh>
#include <string>
#include <unordered_map>
#include <vector>

#include "daemon/active_process_impl.h"
#include "platform/base/ref_count_handle.h"

namespace poalocd {

// Safe from any thread. There is one object a process name from its first use to the host's end, so that no two of
// them ever start the same process; find() shows it only while it has a run or an ORB.
class ActiveProcessRegistryImpl : public virtual QZ_LocatorInternal::ActiveProcessRegistry,
                                  public QZ_CORBA::RefCountedLocalObject {
 public:
  explicit ActiveProcessRegistryImpl(ProcessContext& context) : m_context(context) {}

  // Takes up the runs that an earlier daemon recorded, and those found by find_runs(). Once, before anything else.
  void load(std::map<std::string, ProcessIdentity> found);

  QZ_LocatorInternal::ActiveProcess_ptr find(const char* name) override;
  // The existing entry when there is one. BAD_PARAM for nil.
  QZ_LocatorInternal::ActiveProcess_ptr create(QZ_IMRInternal::Process_ptr process, CORBA::Boolean running) override;

  std::vector<RefCountHandle<ActiveProcessImpl>> list() const;

 private:
  RefCountHandle<ActiveProcessImpl> get_or_make(const std::string& name);

  ProcessContext& m_context;
  mutable QZ_Mutex m_mutex;
  std::unordered_map<std::string, RefCountHandle<ActiveProcessImpl>> m_processes GUARDED_BY(m_mutex);
};

}  // namespace poalocd
