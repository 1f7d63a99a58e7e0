#pragma once

#include <functional>
#include <qz_imr_internal.hh>
#include <qz_locator_admin.hh>
#include <qz_logging.hh>
#include <string>

#include "daemon/event_loop.h"
#include "daemon/store_access.h"
#include "daemon/store_lock.h"

namespace poalocd {

// What the host's processes need of the host; outlives their work.
struct ProcessContext {
  EventLoop& loop;
  QZ_Logging::EventLog_var log;
  StoreAccess store;
  QZ_IMRInternal::ORBRegistry_var orbs;
  QZ_IMRInternal::ProcessRegistry_var processes;
  std::string domain;
  // Where servers reach the locator (POALOCATOR_URL); empty when there is no front door.
  std::string url;
  // Where runs are noted that have no record yet.
  StoreLock& store_lock;
  // The administration object of a process; empty while none is served. Set before the host starts.
  std::function<QZ_LocatorAdmin::ActiveProcess_ptr(const std::string& name)> reference = {};
};

}  // namespace poalocd
