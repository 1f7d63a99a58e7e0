// Signals of the daemon's process.
#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <string>
#include <thread>

#include "platform/base/qz_mutex.h"

namespace poalocd {

// SIGTERM and SIGINT ask to stop; the second one ends the process at once with 128 + its number. SIGHUP calls
// on_hangup, on this object's thread. SIGPIPE is ignored. Made before any other thread, so that all inherit its signal
// mask; one in a process.
class SignalWatch {
 public:
  SignalWatch();
  ~SignalWatch();
  SignalWatch(const SignalWatch&) = delete;
  SignalWatch& operator=(const SignalWatch&) = delete;

  // Until then, and after an empty function, SIGHUP does nothing.
  void on_hangup(std::function<void()> action);

  // The signal's name; empty while nobody has asked to stop.
  std::string stop_asked() const;
  // Returns when somebody has.
  std::string wait_for_stop();

 private:
  void run();
  void handle(int number);

  mutable QZ_Mutex m_mutex;  // held while the action runs
  std::condition_variable_any m_changed;
  std::function<void()> m_hangup GUARDED_BY(m_mutex);
  int m_stop_signal GUARDED_BY(m_mutex) = 0;
  std::atomic<bool> m_ending{false};
  std::thread m_thread;
};

}  // namespace poalocd
