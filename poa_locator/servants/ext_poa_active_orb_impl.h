// Serves the administration objects of all active ORBs. An object's id is its ORB's name. Safe from any thread. On an
// ORB that is not active any more, every operation raises OBJECT_NOT_EXIST 0x515A0C07.
#pragma once

#include <poa_locator_admin.hh>

#include "platform/orb/servant_poa.h"
#include "poa_locator/locator/poa_active_orb_registry.h"
#include "poa_locator/servants/locator_servant.h"

class ExternalPOAActiveORBImpl : public LocatorServant<POA_QZ_POALocatorAdmin::POAActiveORB> {
 public:
  // parent: under which the POA of these objects is created.
  ExternalPOAActiveORBImpl(CORBA::ORB_ptr orb, PortableServer::POA_ptr parent, POAActiveORBRegistry& registry);

  PortableServer::POA_ptr _default_POA() override { return PortableServer::POA::_duplicate(impl_poa_nc()); }

  char* name() override;
  QZ_LocationCommon::ORBInfo* orb_info() override;
  // Nil when the ORB has no process, or the host serves no administration of processes.
  QZ_LocatorAdmin::ActiveProcess_ptr process() override;
  void destroy() override;
  QZ_POALocatorAdmin::ActivePOAList* poa_list() override;
  // Destroys the active POA. A name that the ORB does not have is only reported.
  void remove_active_poa(const QZ_POAIMRAdmin::FullyQualifiedName& name) override;

  // Not duplicated.
  PortableServer::POA_ptr impl_poa_nc() const { return m_poa.poa_nc(); }
  // After it no request is inside and none can enter.
  void impl_close() { m_poa.destroy(); }

 private:
  // That of the request being served.
  POAActiveORBRegistry::Handle impl_active_orb();

  const PortableServer::Current_var m_poa_current;
  POAActiveORBRegistry& m_active_orb_registry;
  ServantPOA m_poa;
};
