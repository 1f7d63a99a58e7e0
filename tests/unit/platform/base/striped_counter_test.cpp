#include "platform/base/striped_counter.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {

TEST(StripedCounterTest, AddsUpWhatAllThreadsHaveCounted) {
  constexpr unsigned THREADS = 20;
  constexpr unsigned COUNT = 1000;
  StripedCounter counter;
  std::vector<std::thread> threads;
  for (unsigned i = 0; i < THREADS; ++i) {
    threads.emplace_back([&] {
      for (unsigned n = 0; n < COUNT; ++n) ++counter;
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(counter.load(), THREADS * COUNT);
}

TEST(StripedCounterTest, OneThreadTakesOffWhatAnotherHasAdded) {
  StripedCounter counter;
  std::thread([&] {
    ++counter;
    ++counter;
  }).join();
  std::thread([&] { --counter; }).join();
  EXPECT_EQ(counter.load(), 1u);
}

}  // namespace
