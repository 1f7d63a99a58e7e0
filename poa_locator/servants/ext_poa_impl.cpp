#include "poa_locator/servants/ext_poa_impl.h"

#include "platform/orb/initial_reference.h"
#include "poa_locator/imr/endpoint_registry.h"
#include "poa_locator/plugin/poa_locator_impl.h"
#include "poa_locator/servants/poa_references.h"

namespace {

constexpr CORBA::ULong MINOR_NO_ENTRY = 0x515A0C00;
constexpr CORBA::ULong MINOR_EMPTY_NAME = 0x515A0C00;
constexpr CORBA::ULong MINOR_TRANSIENT_WITH_ORB = 0x515A0C04;

CORBA::ORB_var orb_of(const EndpointRegistry& registry) {
  return QZ_CORBA::orb_of(registry.locator().impl_locator_nc());
}

}  // namespace

ExternalPOAImpl::ExternalPOAImpl(PortableServer::POA_ptr parent, EndpointRegistry& registry)
    : m_registry(registry),
      m_poa_current(initial_reference<PortableServer::Current>(orb_of(registry), "POACurrent")),
      m_poa(orb_of(registry), parent, "QZ_POAIMRAdmin::POA", this) {}

QZ_POAIMRAdmin::POAId* ExternalPOAImpl::id() {
  return new QZ_POAIMRAdmin::POAId(impl_endpoint().id());
}

char* ExternalPOAImpl::name() {
  return CORBA::string_dup(impl_endpoint().name().c_str());
}

QZ_POAIMRAdmin::FullyQualifiedName* ExternalPOAImpl::full_name() {
  return impl_endpoint().full_name();
}

CORBA::Boolean ExternalPOAImpl::persistent() {
  return impl_endpoint().persistent();
}

CORBA::Boolean ExternalPOAImpl::allow_dynamic_registration() {
  return impl_endpoint().allow_dynamic_registration();
}

void ExternalPOAImpl::allow_dynamic_registration(CORBA::Boolean allow) {
  impl_endpoint().allow_dynamic_registration(allow);
}

char* ExternalPOAImpl::orb_name() {
  return CORBA::string_dup(impl_endpoint().orb_name().c_str());
}

void ExternalPOAImpl::orb_name(const char* name) {
  impl_endpoint().orb_name(name);
}

QZ_POAIMRAdmin::POA_ptr ExternalPOAImpl::parent() {
  return impl_endpoint().parent().external_reference();
}

QZ_POAIMRAdmin::POAList* ExternalPOAImpl::children() {
  return external_references(impl_endpoint().children());
}

QZ_POAIMRAdmin::POA_ptr ExternalPOAImpl::lookup(const char* name) {
  return impl_endpoint().lookup(name).external_reference();
}

QZ_POAIMRAdmin::POA_ptr ExternalPOAImpl::add(const char* name, CORBA::Boolean persistent,
                                             CORBA::Boolean allow_dynamic_registration, const char* orb_name) {
  if (*name == '\0') throw CORBA::BAD_PARAM(MINOR_EMPTY_NAME, CORBA::COMPLETED_NO);
  if (!persistent && *orb_name != '\0') throw CORBA::BAD_PARAM(MINOR_TRANSIENT_WITH_ORB, CORBA::COMPLETED_NO);
  return impl_endpoint().add(name, persistent, allow_dynamic_registration, orb_name).external_reference();
}

void ExternalPOAImpl::destroy() {
  impl_endpoint().destroy();
}

Endpoint ExternalPOAImpl::impl_endpoint() {
  PortableServer::ObjectId_var id = m_poa_current->get_object_id();
  const Endpoint endpoint = m_registry.find(CORBA::OctetSeq(id->length(), id->length(), id->get_buffer(), false));
  if (endpoint.is_null()) throw CORBA::OBJECT_NOT_EXIST(MINOR_NO_ENTRY, CORBA::COMPLETED_NO);
  return endpoint;
}
