#include "platform/pss/writer_queue.h"

#include <gmock/gmock.h>

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using QZ_PSS::WriterQueue;

TEST(WriterQueue, gives_the_free_turn_at_once) {
  WriterQueue queue;
  ASSERT_TRUE(queue.acquire(Clock::now()));
  queue.release();
  ASSERT_TRUE(queue.acquire(Clock::now()));
  queue.release();
}

TEST(WriterQueue, stops_waiting_at_the_deadline) {
  WriterQueue queue;
  ASSERT_TRUE(queue.acquire(Clock::now()));
  const auto deadline = Clock::now() + 20ms;
  EXPECT_FALSE(queue.acquire(deadline));
  EXPECT_GE(Clock::now(), deadline);
  queue.release();
  EXPECT_TRUE(queue.acquire(Clock::now()));
  queue.release();
}

TEST(WriterQueue, serves_those_that_wait_in_the_order_of_their_coming) {
  WriterQueue queue;
  std::vector<int> order;  // guarded by the turn
  ASSERT_TRUE(queue.acquire(Clock::now()));
  std::vector<std::thread> threads;
  for (int i = 0; i < 5; ++i) {
    threads.emplace_back([&, i] {
      ASSERT_TRUE(queue.acquire(Clock::now() + 60s));
      order.push_back(i);
      queue.release();
    });
    const auto limit = Clock::now() + 60s;
    while (queue.waiting() != static_cast<std::size_t>(i) + 1) {
      ASSERT_LT(Clock::now(), limit);
      std::this_thread::yield();
    }
  }
  queue.release();
  for (std::thread& thread : threads) thread.join();
  EXPECT_THAT(order, testing::ElementsAre(0, 1, 2, 3, 4));
}

TEST(WriterQueue, lets_one_in_at_a_time) {
  WriterQueue queue;
  int count = 0;  // guarded by the turn
  std::atomic<int> inside{0};
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 500; ++round) {
        // Some give up while others hand the turn over to them.
        const auto patience = round % 3 == 0 ? 0us : 60s;
        if (!queue.acquire(Clock::now() + patience)) continue;
        EXPECT_EQ(++inside, 1);
        ++count;
        --inside;
        queue.release();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_GE(count, 4 * 333);
  EXPECT_TRUE(queue.acquire(Clock::now()));
  queue.release();
}

}  // namespace
