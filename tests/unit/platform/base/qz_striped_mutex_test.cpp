#include "platform/base/qz_striped_mutex.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace {

TEST(QZStripedMutex, ReadersSeeNothingHalfWritten) {
  QZ_StripedMutex mutex;
  int first = 0;  // both guarded by the mutex
  int second = 0;
  std::atomic<bool> done{false};
  std::atomic<unsigned> reads{0}, torn{0};
  std::vector<std::thread> readers;
  for (int i = 0; i < 4; ++i) {
    readers.emplace_back([&] {
      while (!done) {
        const QZ_ReadLock lock(mutex);
        if (first != second) ++torn;
        ++reads;
      }
    });
  }
  for (int i = 1; i <= 1000 || reads < 1000; ++i) {
    const QZ_WriteLock lock(mutex);
    first = i;
    second = i;
  }
  done = true;
  for (std::thread& reader : readers) reader.join();
  EXPECT_EQ(torn, 0u);
}

TEST(QZStripedMutex, WritersExcludeEachOther) {
  QZ_StripedMutex mutex;
  int count = 0;  // guarded by the mutex
  constexpr int ROUNDS = 1000;
  std::vector<std::thread> writers;
  for (int i = 0; i < 4; ++i) {
    writers.emplace_back([&] {
      for (int round = 0; round < ROUNDS; ++round) {
        const QZ_WriteLock lock(mutex);
        ++count;
      }
    });
  }
  for (std::thread& writer : writers) writer.join();
  EXPECT_EQ(count, 4 * ROUNDS);
}

}  // namespace
