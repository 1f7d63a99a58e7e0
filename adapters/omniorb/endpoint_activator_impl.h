// The servants that the locator calls.
#pragma once

#include <poa_persistent_server.hh>

#include "adapters/omniorb/locator_registration_impl.h"

namespace PoaLocator {

class EndpointActivatorImpl : public POA_QZ_POA_PersistentServer::EndpointActivator {
 public:
  explicit EndpointActivatorImpl(LocatorRegistration::Impl& registration) : m_registration(registration) {}

  // Tries all ids before it raises.
  void activate(const QZ_POA_PersistentServer::EndpointIdList& ids) override;

 private:
  LocatorRegistration::Impl& m_registration;
};

class EndpointDynamicStateImpl : public POA_QZ_POA_PersistentServer::EndpointDynamicState {};

}  // namespace PoaLocator
