#include "poa_locator/servants/ext_active_poa_impl.h"

#include "platform/base/ref_count_handle.h"
#include "platform/orb/initial_reference.h"
#include "poa_locator/locator/active_endpoint_registry.h"
#include "poa_locator/locator/poa_active_orb_impl.h"
#include "poa_locator/plugin/minor_codes.h"

ExternalActivePOAImpl::ExternalActivePOAImpl(CORBA::ORB_ptr orb, PortableServer::POA_ptr parent,
                                             ActiveEndpointRegistry& registry)
    : m_poa_current(initial_reference<PortableServer::Current>(orb, "POACurrent")),
      m_active_endpoint_registry(registry),
      m_poa(orb, parent, "QZ_POALocatorAdmin::ActivePOA", this) {}

ActiveEndpoint ExternalActivePOAImpl::impl_active_endpoint() {
  PortableServer::ObjectId_var object_id = m_poa_current->get_object_id();
  const CORBA::ULong length = object_id->length();
  const CORBA::OctetSeq id(length, length, object_id->get_buffer(), false);
  ActiveEndpoint endpoint = m_active_endpoint_registry.find(id);
  if (endpoint.is_null()) throw CORBA::OBJECT_NOT_EXIST(MINOR_NO_ACTIVE_ENDPOINT, CORBA::COMPLETED_NO);
  return endpoint;
}

QZ_POAIMRAdmin::POAId* ExternalActivePOAImpl::id() {
  return new QZ_POAIMRAdmin::POAId(impl_active_endpoint().id());
}

char* ExternalActivePOAImpl::name() {
  return CORBA::string_dup(impl_active_endpoint().name().c_str());
}

QZ_POAIMRAdmin::FullyQualifiedName* ExternalActivePOAImpl::full_name() {
  return impl_active_endpoint().full_name();
}

QZ_POAIMRAdmin::POA_ptr ExternalActivePOAImpl::poa_info() {
  return impl_active_endpoint().endpoint().external_reference();
}

QZ_POALocatorAdmin::POAActiveORB_ptr ExternalActivePOAImpl::orb() {
  const RefCountHandle<POAActiveORBImpl> orb(impl_active_endpoint().orb());
  return orb.is_null() ? QZ_POALocatorAdmin::POAActiveORB::_nil() : orb->impl_external_reference();
}

void ExternalActivePOAImpl::destroy() {
  impl_active_endpoint().destroy();
}
