// Calls a function at an interval, on a thread of its own.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

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

  const std::chrono::milliseconds m_interval;
  const std::function<void()> m_check;
  std::mutex m_mutex;  // guards m_stopped and, after construction, m_thread
  std::condition_variable m_stop;
  bool m_stopped = false;
  std::thread m_thread;
};

}  // namespace PoaLocator
