// Which interceptor serves which object keys.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <memory>
#include <span>
#include <string_view>

#include "platform/binding/route.h"
#include "platform/binding/sharded_map.h"

namespace QZ_Binding {

// Routes by key prefixes of whole segments, hashed, in one table per number of segments: a look-up reads the key's
// frames and asks for the longest prefix first. Its cost depends on neither the number of routes nor the key's length
// behind the prefix. Safe from any thread; readers of different prefixes seldom share a lock.
class PrefixRoutes {
 public:
  using Octets = std::span<const unsigned char>;
  static constexpr std::size_t MAX_SEGMENTS = 4;

  // False when the prefix is taken already. std::invalid_argument when it is not 1 to MAX_SEGMENTS whole segments.
  bool add(const std::shared_ptr<const Route>& route);
  // Does nothing when another route has the prefix by now, or none.
  void remove(const Route& route);

  // The longest prefix wins; null when none fits. An empty key goes to some route of two segments.
  std::shared_ptr<const Route> find(Octets key) const;

 private:
  struct Table {
    ShardedMap<std::shared_ptr<const Route>> routes;
    std::atomic<std::size_t> size{0};  // lets a look-up pass over a table without routes
  };

  std::array<Table, MAX_SEGMENTS> m_tables;  // [n - 1]: prefixes of n segments
};

}  // namespace QZ_Binding
