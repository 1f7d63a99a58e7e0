#include "platform/base/short_slices.h"

#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdint>

namespace {

constexpr std::uint64_t SLICE = 100'000;  // nanoseconds, the shortest that Linux gives

// struct sched_attr of sched_setattr(2). The C library has neither, and the kernel's header does not go with <sched.h>.
struct SchedulingAttributes {
  std::uint32_t size;
  std::uint32_t policy;
  std::uint64_t flags;
  std::int32_t nice;
  std::uint32_t priority;
  std::uint64_t runtime;  // nanoseconds; of SCHED_OTHER: the slice
  std::uint64_t deadline;
  std::uint64_t period;
};

}  // namespace

void ask_for_short_slices() {
  constexpr int THIS_THREAD = 0;
  SchedulingAttributes attributes{};
  if (::syscall(SYS_sched_getattr, THIS_THREAD, &attributes, sizeof attributes, 0) != 0) return;
  if (attributes.policy != SCHED_OTHER) return;
  attributes.runtime = SLICE;
  ::syscall(SYS_sched_setattr, THIS_THREAD, &attributes, 0);
}
