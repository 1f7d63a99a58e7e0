// Serves the administration objects of all entries of the repository. An object's id is its entry's endpoint id.
// Safe from any thread. On an entry that does not exist any more, every operation raises OBJECT_NOT_EXIST 0x515A0C00.
#pragma once

#include <poa_imr_admin.hh>

#include "platform/orb/servant_poa.h"
#include "poa_locator/imr/endpoint.h"
#include "poa_locator/servants/locator_servant.h"

class EndpointRegistry;

class ExternalPOAImpl : public LocatorServant<POA_QZ_POAIMRAdmin::POA> {
 public:
  // parent: under which the POA of these objects is created.
  ExternalPOAImpl(PortableServer::POA_ptr parent, EndpointRegistry& registry);

  PortableServer::POA_ptr _default_POA() override { return PortableServer::POA::_duplicate(impl_poa_nc()); }

  QZ_POAIMRAdmin::POAId* id() override;
  char* name() override;
  QZ_POAIMRAdmin::FullyQualifiedName* full_name() override;
  CORBA::Boolean persistent() override;
  CORBA::Boolean allow_dynamic_registration() override;
  void allow_dynamic_registration(CORBA::Boolean allow) override;
  char* orb_name() override;
  void orb_name(const char* name) override;
  QZ_POAIMRAdmin::POA_ptr parent() override;
  QZ_POAIMRAdmin::POAList* children() override;
  QZ_POAIMRAdmin::POA_ptr lookup(const char* name) override;
  // BAD_PARAM 0x515A0C00 for an empty name, 0x515A0C04 for a transient entry with an ORB name.
  QZ_POAIMRAdmin::POA_ptr add(const char* name, CORBA::Boolean persistent, CORBA::Boolean allow_dynamic_registration,
                              const char* orb_name) override;
  void destroy() override;

  // Not duplicated.
  PortableServer::POA_ptr impl_poa_nc() const { return m_poa.poa_nc(); }
  // After it no request is inside and none can enter.
  void impl_close() { m_poa.destroy(); }

 private:
  // That of the request being served.
  Endpoint impl_endpoint();

  EndpointRegistry& m_registry;
  const PortableServer::Current_var m_poa_current;
  ServantPOA m_poa;
};
