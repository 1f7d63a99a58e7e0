// "Stop new ones, then wait for those inside": counts who is inside, and once closed lets nobody in.
// Safe from any thread. The gate must outlive everyone inside it.
#pragma once

#include <condition_variable>

#include "platform/base/qz_mutex.h"

class Gate {
 public:
  // False once the gate is closed; true is paired with leave().
  [[nodiscard]] bool enter() {
    const QZ_MutexLock lock(m_mutex);
    if (m_closed) return false;
    ++m_inside;
    return true;
  }

  void leave() {
    const QZ_MutexLock lock(m_mutex);
    if (--m_inside == 0 && m_closed) m_empty.notify_all();
  }

  // Lets nobody in any more; does not wait.
  void close() {
    const QZ_MutexLock lock(m_mutex);
    m_closed = true;
  }

  // Closes, and returns when nobody is inside. Not for a thread that is inside itself.
  void close_and_wait() {
    const QZ_MutexLock lock(m_mutex);
    m_closed = true;
    m_empty.wait(m_mutex, [this]() REQUIRES(m_mutex) { return m_inside == 0; });
  }

 private:
  QZ_Mutex m_mutex;
  std::condition_variable_any m_empty;
  unsigned long m_inside GUARDED_BY(m_mutex) = 0;
  bool m_closed GUARDED_BY(m_mutex) = false;
};
