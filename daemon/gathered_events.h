// Lets the event log write many lines at a time while very many come at once.
#pragma once

#include "daemon/event_log_impl.h"

namespace poalocd {

// From construction to the end of the scope the log gathers (EventLogImpl::gather). What it has gathered is written
// out, too, when the process dies of a signal that stands for a defect, such as SIGSEGV or SIGABRT.
// One at a time in a process.
class GatheredEvents {
 public:
  explicit GatheredEvents(EventLogImpl& log);
  ~GatheredEvents();
  GatheredEvents(const GatheredEvents&) = delete;
  GatheredEvents& operator=(const GatheredEvents&) = delete;

 private:
  EventLogImpl& m_log;
};

}  // namespace poalocd
