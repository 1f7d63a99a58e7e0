#include "platform/base/gate.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;

TEST(Gate, lets_everybody_in_until_it_is_closed) {
  Gate gate;
  EXPECT_TRUE(gate.enter());
  EXPECT_TRUE(gate.enter());
  gate.close();
  EXPECT_FALSE(gate.enter());
  gate.leave();
  EXPECT_FALSE(gate.enter());
  gate.leave();
}

TEST(Gate, closes_at_once_when_nobody_is_inside) {
  Gate gate;
  gate.close_and_wait();
  EXPECT_FALSE(gate.enter());
  gate.close_and_wait();
}

TEST(Gate, waits_for_those_inside) {
  Gate gate;
  ASSERT_TRUE(gate.enter());
  ASSERT_TRUE(gate.enter());
  std::atomic<int> left{0};
  auto closed = std::async(std::launch::async, [&] {
    gate.close_and_wait();
    return left.load();
  });
  while (gate.enter()) gate.leave();  // until the closing has begun
  EXPECT_EQ(closed.wait_for(0s), std::future_status::timeout);
  for (int i = 0; i < 2; ++i) {
    ++left;
    gate.leave();
  }
  EXPECT_EQ(closed.get(), 2);
}

TEST(Gate, counts_many_threads) {
  Gate gate;
  std::atomic<int> inside{0};
  std::atomic<long> visits{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      while (gate.enter()) {
        ++inside;
        ++visits;
        --inside;
        gate.leave();
      }
    });
  }
  while (visits < 1000) std::this_thread::yield();
  gate.close_and_wait();
  EXPECT_EQ(inside, 0);
  for (auto& thread : threads) thread.join();
}

}  // namespace
