// Serves the repository's administration registry, one object. Safe from any thread.
#pragma once

#include <poa_imr_admin.hh>

#include "platform/orb/servant_poa.h"
#include "poa_locator/servants/locator_servant.h"

class EndpointRegistry;
class POALocatorImpl;

class ExternalPOARegistryImpl : public LocatorServant<POA_QZ_POAIMRAdmin::POARegistry> {
 public:
  // Makes the object known to the host locator, for administrators. parent: under which its POA is created.
  ExternalPOARegistryImpl(POALocatorImpl& locator, PortableServer::POA_ptr parent, EndpointRegistry& registry);

  PortableServer::POA_ptr _default_POA() override { return PortableServer::POA::_duplicate(impl_poa_nc()); }

  QZ_POAIMRAdmin::POA_ptr root_namespace() override;
  // Nobody is told of changes: NO_IMPLEMENT 0x515A0C01 and 0x515A0C02.
  CORBA::ULong register_observer(QZ_POAIMRAdmin::Observer_ptr who) override;
  void unregister_observer(CORBA::ULong id) override;
  // Nil when there is no such entry.
  QZ_POAIMRAdmin::POA_ptr find(const QZ_POAIMRAdmin::FullyQualifiedName& name) override;
  QZ_POAIMRAdmin::POAList* list_in_process(const char* process_name) override;
  QZ_POAIMRAdmin::POAList* list_in_orb_name(const char* orb_name) override;

  // Not duplicated.
  PortableServer::POA_ptr impl_poa_nc() const { return m_poa.poa_nc(); }
  // After it no request is inside and none can enter.
  void impl_close() { m_poa.destroy(); }

 private:
  EndpointRegistry& m_registry;
  ServantPOA m_poa;
};
