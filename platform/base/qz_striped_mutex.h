// A mutex for readers on many threads, that come all the time, and a writer now and then. Not recursive.
//
// A reader locks a stripe that few other threads use, and so does not wait for other readers' cores, as all do for the
// count of a std::shared_mutex; a writer locks all stripes, which takes some hundreds of nanoseconds.
#pragma once

#include <array>
#include <mutex>

#include "platform/base/thread_annotations.h"
#include "platform/base/thread_number.h"

class CAPABILITY("shared mutex") QZ_StripedMutex {
 public:
  void lock() ACQUIRE() {
    for (Stripe& stripe : m_stripes) stripe.mutex.lock();
  }
  void unlock() RELEASE() {
    for (Stripe& stripe : m_stripes) stripe.mutex.unlock();
  }

 private:
  friend class QZ_ReadLock;

  struct alignas(64) Stripe {
    std::mutex mutex;
  };

  std::mutex& own_stripe() { return m_stripes[thread_number() % m_stripes.size()].mutex; }

  std::array<Stripe, 8> m_stripes;
};

// Holds a QZ_StripedMutex as the writer from construction to the end of the scope.
class SCOPED_CAPABILITY QZ_WriteLock {
 public:
  explicit QZ_WriteLock(QZ_StripedMutex& mutex) ACQUIRE(mutex) : m_mutex(mutex) { m_mutex.lock(); }
  ~QZ_WriteLock() RELEASE() { m_mutex.unlock(); }
  QZ_WriteLock(const QZ_WriteLock&) = delete;
  QZ_WriteLock& operator=(const QZ_WriteLock&) = delete;

 private:
  QZ_StripedMutex& m_mutex;
};

// The same as a reader.
class SCOPED_CAPABILITY QZ_ReadLock {
 public:
  explicit QZ_ReadLock(QZ_StripedMutex& mutex) ACQUIRE_SHARED(mutex) : m_stripe(mutex.own_stripe()) { m_stripe.lock(); }
  ~QZ_ReadLock() RELEASE() { m_stripe.unlock(); }
  QZ_ReadLock(const QZ_ReadLock&) = delete;
  QZ_ReadLock& operator=(const QZ_ReadLock&) = delete;

 private:
  std::mutex& m_stripe;
};
