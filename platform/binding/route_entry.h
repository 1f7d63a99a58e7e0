// What the table of routes holds for one prefix.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

#include "platform/binding/route.h"
#include "platform/orb/profile_list.h"

namespace QZ_Binding {

// A route, its prefix, and the profiles that requests are forwarded to without the interceptor, in one piece of memory.
// Not for several threads at once while it is changed.
class RouteEntry {
 public:
  using Octets = std::span<const unsigned char>;

  // profiles: packed (QZ_IOR::ProfileList); empty: requests are not forwarded. Copied.
  static std::unique_ptr<RouteEntry> make(std::shared_ptr<const Route> route, Octets profiles);
  RouteEntry(const RouteEntry&) = delete;
  RouteEntry& operator=(const RouteEntry&) = delete;
  // Its size is not that of the class.
  static void operator delete(void* entry) { ::operator delete(entry); }

  const std::shared_ptr<const Route>& route() const { return m_route; }
  std::string_view key() const { return {reinterpret_cast<const char*>(octets()), m_key_size}; }
  bool forwards() const { return m_profiles_size > 0; }
  QZ_IOR::ProfileList profiles() const { return QZ_IOR::ProfileList({octets() + m_key_size, m_profiles_size}); }

  // Needs no memory, so that it always succeeds.
  void stop_forwarding() { m_profiles_size = 0; }

  // Asks for the beginning of it, as it is wanted soon.
  void prefetch() const {
    constexpr int LINE = 64;
    constexpr int LINES = 3;
    for (int i = 0; i < LINES; ++i) __builtin_prefetch(reinterpret_cast<const char*>(this) + i * LINE);
  }

 private:
  RouteEntry(std::shared_ptr<const Route> route, Octets profiles);

  // The prefix and the profiles, behind the object.
  const unsigned char* octets() const { return reinterpret_cast<const unsigned char*>(this + 1); }

  const std::shared_ptr<const Route> m_route;
  const std::uint32_t m_key_size;
  std::uint32_t m_profiles_size;
};

}  // namespace QZ_Binding
