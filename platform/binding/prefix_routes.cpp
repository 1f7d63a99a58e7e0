#include "platform/binding/prefix_routes.h"

#include <stdexcept>
#include <utility>

#include "platform/binding/key_segments.h"

namespace QZ_Binding {

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

bool PrefixRoutes::add(const std::shared_ptr<const Route>& route) {
  Table& table = table_of(*route);
  const bool added = table.routes.update(route->prefix(), [&](Entry& place) {
    if (place.route) return false;
    place.route = route;
    return true;
  });
  if (added) ++table.size;
  return added;
}

void PrefixRoutes::remove(const Route& route) {
  Table& table = table_of(route);
  const Entry removed =
      table.routes.remove_if(route.prefix(), [&](const Entry& there) { return there.route.get() == &route; });
  if (removed.route) --table.size;
}

void PrefixRoutes::set_forward(const Route& route, QZ_IOR::IOREndpointImpl* endpoint) {
  auto forward = RefCountHandle<QZ_IOR::IOREndpointImpl>::share(endpoint);  // what is old goes outside of the lock
  table_of(route).routes.update_if_there(route.prefix(), [&](Entry& place) {
    if (place.route.get() == &route) std::swap(place.forward, forward);
  });
}

std::shared_ptr<const Route> PrefixRoutes::find(Octets key) const {
  constexpr std::size_t DOMAIN_SEGMENTS = 2;
  if (key.empty()) return m_tables[DOMAIN_SEGMENTS - 1].routes.any().route;
  return visit_longest(key, [](const Entry& entry, Octets) { return entry.route; });
}

}  // namespace QZ_Binding
