#include "platform/binding/server_binding_impl.h"

#include <utility>

namespace QZ_Binding {

ServerBindingImpl::ServerBindingImpl(std::shared_ptr<PrefixRoutes> routes, std::shared_ptr<Route> route)
    : m_routes(std::move(routes)), m_route(std::move(route)) {}

ServerBindingImpl::~ServerBindingImpl() {
  ServerBindingImpl::destroy();
}

void ServerBindingImpl::destroy() {
  if (m_destroyed.exchange(true)) return;
  const std::shared_ptr<Route> route = std::move(m_route);  // released last: the interceptor may go with it
  // In this order, so that whoever is refused by the closed route does not find it again.
  m_routes->remove(*route);
  route->close();
}

}  // namespace QZ_Binding
