// A mutex that its holder may lock again, for objects whose destruction re-enters them.
#pragma once

#include <mutex>

#include "platform/base/thread_annotations.h"

class CAPABILITY("mutex") QZ_RecursiveMutex {
 public:
  void lock() ACQUIRE() { m_mutex.lock(); }
  void unlock() RELEASE() { m_mutex.unlock(); }

 private:
  std::recursive_mutex m_mutex;
};

// Holds a QZ_RecursiveMutex from construction to the end of the scope.
class SCOPED_CAPABILITY QZ_RecursiveMutexLock {
 public:
  explicit QZ_RecursiveMutexLock(QZ_RecursiveMutex& mutex) ACQUIRE(mutex) : m_mutex(mutex) { m_mutex.lock(); }
  ~QZ_RecursiveMutexLock() RELEASE() { m_mutex.unlock(); }
  QZ_RecursiveMutexLock(const QZ_RecursiveMutexLock&) = delete;
  QZ_RecursiveMutexLock& operator=(const QZ_RecursiveMutexLock&) = delete;

 private:
  QZ_RecursiveMutex& m_mutex;
};
