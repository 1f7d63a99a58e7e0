#include "poa_locator/servants/ext_active_poa_registry_impl.h"

#include "poa_locator/locator/active_endpoint_registry.h"
#include "poa_locator/plugin/minor_codes.h"
#include "poa_locator/plugin/poa_locator_impl.h"
#include "poa_locator/servants/active_poa_references.h"

ExternalActivePOARegistryImpl::ExternalActivePOARegistryImpl(POALocatorImpl& locator, PortableServer::POA_ptr parent,
                                                             ActiveEndpointRegistry& registry)
    : m_locator(locator),
      m_active_endpoint_registry(registry),
      m_poa(CORBA::ORB_var(locator._qz_get_orb()), parent, "QZ_POALocatorAdmin::ActivePOARegistry", this) {
  const CORBA::Object_var reference =
      m_poa.create_reference("ExternalActivePOARegistry", QZ_POALocatorAdmin::ActivePOARegistry::_PD_repoId);
  m_locator.impl_locator_nc()->make_known(QZ_POALocatorAdmin::ACTIVE_POA_REGISTRY, reference,
                                          QZ_LocatorInternal::ROLE_ADMINISTRATOR);
}

CORBA::ULong ExternalActivePOARegistryImpl::register_observer(QZ_POALocatorAdmin::Observer_ptr) {
  throw CORBA::NO_IMPLEMENT(MINOR_REGISTER_OBSERVER, CORBA::COMPLETED_NO);
}

void ExternalActivePOARegistryImpl::unregister_observer(CORBA::ULong) {
  throw CORBA::NO_IMPLEMENT(MINOR_UNREGISTER_OBSERVER, CORBA::COMPLETED_NO);
}

QZ_POALocatorAdmin::ActivePOA_ptr ExternalActivePOARegistryImpl::find(const QZ_POAIMRAdmin::FullyQualifiedName& name) {
  const ActiveEndpoint endpoint = m_active_endpoint_registry.find(name);
  return endpoint.is_null() ? QZ_POALocatorAdmin::ActivePOA::_nil() : endpoint.external_reference();
}

CORBA::ULong ExternalActivePOARegistryImpl::number_of_entries() {
  return m_active_endpoint_registry.number_of_entries();
}

QZ_POALocatorAdmin::ActivePOAList* ExternalActivePOARegistryImpl::list() {
  return external_references(m_active_endpoint_registry.list());
}
