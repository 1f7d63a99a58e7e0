// Bounds the time that an orderly end takes.
#pragma once

#include <condition_variable>
#include <thread>

#include "daemon/event_log_impl.h"
#include "daemon/settings.h"
#include "platform/base/qz_mutex.h"
#include "platform/base/ref_count_handle.h"

namespace poalocd {

// The end waits for calls to servers, which may hang; a call on its way cannot be cut short. As nothing that counts is
// in memory alone, the process may then just as well end at once.
class StopLimit {
 public:
  StopLimit() = default;
  // In time.
  ~StopLimit();
  StopLimit(const StopLimit&) = delete;
  StopLimit& operator=(const StopLimit&) = delete;

  // From now on this object has that time to go; then the process ends with EXIT_STOPPED. Once.
  void begin(Milliseconds limit, RefCountHandle<EventLogImpl> log);

 private:
  QZ_Mutex m_mutex;
  std::condition_variable_any m_changed;
  bool m_over GUARDED_BY(m_mutex) = false;
  std::thread m_thread;
};

}  // namespace poalocd
