// A plain mutex that the thread-safety analysis knows. Locking it twice on one thread is an error.
#pragma once

#include <mutex>

#include "platform/base/thread_annotations.h"

class CAPABILITY("mutex") QZ_Mutex {
 public:
  void lock() ACQUIRE() { m_mutex.lock(); }
  bool try_lock() TRY_ACQUIRE(true) { return m_mutex.try_lock(); }
  void unlock() RELEASE() { m_mutex.unlock(); }


 private:
  std::mutex m_mutex;
};

// Holds a QZ_Mutex from construction to the end of the scope.
class SCOPED_CAPABILITY QZ_MutexLock {
 public:
  explicit QZ_MutexLock(QZ_Mutex& mutex) ACQUIRE(mutex) : m_mutex(mutex) { m_mutex.lock(); }
  ~QZ_MutexLock() RELEASE() { m_mutex.unlock(); }
  QZ_MutexLock(const QZ_MutexLock&) = delete;
  QZ_MutexLock& operator=(const QZ_MutexLock&) = delete;

 private:
  QZ_Mutex& m_mutex;
};
