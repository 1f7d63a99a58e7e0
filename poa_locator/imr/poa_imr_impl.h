// The repository's side towards the host IMR: registered there as "POAIMR", it is asked before the host destroys a
// server ORB and refuses, detaches the ORB's POAs or deletes them. Owns the endpoint registry and the servants of the
// repository's administration.
//
// Called by the host on any thread, also when the core has gone: name, process_pre_destroy and destroy are what they
// were, everything else is TRANSIENT 0x515A0C03 then.
#pragma once

#include <qz_imr_internal.hh>

#include <memory>

#include "platform/base/gate.h"
#include "platform/base/qz_string.h"
#include "platform/orb/ref_counted_local_object.h"
#include "platform/orb/servant_poa.h"

class EndpointRegistry;
class ExternalPOAImpl;
class ExternalPOARegistryImpl;
class POALocatorImpl;

class POAIMRImpl : public virtual QZ_IMRInternal::POARepository, public QZ_CORBA::RefCountedLocalObject {
 public:
  // registry: duplicated; nil: not registered anywhere. Raises what made a part of it fail.
  POAIMRImpl(POALocatorImpl& locator, QZ_IMRInternal::OAIMRRegistry_ptr registry);
  ~POAIMRImpl() override;
  POAIMRImpl(const POAIMRImpl&) = delete;
  POAIMRImpl& operator=(const POAIMRImpl&) = delete;

  char* name() override;
  // QZ_LocationCommon::HasReferences, with the names of the ORB's POAs, refuses a normal destruction. Nothing has been
  // changed then.
  void orb_pre_destroy(QZ_IMRInternal::ORB_ptr orb, QZ_LocationCommon::DestroyType type) override;
  void process_pre_destroy(QZ_IMRInternal::Process_ptr process, QZ_LocationCommon::DestroyType type) override;
  // NO_IMPLEMENT 0x515A0C00.
  void destroy() override;

  // QZ_IMRInternal::POARepository
  CORBA::ULongLong number_of_entries() override;
  QZ_IMRAdmin::POAEntryList* list(const char* from, CORBA::ULong how_many, CORBA::String_out next) override;
  QZ_IMRInternal::ImportCounts check(QZ_IMRInternal::POAEntrySource_ptr entries, QZ_IMRAdmin::ImportMode mode,
                                     QZ_IMRInternal::ImportListener_ptr listener) override;
  QZ_IMRInternal::ImportCounts write(QZ_IMRInternal::POAEntrySource_ptr entries, QZ_IMRAdmin::ImportMode mode,
                                     QZ_IMRInternal::ImportListener_ptr listener) override;

  EndpointRegistry& impl_endpoint_registry() { return *m_endpoint_registry; }
  // Not duplicated.
  PortableServer::POA_ptr impl_endpoint_poa_nc();
  // Unregisters it and ends its parts: the registry and the servants. When nobody is inside the core any more.
  void impl_close() noexcept;

 private:
  void impl_orb_pre_destroy(QZ_IMRInternal::ORB_ptr orb);
  void impl_orb_pre_force_destroy(QZ_IMRInternal::ORB_ptr orb);
  void impl_orb_pre_deep_destroy(QZ_IMRInternal::ORB_ptr orb);

  const QZ_String m_name;
  const std::shared_ptr<Gate> m_gate;
  QZ_IMRInternal::OAIMRRegistry_var m_registry;  // nil: registered nowhere
  std::unique_ptr<EndpointRegistry> m_endpoint_registry;
  // Behind the registry that they use: closed before it goes.
  OwnedServant<ExternalPOARegistryImpl> m_ext_poa_registry;
  OwnedServant<ExternalPOAImpl> m_ext_poa;
};
