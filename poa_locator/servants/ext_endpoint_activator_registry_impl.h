// Serves QZ_POA_PersistentServer::EndpointActivatorRegistry, one object: servers register and withdraw the activator of
// their ORB, which is kept with the active ORB. Safe from any thread; serialised by the core mutex, and a server is
// called while it is held only if two servers compete for one ORB name.
#pragma once

#include <poa_persistent_server.hh>

#include "platform/orb/servant_poa.h"
#include "poa_locator/servants/locator_servant.h"

class POAActiveORBRegistry;
class POALocatorImpl;

class ExternalEndpointActivatorRegistryImpl
    : public LocatorServant<POA_QZ_POA_PersistentServer::EndpointActivatorRegistry> {
 public:
  // Makes the object known to the host locator, for servers. parent: under which its POA is created.
  ExternalEndpointActivatorRegistryImpl(POALocatorImpl& locator, PortableServer::POA_ptr parent,
                                        POAActiveORBRegistry& registry);

  PortableServer::POA_ptr _default_POA() override { return PortableServer::POA::_duplicate(impl_poa_nc()); }

  // Beyond what the interface declares: BAD_PARAM 0x515A0C05 for a nil activator, 0x515A0C06 for an empty ORB name, and
  // what the store and the host raise. ids is always empty.
  void add(const char* orb_name, QZ_POA_PersistentServer::EndpointActivator_ptr activator,
           QZ_POA_PersistentServer::EndpointIdList_out ids) override;
  void remove(const char* orb_name) override;

  // Not duplicated.
  PortableServer::POA_ptr impl_poa_nc() const { return m_poa.poa_nc(); }
  // After it no request is inside and none can enter.
  void impl_close() { m_poa.destroy(); }

 private:
  struct Holder;

  Holder current_holder(const char* orb_name);
  bool add_locked(const char* orb_name, QZ_POA_PersistentServer::EndpointActivator_ptr activator, const Holder& holder);

  POALocatorImpl& m_locator;
  POAActiveORBRegistry& m_active_orb_registry;
  ServantPOA m_poa;
};
