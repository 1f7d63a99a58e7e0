// Serves the administration registry of active POAs, one object. Safe from any thread.
#pragma once

#include <poa_locator_admin.hh>

#include "platform/orb/servant_poa.h"
#include "poa_locator/servants/locator_servant.h"

class ActiveEndpointRegistry;
class POALocatorImpl;

class ExternalActivePOARegistryImpl : public LocatorServant<POA_QZ_POALocatorAdmin::ActivePOARegistry> {
 public:
  // Makes the object known to the host locator, for administrators. parent: under which its POA is created.
  ExternalActivePOARegistryImpl(POALocatorImpl& locator, PortableServer::POA_ptr parent,
                                ActiveEndpointRegistry& registry);

  PortableServer::POA_ptr _default_POA() override { return PortableServer::POA::_duplicate(impl_poa_nc()); }

  // Nobody is told of changes: NO_IMPLEMENT 0x515A0C03 and 0x515A0C04.
  CORBA::ULong register_observer(QZ_POALocatorAdmin::Observer_ptr who) override;
  void unregister_observer(CORBA::ULong id) override;
  // Nil when no such POA is active.
  QZ_POALocatorAdmin::ActivePOA_ptr find(const QZ_POAIMRAdmin::FullyQualifiedName& name) override;
  CORBA::ULong number_of_entries() override;
  QZ_POALocatorAdmin::ActivePOAList* list() override;

  // Not duplicated.
  PortableServer::POA_ptr impl_poa_nc() const { return m_poa.poa_nc(); }
  // After it no request is inside and none can enter.
  void impl_close() { m_poa.destroy(); }

 private:
  POALocatorImpl& m_locator;
  ActiveEndpointRegistry& m_active_endpoint_registry;
  ServantPOA m_poa;
};
