// Waiting for conditions with a limit.
#pragma once

#include <chrono>
#include <thread>

namespace support {

// POALOCATOR_TEST_TIME_FACTOR stretches every limit, for builds with slow instrumentation.
double time_factor();

inline std::chrono::milliseconds scaled(std::chrono::milliseconds limit) {
  return std::chrono::milliseconds(static_cast<long>(static_cast<double>(limit.count()) * time_factor()));
}

// Polls condition until it holds; false when it still does not hold after limit (stretched).
template <typename Condition>
bool wait_until(Condition condition, std::chrono::milliseconds limit = std::chrono::seconds(15)) {
  const auto end = std::chrono::steady_clock::now() + scaled(limit);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return condition();
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

}  // namespace support
