#include "platform/base/short_slices.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include <functional>
#include <thread>

#include "tests/support/scheduling.h"

namespace {

constexpr long SHORT_SLICE = 100'000;

auto slice_of_this_thread() {
  return support::slice_of("/proc/thread-self");
}

// Whatever the tests were started with.
void on_a_thread_of(int policy, const std::function<void()>& f) {
  std::thread([&] {
    const sched_param none{};
    ASSERT_EQ(sched_setscheduler(0, policy, &none), 0);
    f();
  }).join();
}

}  // namespace

TEST(ShortSlicesTest, ThreadThatAsksHasShortOnesAndKeepsItsNiceness) {
  on_a_thread_of(SCHED_OTHER, [] {
    const auto thread = static_cast<id_t>(gettid());
    const int niceness = getpriority(PRIO_PROCESS, thread) + 1;
    ASSERT_EQ(setpriority(PRIO_PROCESS, thread, niceness), 0);
    const auto before = slice_of_this_thread();
    ask_for_short_slices();
    EXPECT_EQ(slice_of_this_thread(), support::kernel_gives_slices() ? SHORT_SLICE : before);
    EXPECT_EQ(getpriority(PRIO_PROCESS, thread), niceness);
    EXPECT_EQ(sched_getscheduler(0), SCHED_OTHER);
  });
}

TEST(ShortSlicesTest, ThreadOfAnotherPolicyStaysAsItIs) {
  on_a_thread_of(SCHED_BATCH, [] {
    const auto before = slice_of_this_thread();
    ask_for_short_slices();
    EXPECT_EQ(sched_getscheduler(0), SCHED_BATCH);
    EXPECT_EQ(slice_of_this_thread(), before);
  });
}
