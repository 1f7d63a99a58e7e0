// Well-known names and the references that they lead to.
#pragma once

#include <qz_ior.hh>

#include <map>
#include <span>
#include <string>
#include <string_view>

#include "platform/binding/sharded_set.h"

namespace QZ_Binding {

// Safe from any thread.
class NameRoutes {
 public:
  using Octets = std::span<const unsigned char>;

  // Adds a reference to the target. Replaces the target of the same name and role.
  void add(std::string_view name, QZ_IOR::IOR_ptr target, int role);
  void remove(std::string_view name);

  // The target for one of the roles, the first that has one; nil when there is none. The caller releases it.
  QZ_IOR::IOR_ptr find(Octets name, std::span<const int> roles) const;

 private:
  struct Name {
    explicit Name(std::string_view name) : text(name) {}
    std::string_view key() const { return text; }
    void prefetch() const {}

    const std::string text;
    std::map<int, QZ_IOR::IOR_var> targets;  // by role
  };

  ShardedSet<Name> m_names;
};

}  // namespace QZ_Binding
