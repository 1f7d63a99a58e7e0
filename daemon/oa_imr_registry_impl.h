#pragma once

#include <qz_imr_internal.hh>

#include "daemon/named_registry.h"
#include "platform/orb/ref_counted_local_object.h"

namespace poalocd {

// The repositories of object adapters. Safe from any thread.
class OaImrRegistryImpl : public virtual QZ_IMRInternal::OAIMRRegistry, public QZ_CORBA::RefCountedLocalObject {
 public:
  void register_imr(const char* name, QZ_IMRInternal::OAIMR_ptr imr) override { m_entries.insert(name, imr); }
  void unregister_imr(const char* name) override { m_entries.erase(name); }

  // In the order of registration.
  std::vector<QZ_IMRInternal::OAIMR_var> list() const { return m_entries.list(); }

 private:
  NamedRegistry<QZ_IMRInternal::OAIMR> m_entries;
};

}  // namespace poalocd
