#include "adapters/omniorb/endpoint_activator_impl.h"

#include "adapters/omniorb/endpoint_id.h"

namespace PoaLocator {

void EndpointActivatorImpl::activate(const QZ_POA_PersistentServer::EndpointIdList& ids) {
  bool all_exist = true;
  for (CORBA::ULong i = 0; i < ids.length(); ++i) {
    const auto path = path_of(m_registration.domain(), ids[i]);
    if (!path || !m_registration.activate(*path)) all_exist = false;
  }
  if (!all_exist) throw QZ_POA_PersistentServer::EndpointActivator::EndpointNonExistent();
}

}  // namespace PoaLocator
