#include "platform/binding/route_entry.h"

#include <algorithm>
#include <new>
#include <utility>

#include "platform/base/huge_page_pool.h"

namespace QZ_Binding {

RouteEntry::RouteEntry(std::shared_ptr<const Route> route, Octets profiles) noexcept
    : m_route(std::move(route)),
      m_key_size(static_cast<std::uint32_t>(m_route->prefix().size())),
      m_profiles_size(static_cast<std::uint32_t>(profiles.size())),
      m_forwards(!profiles.empty()) {
  auto* const place = reinterpret_cast<unsigned char*>(this + 1);
  std::ranges::copy(profiles, std::ranges::copy(m_route->prefix(), place).out);
}

std::unique_ptr<RouteEntry> RouteEntry::make(std::shared_ptr<const Route> route, Octets profiles) {
  static_assert(alignof(RouteEntry) <= HugePagePool::ALIGNMENT);
  void* const memory = HugePagePool::allocate(sizeof(RouteEntry) + route->prefix().size() + profiles.size());
  return std::unique_ptr<RouteEntry>(new (memory) RouteEntry(std::move(route), profiles));
}

void RouteEntry::operator delete(RouteEntry* entry, std::destroying_delete_t) {
  const std::size_t size = entry->size();
  entry->~RouteEntry();
  HugePagePool::deallocate(entry, size);
}

}  // namespace QZ_Binding
