#include "platform/binding/route_entry.h"

#include <algorithm>
#include <new>
#include <utility>

namespace QZ_Binding {

RouteEntry::RouteEntry(std::shared_ptr<const Route> route, Octets profiles)
    : m_route(std::move(route)),
      m_key_size(static_cast<std::uint32_t>(m_route->prefix().size())),
      m_profiles_size(static_cast<std::uint32_t>(profiles.size())) {
  auto* const place = reinterpret_cast<unsigned char*>(this + 1);
  std::ranges::copy(profiles, std::ranges::copy(m_route->prefix(), place).out);
}

std::unique_ptr<RouteEntry> RouteEntry::make(std::shared_ptr<const Route> route, Octets profiles) {
  void* const memory = ::operator new(sizeof(RouteEntry) + route->prefix().size() + profiles.size());
  return std::unique_ptr<RouteEntry>(new (memory) RouteEntry(std::move(route), profiles));
}

}  // namespace QZ_Binding
