// Memory for many small things that are looked up at random.
#pragma once

#include <cstddef>
#include <memory_resource>

#include "platform/base/qz_mutex.h"

// Lies in huge pages where the system has them: so few that the processor knows the places of all of them, and that
// looking one of the things up waits for the thing itself only. What is given back is used again, but never leaves the
// process. Larger things than LARGEST lie in common memory. Safe from any thread.
class HugePagePool {
 public:
  static constexpr std::size_t LARGEST = 1024;
  static constexpr std::size_t ALIGNMENT = alignof(void*);  // the pool keeps no larger one for all sizes

  static void* allocate(std::size_t size);
  static void deallocate(void* memory, std::size_t size);

 private:
  // Chunks of huge pages, cut from front to back.
  class Chunks final : public std::pmr::memory_resource {
    void* do_allocate(std::size_t size, std::size_t alignment) override;
    // The pool gives nothing back but its lists when they grow.
    void do_deallocate(void*, std::size_t, std::size_t) override {}
    bool do_is_equal(const std::pmr::memory_resource& other) const noexcept override { return this == &other; }

    void* m_next = nullptr;
    std::size_t m_left = 0;
  };

  HugePagePool() = default;
  static HugePagePool& the_pool();
  void* take(std::size_t size) EXCLUDES(m_mutex);
  void give_back(void* memory, std::size_t size) EXCLUDES(m_mutex);

  // AddressSanitizer finds who uses things beyond their end, or once they were given back.
#if __has_feature(address_sanitizer)
  static constexpr std::size_t RED_ZONE = 16;
#else
  static constexpr std::size_t RED_ZONE = 0;
#endif
  // At most 256 things at once from the chunks: with more of the largest much of a chunk is left over, with fewer the
  // pool has more lots to search for a free place.
  static constexpr std::pmr::pool_options OPTIONS{256, LARGEST + RED_ZONE};

  QZ_Mutex m_mutex;
  Chunks m_chunks;  // used by the pool alone
  std::pmr::unsynchronized_pool_resource m_pool GUARDED_BY(m_mutex){OPTIONS, &m_chunks};
};
