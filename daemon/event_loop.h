// One thread that waits for descriptors and times on behalf of the host.
#pragma once

#include <functional>
#include <memory>
#include <qz_logging.hh>

#include "daemon/settings.h"

namespace poalocd {

// Tasks run one at a time, on the loop's thread, from begin() on; an exception of one is logged and the next one runs.
// post, after and when_readable are safe from any thread; what they are given before begin() is kept until then.
class EventLoop {
 public:
  using Task = std::function<void()>;

  explicit EventLoop(QZ_Logging::EventLog_ptr log);
  // Stops.
  ~EventLoop();
  EventLoop(const EventLoop&) = delete;
  EventLoop& operator=(const EventLoop&) = delete;

  void begin();
  // What was posted before still runs; other tasks are dropped. Returns when no task runs any more. Not for the loop's
  // own thread.
  void stop();

  void post(Task task);
  void after(Milliseconds delay, Task task);
  // Once. The descriptor stays the caller's and may be closed at any time.
  // std::system_error when it cannot be waited for.
  void when_readable(int fd, Task task);

 private:
  class Impl;
  const std::unique_ptr<Impl> m_impl;
};

}  // namespace poalocd
