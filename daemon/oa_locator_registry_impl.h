#pragma once

#include <qz_locator_internal.hh>

#include "daemon/named_registry.h"
#include "platform/orb/ref_counted_local_object.h"

namespace poalocd {

// The locators of object adapters. Safe from any thread.
class OaLocatorRegistryImpl : public virtual QZ_LocatorInternal::OALocatorRegistry,
                              public QZ_CORBA::RefCountedLocalObject {
 public:
  void register_locator(const char* name, QZ_LocatorInternal::OALocator_ptr which) override {
    m_entries.insert(name, which);
  }
  void unregister_locator(const char* name) override { m_entries.erase(name); }

  // In the order of registration.
  std::vector<QZ_LocatorInternal::OALocator_var> list() const { return m_entries.list(); }

 private:
  NamedRegistry<QZ_LocatorInternal::OALocator> m_entries;
};

}  // namespace poalocd
