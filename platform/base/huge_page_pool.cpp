#include "platform/base/huge_page_pool.h"

#include <sanitizer/asan_interface.h>
#include <sys/mman.h>

#include <algorithm>
#include <memory>
#include <new>

namespace {

constexpr std::size_t HUGE_PAGE = 2 << 20;

}  // namespace

void* HugePagePool::Chunks::do_allocate(std::size_t size, std::size_t alignment) {
  if (!std::align(alignment, size, m_next, m_left)) {
    const std::size_t chunk = (size + HUGE_PAGE - 1) / HUGE_PAGE * HUGE_PAGE;
    m_next = ::operator new(chunk, std::align_val_t(HUGE_PAGE));
    m_left = chunk;
    ::madvise(m_next, chunk, MADV_HUGEPAGE);  // where this fails, it is memory all the same
  }
  void* const result = m_next;
  m_next = static_cast<std::byte*>(m_next) + size;
  m_left -= size;
  return result;
}

HugePagePool& HugePagePool::the_pool() {
  // Not destroyed, as what lies in it may outlive any static object.
  static HugePagePool& pool = *new HugePagePool;
  return pool;
}

void* HugePagePool::allocate(std::size_t size) {
  return size > LARGEST ? ::operator new(size) : the_pool().take(size);
}

void HugePagePool::deallocate(void* memory, std::size_t size) {
  if (size > LARGEST) {
    ::operator delete(memory);
  } else {
    the_pool().give_back(memory, size);
  }
}

void* HugePagePool::take(std::size_t size) {
  QZ_MutexLock lock(m_mutex);
  void* const memory = m_pool.allocate(size + RED_ZONE, ALIGNMENT);
  ASAN_POISON_MEMORY_REGION(memory, size + RED_ZONE);
  ASAN_UNPOISON_MEMORY_REGION(memory, size);
  return memory;
}

void HugePagePool::give_back(void* memory, std::size_t size) {
  QZ_MutexLock lock(m_mutex);
  m_pool.deallocate(memory, size + RED_ZONE, ALIGNMENT);
  ASAN_POISON_MEMORY_REGION(memory, size);  // the pool has its books elsewhere
}
