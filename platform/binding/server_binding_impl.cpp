#include "platform/binding/server_binding_impl.h"

#include <utility>

namespace QZ_Binding {

ServerBindingImpl::ServerBindingImpl(std::shared_ptr<PrefixRoutes> routes, std::shared_ptr<Route> route)
    : m_routes(std::move(routes)), m_route(std::move(route)) {}

ServerBindingImpl::~ServerBindingImpl() {
  ServerBindingImpl::destroy();
}

void ServerBindingImpl::destroy() {
  std::shared_ptr<Route> route;  // released last, outside of the lock: the interceptor may go with it
  {
    QZ_MutexLock lock(m_mutex);
    route = std::move(m_route);
    if (!route) return;
  }
  // In this order, so that whoever is refused by the closed route does not find it again.
  m_routes->remove(*route);
  route->close();
}

void ServerBindingImpl::forward_to(QZ_IOR::IOREndpoint_ptr endpoint) {
  const auto* const impl = QZ_IOR::IOREndpointImpl::of(endpoint);
  QZ_MutexLock lock(m_mutex);
  if (m_route) m_routes->set_forward(m_route, impl);
}

}  // namespace QZ_Binding
