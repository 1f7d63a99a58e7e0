// The servants that the locator calls.
#pragma once

#include <memory>
#include <poa_persistent_server.hh>
#include <utility>

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

// The locator asks it before it refuses another registration of the POA.
class EndpointDynamicStateImpl : public POA_QZ_POA_PersistentServer::EndpointDynamicState {
 public:
  explicit EndpointDynamicStateImpl(std::shared_ptr<RegisteredPoa> poa) : m_poa(std::move(poa)) {}

  CORBA::Boolean _non_existent() override {
    ++m_poa->probes;
    return false;
  }

 private:
  const std::shared_ptr<RegisteredPoa> m_poa;
};

}  // namespace PoaLocator
