#include "platform/binding/name_routes.h"

namespace QZ_Binding {

void NameRoutes::add(std::string_view name, QZ_IOR::IOR_ptr target, int role) {
  QZ_IOR::IOR_var replaced = QZ_IOR::IOR::_duplicate(target);  // the old target is released outside of the lock
  m_names.update(name, [&](Targets& targets) { std::swap(targets[role], replaced); });
}

void NameRoutes::remove(std::string_view name) {
  m_names.remove_if(name, [](const Targets&) { return true; });
}

QZ_IOR::IOR_ptr NameRoutes::find(Octets name, std::span<const int> roles) const {
  const std::string_view text(reinterpret_cast<const char*>(name.data()), name.size());
  QZ_IOR::IOR_var target = m_names.read(text, [&](const Targets& targets) {
    QZ_IOR::IOR_var found;
    for (const int role : roles) {
      const auto entry = targets.find(role);
      if (entry != targets.end()) {
        found = entry->second;
        break;
      }
    }
    return found;
  });
  return target._retn();
}

}  // namespace QZ_Binding
