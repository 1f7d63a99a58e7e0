// Calls a function at an interval, on a thread of its own.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <thread>

#include "platform/base/qz_mutex.h"

namespace PoaLocator {

class PeriodicCheck {
 public:
  // The first call comes after one interval. An interval of 0: never. check must not throw.
  PeriodicCheck(std::chrono::milliseconds interval, std::function<void()> check);
  ~PeriodicCheck() { stop(); }
  PeriodicCheck(const PeriodicCheck&) = delete;
  PeriodicCheck& operator=(const PeriodicCheck&) = delete;

  // Returns when no call is under way and none will come. Not from within check. A second call returns at once.
  void stop();

 private:
  void run();
  // An interval later; false, at once, when there is to be no further call.
  bool wait_for_next();

  const std::chrono::milliseconds m_interval;
  const std::function<void()> m_check;
  QZ_Mutex m_mutex;
  std::condition_variable_any m_stop;
  bool m_stopped GUARDED_BY(m_mutex) = false;
  std::thread m_thread GUARDED_BY(m_mutex);  // after construction
};

}  // namespace PoaLocator
