#include "platform/binding/prefix_routes.h"

#include <stdexcept>

#include "platform/binding/key_segments.h"

namespace QZ_Binding {

namespace {

std::string_view as_text(std::span<const unsigned char> octets) {
  return {reinterpret_cast<const char*>(octets.data()), octets.size()};
}

// ends[n]: where segment n of the key ends. How many segments there are, up to MAX_SEGMENTS.
std::size_t find_segments(std::span<const unsigned char> key,
                          std::array<std::size_t, PrefixRoutes::MAX_SEGMENTS>& ends) {
  std::size_t count = 0;
  for (std::size_t position = 0; count < ends.size(); ++count) {
    const auto segment = key_segment_at(key, position);
    if (!segment) break;
    ends[count] = position = segment->end();
  }
  return count;
}

// The number of segments of a registered prefix, which holds nothing else.
std::size_t segments_of(std::string_view prefix) {
  std::array<std::size_t, PrefixRoutes::MAX_SEGMENTS> ends;
  const std::size_t count = find_segments({reinterpret_cast<const unsigned char*>(prefix.data()), prefix.size()}, ends);
  if (count == 0 || ends[count - 1] != prefix.size()) {
    throw std::invalid_argument("a key prefix must be 1 to 4 whole segments");
  }
  return count;
}

}  // namespace

bool PrefixRoutes::add(const std::shared_ptr<const Route>& route) {
  Table& table = m_tables[segments_of(route->prefix()) - 1];
  const bool added = table.routes.update(route->prefix(), [&](std::shared_ptr<const Route>& place) {
    if (place) return false;
    place = route;
    return true;
  });
  if (added) ++table.size;
  return added;
}

void PrefixRoutes::remove(const Route& route) {
  Table& table = m_tables[segments_of(route.prefix()) - 1];
  const auto removed = table.routes.remove_if(
      route.prefix(), [&](const std::shared_ptr<const Route>& there) { return there.get() == &route; });
  if (removed) --table.size;
}

std::shared_ptr<const Route> PrefixRoutes::find(Octets key) const {
  constexpr std::size_t DOMAIN_SEGMENTS = 2;
  if (key.empty()) return m_tables[DOMAIN_SEGMENTS - 1].routes.any();

  std::array<std::size_t, MAX_SEGMENTS> ends;
  for (std::size_t count = find_segments(key, ends); count > 0; --count) {
    const Table& table = m_tables[count - 1];
    if (table.size.load(std::memory_order_relaxed) == 0) continue;
    auto found = table.routes.read(as_text(key.first(ends[count - 1])),
                                   [](const std::shared_ptr<const Route>& route) { return route; });
    if (found) return found;
  }
  return nullptr;
}

}  // namespace QZ_Binding
