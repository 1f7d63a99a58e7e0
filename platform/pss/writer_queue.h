// The one write turn of a store within the process: first come, first served.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <list>

#include "platform/base/qz_mutex.h"

namespace QZ_PSS {

// Safe from any thread.
class WriterQueue {
 public:
  // False when the turn did not come before the deadline; true is paired with release().
  [[nodiscard]] bool acquire(std::chrono::steady_clock::time_point deadline);
  // From any thread.
  void release();
  // How many wait for the turn now.
  std::size_t waiting() const;

 private:
  struct Waiter {
    std::condition_variable_any turn;
    bool granted = false;
  };

  mutable QZ_Mutex m_mutex;  // guards the waiters' contents too
  bool m_taken GUARDED_BY(m_mutex) = false;
  std::list<Waiter*> m_waiting GUARDED_BY(m_mutex);
};

}  // namespace QZ_PSS
