#include "platform/binding/name_routes.h"

#include <utility>

namespace QZ_Binding {

void NameRoutes::add(std::string_view name, QZ_IOR::IOR_ptr target, int role) {
  QZ_IOR::IOR_var replaced = QZ_IOR::IOR::_duplicate(target);  // the old target is released outside of the lock
  m_names.write(name, [&](std::unique_ptr<Name>& place) {
    if (!place) place = std::make_unique<Name>(name);
    std::swap(place->targets[role], replaced);
    return true;
  });
}

void NameRoutes::remove(std::string_view name) {
  const auto removed = m_names.write(name, [](std::unique_ptr<Name>& place) { return std::move(place); });
}

QZ_IOR::IOR_ptr NameRoutes::find(Octets name, std::span<const int> roles) const {
  const std::string_view text(reinterpret_cast<const char*>(name.data()), name.size());
  QZ_IOR::IOR_var target = m_names.read(text, [&](const Name& there) {
    QZ_IOR::IOR_var found;
    for (const int role : roles) {
      const auto entry = there.targets.find(role);
      if (entry != there.targets.end()) {
        found = entry->second;
        break;
      }
    }
    return found;
  });
  return target._retn();
}

}  // namespace QZ_Binding
