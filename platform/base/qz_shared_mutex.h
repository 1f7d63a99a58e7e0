// A mutex for many readers or one writer that the thread-safety analysis knows. Not recursive.
#pragma once

#include <shared_mutex>

#include "platform/base/thread_annotations.h"

#define ACQUIRE_SHARED(...) QZ_THREAD_ATTRIBUTE(acquire_shared_capability(__VA_ARGS__))
#define RELEASE_SHARED(...) QZ_THREAD_ATTRIBUTE(release_shared_capability(__VA_ARGS__))

class CAPABILITY("shared mutex") QZ_SharedMutex {
 public:
  void lock() ACQUIRE() { m_mutex.lock(); }
  void unlock() RELEASE() { m_mutex.unlock(); }
  void lock_shared() ACQUIRE_SHARED() { m_mutex.lock_shared(); }
  void unlock_shared() RELEASE_SHARED() { m_mutex.unlock_shared(); }

 private:
  std::shared_mutex m_mutex;
};

// Holds a QZ_SharedMutex as a writer from construction to the end of the scope.
class SCOPED_CAPABILITY QZ_WriteLock {
 public:
  explicit QZ_WriteLock(QZ_SharedMutex& mutex) ACQUIRE(mutex) : m_mutex(mutex) { m_mutex.lock(); }
  ~QZ_WriteLock() RELEASE() { m_mutex.unlock(); }
  QZ_WriteLock(const QZ_WriteLock&) = delete;
  QZ_WriteLock& operator=(const QZ_WriteLock&) = delete;

 private:
  QZ_SharedMutex& m_mutex;
};

// The same as a reader.
class SCOPED_CAPABILITY QZ_ReadLock {
 public:
  explicit QZ_ReadLock(QZ_SharedMutex& mutex) ACQUIRE_SHARED(mutex) : m_mutex(mutex) { m_mutex.lock_shared(); }
  ~QZ_ReadLock() RELEASE() { m_mutex.unlock_shared(); }
  QZ_ReadLock(const QZ_ReadLock&) = delete;
  QZ_ReadLock& operator=(const QZ_ReadLock&) = delete;

 private:
  QZ_SharedMutex& m_mutex;
};
