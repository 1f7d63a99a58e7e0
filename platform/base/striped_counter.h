#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

#include "platform/base/thread_number.h"

// Counts on many threads without their cores waiting for each other: each adds to a cell that few others use, and
// reading adds the cells up. Safe from any thread; a reader sees everything that happened before.
class StripedCounter {
 public:
  StripedCounter() = default;
  StripedCounter(const StripedCounter&) = delete;
  StripedCounter& operator=(const StripedCounter&) = delete;

  void operator++() { add(1); }
  void operator--() { add(~std::uint64_t{0}); }  // modulo the type's range

  operator std::uint64_t() const { return load(); }
  std::uint64_t load() const {
    std::uint64_t sum = 0;
    for (const Cell& cell : m_cells) sum += cell.value.load(std::memory_order_acquire);
    return sum;
  }

 private:
  static constexpr std::size_t CELLS = 8;
  struct alignas(64) Cell {
    std::atomic<std::uint64_t> value{0};
  };

  void add(std::uint64_t amount) {
    m_cells[thread_number() % CELLS].value.fetch_add(amount, std::memory_order_release);
  }

  std::array<Cell, CELLS> m_cells;
};
