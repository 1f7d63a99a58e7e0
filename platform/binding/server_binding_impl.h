#pragma once

#include <qz_binding.hh>

#include <atomic>
#include <memory>

#include "platform/binding/prefix_routes.h"
#include "platform/orb/ref_counted_local_object.h"

namespace QZ_Binding {

// Unregisters its route when it is destroyed, or when its last reference goes. destroy waits for nothing, so it may be
// called from inside the interceptor and with any lock held; the interceptor may be released by it. Safe from any
// thread.
class ServerBindingImpl : public virtual QZ_Binding::ServerBinding, public QZ_CORBA::RefCountedLocalObject {
 public:
  ServerBindingImpl(std::shared_ptr<PrefixRoutes> routes, std::shared_ptr<Route> route);

  void destroy() override;

 protected:
  ~ServerBindingImpl() override;

 private:
  const std::shared_ptr<PrefixRoutes> m_routes;
  std::shared_ptr<Route> m_route;  // taken away by whoever destroys it, which cuts cycles through the interceptor
  std::atomic<bool> m_destroyed{false};
};

}  // namespace QZ_Binding
