// "Stop new ones, then wait for those inside": counts who is inside, and once closed lets nobody in.
// Safe from any thread. The gate must outlive everyone inside it.
#pragma once

#include <condition_variable>
#include <mutex>

class Gate {
 public:
  // False once the gate is closed; true is paired with leave().
  [[nodiscard]] bool enter() {
    std::lock_guard lock(m_mutex);
    if (m_closed) return false;
    ++m_inside;
    return true;
  }

  void leave() {
    std::lock_guard lock(m_mutex);
    if (--m_inside == 0) m_empty.notify_all();
  }

  // Lets nobody in any more; does not wait.
  void close() {
    std::lock_guard lock(m_mutex);
    m_closed = true;
  }

  // Closes, and returns when nobody is inside. Not for a thread that is inside itself.
  void close_and_wait() {
    std::unique_lock lock(m_mutex);
    m_closed = true;
    m_empty.wait(lock, [this] { return m_inside == 0; });
  }

 private:
  std::mutex m_mutex;  // guards both members below
  std::condition_variable m_empty;
  unsigned long m_inside = 0;
  bool m_closed = false;
};
