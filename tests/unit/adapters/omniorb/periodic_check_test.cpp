#include "adapters/omniorb/periodic_check.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>

namespace {

using namespace std::chrono_literals;
using PoaLocator::PeriodicCheck;

TEST(PeriodicCheck, calls_again_and_again) {
  std::promise<void> third;
  int calls = 0;
  PeriodicCheck check(1ms, [&] {
    if (++calls == 3) third.set_value();
  });
  EXPECT_EQ(third.get_future().wait_for(10s), std::future_status::ready);
}

TEST(PeriodicCheck, never_calls_at_an_interval_of_0) {
  std::atomic<int> calls{0};
  PeriodicCheck check(0ms, [&] { ++calls; });
  check.stop();
  EXPECT_EQ(calls, 0);
}

TEST(PeriodicCheck, stops_without_waiting_for_the_interval) {
  PeriodicCheck check(1h, [] {});
  const auto begin = std::chrono::steady_clock::now();
  check.stop();
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 10s);
}

TEST(PeriodicCheck, is_not_calling_any_more_when_it_has_stopped) {
  std::promise<void> called;
  std::promise<void> go_on;
  std::atomic<bool> finished{false};
  PeriodicCheck check(1ms, [&, first = true]() mutable {
    if (!first) return;
    first = false;
    called.set_value();
    go_on.get_future().wait();
    finished = true;
  });
  called.get_future().wait();
  auto stopped = std::async(std::launch::async, [&] {
    check.stop();
    return finished.load();
  });
  go_on.set_value();
  EXPECT_TRUE(stopped.get());
}

}  // namespace
