#include "platform/base/short_slices.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <functional>
#include <optional>
#include <string>
#include <thread>

namespace {

constexpr long SHORT_SLICE = 100'000;

// What the kernel says of the calling thread; nothing where it does not tell.
std::optional<long> slice_of_this_thread() {
  std::ifstream file("/proc/thread-self/sched");
  for (std::string word; file >> word;) {
    long value = 0;
    if (word == "se.slice" && file >> word >> value) return value;
  }
  return std::nullopt;
}

bool kernel_gives_short_slices() {
  utsname system{};
  int major = 0;
  int minor = 0;
  uname(&system);
  return std::sscanf(system.release, "%d.%d", &major, &minor) == 2 && (major > 6 || (major == 6 && minor >= 12)) &&
         slice_of_this_thread().has_value();
}

void on_a_thread(const std::function<void()>& f) {
  std::thread(f).join();
}

}  // namespace

TEST(ShortSlicesTest, ThreadThatAsksHasShortOnesAndOthersDoNot) {
  on_a_thread([] {
    const auto before = slice_of_this_thread();
    ask_for_short_slices();
    EXPECT_EQ(slice_of_this_thread(), kernel_gives_short_slices() ? SHORT_SLICE : before);
  });
  on_a_thread([] { EXPECT_NE(slice_of_this_thread(), SHORT_SLICE); });
}

TEST(ShortSlicesTest, ThreadKeepsItsNiceness) {
  on_a_thread([] {
    const auto thread = static_cast<id_t>(gettid());
    constexpr int NICENESS = 5;
    ASSERT_EQ(setpriority(PRIO_PROCESS, thread, NICENESS), 0);
    ask_for_short_slices();
    EXPECT_EQ(getpriority(PRIO_PROCESS, thread), NICENESS);
    EXPECT_EQ(sched_getscheduler(0), SCHED_OTHER);
  });
}

TEST(ShortSlicesTest, ThreadOfAnotherPolicyStaysAsItIs) {
  on_a_thread([] {
    const sched_param none{};
    ASSERT_EQ(sched_setscheduler(0, SCHED_BATCH, &none), 0);
    const auto before = slice_of_this_thread();
    ask_for_short_slices();
    EXPECT_EQ(sched_getscheduler(0), SCHED_BATCH);
    EXPECT_EQ(slice_of_this_thread(), before);
  });
}
