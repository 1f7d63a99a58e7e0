// What the table of routes holds for one prefix.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <span>
#include <string_view>

#include "platform/binding/route.h"
#include "platform/orb/profile_list.h"

namespace QZ_Binding {

// A route, its prefix, and the profiles that requests are forwarded to without the interceptor, in one piece of memory
// of the huge pages' pool. Not for several threads at once while it is changed.
class RouteEntry {
 public:
  using Octets = std::span<const unsigned char>;

  // profiles: packed (QZ_IOR::ProfileList); empty: requests are not forwarded. Copied.
  static std::unique_ptr<RouteEntry> make(std::shared_ptr<const Route> route, Octets profiles);
  RouteEntry(const RouteEntry&) = delete;
  RouteEntry& operator=(const RouteEntry&) = delete;
  // Its size is not that of the class, and its memory the pool's.
  static void operator delete(RouteEntry* entry, std::destroying_delete_t);

  const std::shared_ptr<const Route>& route() const { return m_route; }
  std::string_view key() const { return {reinterpret_cast<const char*>(octets()), m_key_size}; }
  bool forwards() const { return m_forwards; }
  QZ_IOR::ProfileList profiles() const { return QZ_IOR::ProfileList({octets() + m_key_size, m_profiles_size}); }

  // Needs no memory, so that it always succeeds.
  void stop_forwarding() { m_forwards = false; }

  // Asks for the beginning of it, as it is wanted soon.
  void prefetch() const {
    constexpr int LINE = 64;
    constexpr int LINES = 3;
    for (int i = 0; i < LINES; ++i) __builtin_prefetch(reinterpret_cast<const char*>(this) + i * LINE);
  }

 private:
  RouteEntry(std::shared_ptr<const Route> route, Octets profiles) noexcept;

  // Of all of it.
  std::size_t size() const { return sizeof(RouteEntry) + m_key_size + m_profiles_size; }
  // The prefix and the profiles, behind the object.
  const unsigned char* octets() const { return reinterpret_cast<const unsigned char*>(this + 1); }

  const std::shared_ptr<const Route> m_route;
  const std::uint32_t m_key_size;
  const std::uint32_t m_profiles_size;
  bool m_forwards;
};

}  // namespace QZ_Binding
