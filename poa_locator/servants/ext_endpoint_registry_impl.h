// Serves QZ_POA_PersistentServer::EndpointRegistry, one object: servers register and withdraw their persistent POAs.
// Safe from any thread; registrations are serialised by the core mutex, and no server is called while it is held.
#pragma once

#include <poa_persistent_server.hh>
#include <qz_binding.hh>

#include "platform/orb/servant_poa.h"
#include "poa_locator/locator/active_endpoint.h"
#include "poa_locator/servants/locator_servant.h"

class ActiveEndpointRegistry;
class POALocatorImpl;

class ExternalEndpointRegistryImpl : public LocatorServant<POA_QZ_POA_PersistentServer::EndpointRegistry> {
 public:
  // Makes the object known to the host locator, for servers. parent: under which its POA is created.
  ExternalEndpointRegistryImpl(POALocatorImpl& locator, PortableServer::POA_ptr parent,
                               ActiveEndpointRegistry& registry);

  PortableServer::POA_ptr _default_POA() override { return PortableServer::POA::_duplicate(impl_poa_nc()); }

  // Beyond what the interface declares: BAD_PARAM 0x515A0C05 for a nil prototype or dynamic state, 0x515A0C06 for an id
  // that names no POA of this domain or an empty ORB name; what the store raises. An endpoint that this very call has
  // made is destroyed again when it raises. A POA whose registration does not answer any more may be registered anew.
  void add(const char* orb_name, const CORBA::OctetSeq& id, CORBA::Object_ptr prototype,
           QZ_POA_PersistentServer::EndpointDynamicState_ptr dynamic_state, CORBA::Object_out locator_reference,
           CORBA::ULong& creation_seq_nbr) override;
  void remove(const char* orb_name, const CORBA::OctetSeq& id) override;

  // Not duplicated.
  PortableServer::POA_ptr impl_poa_nc() const { return m_poa.poa_nc(); }
  // After it no request is inside and none can enter.
  void impl_close() { m_poa.destroy(); }

 private:
  struct Registration;
  struct Holder;

  Holder current_holder(const CORBA::OctetSeq& id);
  // Null when the endpoint changed under the call, which is then to be tried again.
  CORBA::Object_ptr add_locked(const Registration& registration, const Holder& holder, CORBA::ULong& creation_seq_nbr);
  CORBA::Object_ptr locator_reference_of(const CORBA::OctetSeq& id) const;

  POALocatorImpl& m_locator;
  const CORBA::ORB_var m_orb;
  ActiveEndpointRegistry& m_active_endpoint_registry;
  ServantPOA m_poa;
};
