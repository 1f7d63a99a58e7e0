#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <thread>
#include <utility>
#include <vector>

#include "platform/base/qz_mutex.h"

namespace QZ_Binding {

class RequestRecord;

// Threads for interceptor calls that may wait. Requests are begun in the order in which they are submitted.
// Safe from any thread.
class WorkerPool {
 public:
  using Function = std::function<void(RequestRecord&)>;

  // call: what a worker does with a request. drop: what is done with it once the pool has stopped.
  WorkerPool(Function call, Function drop) : m_call(std::move(call)), m_drop(std::move(drop)) {}
  ~WorkerPool() { stop(); }

  void start(unsigned threads);
  // Never waits.
  void submit(RequestRecord& record);
  // Drops what no worker has begun, and returns when the running calls have returned. Not for a worker.
  void stop();

 private:
  // Waits for it; null when the pool has stopped.
  RequestRecord* next();

  const Function m_call;
  const Function m_drop;
  std::vector<std::thread> m_threads;  // changed by start and stop only

  QZ_Mutex m_mutex;  // guards the members below
  std::condition_variable_any m_changed;
  std::deque<RequestRecord*> m_waiting GUARDED_BY(m_mutex);
  bool m_stopped GUARDED_BY(m_mutex) = false;
};

}  // namespace QZ_Binding
