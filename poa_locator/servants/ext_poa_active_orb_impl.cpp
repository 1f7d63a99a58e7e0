#include "poa_locator/servants/ext_poa_active_orb_impl.h"

#include "platform/orb/initial_reference.h"
#include "poa_locator/plugin/minor_codes.h"
#include "poa_locator/servants/active_poa_references.h"

ExternalPOAActiveORBImpl::ExternalPOAActiveORBImpl(CORBA::ORB_ptr orb, PortableServer::POA_ptr parent,
                                                   POAActiveORBRegistry& registry)
    : m_poa_current(initial_reference<PortableServer::Current>(orb, "POACurrent")),
      m_active_orb_registry(registry),
      m_poa(orb, parent, "QZ_POALocatorAdmin::POAActiveORB", this) {}

POAActiveORBRegistry::Handle ExternalPOAActiveORBImpl::impl_active_orb() {
  const PortableServer::ObjectId_var object_id = m_poa_current->get_object_id();
  POAActiveORBRegistry::Handle orb;
  try {
    const CORBA::String_var name = PortableServer::ObjectId_to_string(object_id);
    orb = m_active_orb_registry.find(name);
  } catch (const CORBA::BAD_PARAM&) {
    // Octets that are no name are no ORB's either.
  }
  if (orb.is_null()) throw CORBA::OBJECT_NOT_EXIST(MINOR_NO_ACTIVE_ORB, CORBA::COMPLETED_NO);
  return orb;
}

char* ExternalPOAActiveORBImpl::name() {
  return CORBA::string_dup(impl_active_orb()->impl_name());
}

QZ_LocationCommon::ORBInfo* ExternalPOAActiveORBImpl::orb_info() {
  return impl_active_orb()->impl_orb_info_nc();
}

QZ_LocatorAdmin::ActiveProcess_ptr ExternalPOAActiveORBImpl::process() {
  const QZ_LocatorInternal::ActiveProcess_var process = impl_active_orb()->impl_process_nc();
  return CORBA::is_nil(process) ? QZ_LocatorAdmin::ActiveProcess::_nil() : process->external_reference();
}

void ExternalPOAActiveORBImpl::destroy() {
  impl_active_orb()->impl_destroy();
}

QZ_POALocatorAdmin::ActivePOAList* ExternalPOAActiveORBImpl::poa_list() {
  return external_references(impl_active_orb()->impl_endpoints());
}

void ExternalPOAActiveORBImpl::remove_active_poa(const QZ_POAIMRAdmin::FullyQualifiedName& name) {
  impl_active_orb()->impl_remove_active_endpoint(name);
}
