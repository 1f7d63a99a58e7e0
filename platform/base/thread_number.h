#pragma once

#include <atomic>
#include <cstddef>

// 0 for the first thread that asks, 1 for the next, and so on: what spreads threads over the stripes of something.
inline std::size_t thread_number() {
  static std::atomic<std::size_t> threads{0};
  thread_local const std::size_t number = threads.fetch_add(1, std::memory_order_relaxed);
  return number;
}
