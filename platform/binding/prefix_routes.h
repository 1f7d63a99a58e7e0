// Which interceptor serves which object keys.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <memory>
#include <span>
#include <string_view>
#include <utility>

#include "platform/binding/route_entry.h"
#include "platform/binding/sharded_set.h"
#include "platform/orb/ior_endpoint_impl.h"

namespace QZ_Binding {

// Routes by key prefixes of whole segments, hashed, in one table per number of segments: a look-up reads the key's
// frames and asks for the longest prefix first. Its cost depends on neither the number of routes nor the key's length
// behind the prefix. Safe from any thread; readers of different prefixes seldom share a lock.
class PrefixRoutes {
 public:
  using Octets = std::span<const unsigned char>;
  static constexpr std::size_t MAX_SEGMENTS = 4;

  // forward: as for set_forward. False when the prefix is taken already. std::invalid_argument when it is not 1 to
  // MAX_SEGMENTS whole segments.
  bool add(const std::shared_ptr<const Route>& route, const QZ_IOR::IOREndpointImpl* forward = nullptr);
  // Does nothing when another route has the prefix by now, or none.
  void remove(const Route& route);

  // Where requests of the route are forwarded without its interceptor; null: nowhere. Keeps nothing of the
  // endpoint by reference. Does nothing when another route has the prefix by now, or none.
  void set_forward(const std::shared_ptr<const Route>& route, const QZ_IOR::IOREndpointImpl* endpoint);

  // The longest prefix wins; null when none fits. An empty key goes to some route of two segments.
  std::shared_ptr<const Route> find(Octets key) const;

  // f(const QZ_IOR::ProfileList&, what follows the prefix in the key) where the longest prefix is shorter than the
  // key and its route has a forward; else nothing, and false. f must be short and must not call anything that locks.
  template <class Function>
  bool with_forward(Octets key, Function f) const {
    return visit_longest(key, [&](const RouteEntry& entry, Octets rest) {
      if (!entry.forwards() || rest.empty()) return false;
      f(entry.profiles(), rest);
      return true;
    });
  }

 private:
  struct Table {
    ShardedSet<RouteEntry> routes;
    std::atomic<std::size_t> size{0};  // lets a look-up pass over a table without routes
  };
  using SegmentEnds = std::array<std::size_t, MAX_SEGMENTS>;

  // ends[n]: where segment n of the key ends. How many segments there are, up to MAX_SEGMENTS.
  static std::size_t find_segments(Octets key, SegmentEnds& ends);
  // The number of segments of a registered prefix, which holds nothing else. std::invalid_argument.
  static std::size_t segments_of(std::string_view prefix);
  Table& table_of(const Route& route) { return m_tables[segments_of(route.prefix()) - 1]; }

  // f(const RouteEntry&, what follows the prefix in the key) for the longest prefix; an empty result when there is
  // none.
  template <class Function>
  auto visit_longest(Octets key, Function f) const -> decltype(f(std::declval<const RouteEntry&>(), key)) {
    SegmentEnds ends;
    for (std::size_t count = find_segments(key, ends); count > 0; --count) {
      const Table& table = m_tables[count - 1];
      if (table.size.load(std::memory_order_relaxed) == 0) continue;
      const std::size_t end = ends[count - 1];
      const std::string_view prefix(reinterpret_cast<const char*>(key.data()), end);
      bool found = false;
      auto result = table.routes.read(prefix, [&](const RouteEntry& entry) {
        found = true;
        return f(entry, key.subspan(end));
      });
      if (found) return result;
    }
    return {};
  }

  std::array<Table, MAX_SEGMENTS> m_tables;  // [n - 1]: prefixes of n segments
};

}  // namespace QZ_Binding
