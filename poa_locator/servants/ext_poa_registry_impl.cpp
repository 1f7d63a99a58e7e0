#include "poa_locator/servants/ext_poa_registry_impl.h"

#include "poa_locator/imr/endpoint_registry.h"
#include "poa_locator/plugin/poa_locator_impl.h"
#include "poa_locator/servants/poa_references.h"

namespace {

constexpr CORBA::ULong MINOR_REGISTER_OBSERVER = 0x515A0C01;
constexpr CORBA::ULong MINOR_UNREGISTER_OBSERVER = 0x515A0C02;

}  // namespace

ExternalPOARegistryImpl::ExternalPOARegistryImpl(POALocatorImpl& locator, PortableServer::POA_ptr parent,
                                                 EndpointRegistry& registry)
    : m_registry(registry),
      m_poa(CORBA::ORB_var(QZ_CORBA::orb_of(locator.impl_locator_nc())), parent, "QZ_POAIMRAdmin::POARegistry", this) {
  const CORBA::Object_var reference =
      m_poa.create_reference("ExternalPOARegistry", QZ_POAIMRAdmin::POARegistry::_PD_repoId);
  locator.impl_locator_nc()->make_known(QZ_POAIMRAdmin::POA_REGISTRY, reference,
                                        QZ_LocatorInternal::ROLE_ADMINISTRATOR);
}

QZ_POAIMRAdmin::POA_ptr ExternalPOARegistryImpl::root_namespace() {
  return m_registry.root().external_reference();
}

CORBA::ULong ExternalPOARegistryImpl::register_observer(QZ_POAIMRAdmin::Observer_ptr) {
  throw CORBA::NO_IMPLEMENT(MINOR_REGISTER_OBSERVER, CORBA::COMPLETED_NO);
}

void ExternalPOARegistryImpl::unregister_observer(CORBA::ULong) {
  throw CORBA::NO_IMPLEMENT(MINOR_UNREGISTER_OBSERVER, CORBA::COMPLETED_NO);
}

QZ_POAIMRAdmin::POA_ptr ExternalPOARegistryImpl::find(const QZ_POAIMRAdmin::FullyQualifiedName& name) {
  return m_registry.find(name).external_reference();
}

QZ_POAIMRAdmin::POAList* ExternalPOARegistryImpl::list_in_process(const char* process_name) {
  return external_references(m_registry.list_in_process(process_name));
}

QZ_POAIMRAdmin::POAList* ExternalPOARegistryImpl::list_in_orb_name(const char* orb_name) {
  return external_references(m_registry.list_in_orb(orb_name));
}
