// The server processes that run, or are expected to.
#pragma once

#include <functional>
#include <map>
#include <qz_locator_internal.hh>
#include <string>
#include <utility>
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

  // Makes the administration object of the process of that name. Before the host starts.
  using MakeReference = std::function<QZ_LocatorAdmin::ActiveProcess_ptr(const std::string& name)>;
  void set_references(MakeReference make) { m_context.reference = std::move(make); }

  // Takes up the runs that an earlier daemon recorded, and those found by find_runs(). Once, before anything else.
  void load(std::map<std::string, ProcessIdentity> found);

  QZ_LocatorInternal::ActiveProcess_ptr find(const char* name) override;
  // The existing entry when there is one. BAD_PARAM for nil.
  QZ_LocatorInternal::ActiveProcess_ptr create(QZ_IMRInternal::Process_ptr process, CORBA::Boolean running) override;

  std::vector<RefCountHandle<ActiveProcessImpl>> list() const;
  // Those behind that name, in the order of their names, running or not.
  std::vector<RefCountHandle<ActiveProcessImpl>> page(const std::string& after, std::size_t how_many) const;
  // Of a configured process, running or not; null when there is none.
  RefCountHandle<ActiveProcessImpl> find_configured(const std::string& name);

 private:
  RefCountHandle<ActiveProcessImpl> get_or_make(const std::string& name);

  ProcessContext& m_context;
  mutable QZ_Mutex m_mutex;
  std::map<std::string, RefCountHandle<ActiveProcessImpl>> m_processes GUARDED_BY(m_mutex);
};

}  // namespace poalocd
