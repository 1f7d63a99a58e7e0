#include "platform/binding/worker_pool.h"

namespace QZ_Binding {

void WorkerPool::start(unsigned threads) {
  for (unsigned i = 0; i < threads; ++i) {
    m_threads.emplace_back([this] {
      while (RequestRecord* record = next()) m_call(*record);
    });
  }
}

void WorkerPool::submit(RequestRecord& record) {
  {
    QZ_MutexLock lock(m_mutex);
    if (!m_stopped) {
      m_waiting.push_back(&record);
      m_changed.notify_one();
      return;
    }
  }
  m_drop(record);
}

void WorkerPool::stop() {
  std::deque<RequestRecord*> dropped;
  {
    QZ_MutexLock lock(m_mutex);
    m_stopped = true;
    dropped.swap(m_waiting);
    m_changed.notify_all();
  }
  for (RequestRecord* record : dropped) m_drop(*record);
  for (std::thread& thread : m_threads) thread.join();
  m_threads.clear();
}

RequestRecord* WorkerPool::next() {
  QZ_MutexLock lock(m_mutex);
  while (!m_stopped && m_waiting.empty()) m_changed.wait(m_mutex);
  if (m_waiting.empty()) return nullptr;
  RequestRecord* record = m_waiting.front();
  m_waiting.pop_front();
  return record;
}

}  // namespace QZ_Binding
