// Serves the administration objects of all active endpoints. An object's id is its endpoint's id. Safe from any thread.
// On an endpoint that is not active any more, every operation raises OBJECT_NOT_EXIST 0x515A0C00.
#pragma once

#include <poa_locator_admin.hh>

#include "platform/orb/servant_poa.h"
#include "poa_locator/locator/active_endpoint.h"
#include "poa_locator/servants/locator_servant.h"

class ActiveEndpointRegistry;

class ExternalActivePOAImpl : public LocatorServant<POA_QZ_POALocatorAdmin::ActivePOA> {
 public:
  // parent: under which the POA of these objects is created.
  ExternalActivePOAImpl(CORBA::ORB_ptr orb, PortableServer::POA_ptr parent, ActiveEndpointRegistry& registry);

  PortableServer::POA_ptr _default_POA() override { return PortableServer::POA::_duplicate(impl_poa_nc()); }

  QZ_POAIMRAdmin::POAId* id() override;
  char* name() override;
  QZ_POAIMRAdmin::FullyQualifiedName* full_name() override;
  // Nil when the repository has no such entry.
  QZ_POAIMRAdmin::POA_ptr poa_info() override;
  // Nil when the endpoint has no ORB.
  QZ_POALocatorAdmin::POAActiveORB_ptr orb() override;
  void destroy() override;

  // Not duplicated.
  PortableServer::POA_ptr impl_poa_nc() const { return m_poa.poa_nc(); }
  // After it no request is inside and none can enter.
  void impl_close() { m_poa.destroy(); }

 private:
  // That of the request being served.
  ActiveEndpoint impl_active_endpoint();

  const PortableServer::Current_var m_poa_current;
  ActiveEndpointRegistry& m_active_endpoint_registry;
  ServantPOA m_poa;
};
