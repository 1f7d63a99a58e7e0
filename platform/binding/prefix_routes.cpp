#include "platform/binding/prefix_routes.h"

#include <stdexcept>
#include <utility>

#include "platform/binding/key_segments.h"

namespace QZ_Binding {

namespace {

using EntryPtr = std::unique_ptr<RouteEntry>;

bool is_of(const EntryPtr& entry, const Route& route) {
  return entry && entry->route().get() == &route;
}

EntryPtr make_entry(const std::shared_ptr<const Route>& route, const QZ_IOR::IOREndpointImpl* forward) {
  return RouteEntry::make(route, forward ? forward->packed_profiles() : RouteEntry::Octets());
}

}  // namespace

std::size_t PrefixRoutes::find_segments(Octets key, SegmentEnds& ends) {
  std::size_t count = 0;
  for (std::size_t position = 0; count < ends.size(); ++count) {
    const auto segment = key_segment_at(key, position);
    if (!segment) break;
    ends[count] = position = segment->end();
  }
  return count;
}

std::size_t PrefixRoutes::segments_of(std::string_view prefix) {
  SegmentEnds ends;
  const std::size_t count = find_segments({reinterpret_cast<const unsigned char*>(prefix.data()), prefix.size()}, ends);
  if (count == 0 || ends[count - 1] != prefix.size()) {
    throw std::invalid_argument("a key prefix must be 1 to 4 whole segments");
  }
  return count;
}

bool PrefixRoutes::add(const std::shared_ptr<const Route>& route, const QZ_IOR::IOREndpointImpl* forward) {
  Table& table = table_of(*route);
  EntryPtr entry = make_entry(route, forward);
  const bool added = table.routes.write(route->prefix(), [&](EntryPtr& place) {
    if (place) return false;
    place = std::move(entry);
    return true;
  });
  if (added) ++table.size;
  return added;
}

void PrefixRoutes::remove(const Route& route) {
  Table& table = table_of(route);
  const EntryPtr removed = table.routes.write(
      route.prefix(), [&](EntryPtr& place) { return is_of(place, route) ? std::move(place) : nullptr; });
  if (removed) --table.size;
}

void PrefixRoutes::set_forward(const std::shared_ptr<const Route>& route, const QZ_IOR::IOREndpointImpl* endpoint) {
  // What is not wanted any more goes outside of the lock.
  EntryPtr entry = endpoint ? make_entry(route, endpoint) : nullptr;
  table_of(*route).routes.write(route->prefix(), [&](EntryPtr& place) {
    const bool there = is_of(place, *route);
    if (there && entry) {
      place.swap(entry);
    } else if (there) {
      place->stop_forwarding();
    }
    return there;
  });
}

std::shared_ptr<const Route> PrefixRoutes::find(Octets key) const {
  constexpr std::size_t DOMAIN_SEGMENTS = 2;
  const auto route_of = [](const RouteEntry& entry, auto&&...) { return entry.route(); };
  if (key.empty()) return m_tables[DOMAIN_SEGMENTS - 1].routes.read_any(route_of);
  return visit_longest(key, route_of);
}

}  // namespace QZ_Binding
