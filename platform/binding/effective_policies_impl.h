#pragma once

#include <qz_binding.hh>

#include "platform/orb/ref_counted_local_object.h"

namespace QZ_Binding {

// The policies that it was made of. Immutable; safe from any thread.
class EffectivePoliciesImpl : public virtual QZ_Binding::EffectivePolicies, public QZ_CORBA::RefCountedLocalObject {
 public:
  explicit EffectivePoliciesImpl(const PolicyObjectList& policies) : m_policies(policies) {}

  const PolicyObjectList& policies() const { return m_policies; }

 private:
  const PolicyObjectList m_policies;
};

}  // namespace QZ_Binding
