#pragma once

#include <qz_binding.hh>

#include <memory>

#include "platform/base/qz_mutex.h"
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
  void forward_to(QZ_IOR::IOREndpoint_ptr endpoint) override;

 protected:
  ~ServerBindingImpl() override;

 private:
  const std::shared_ptr<PrefixRoutes> m_routes;

  QZ_Mutex m_mutex;                                    // guards the route
  std::shared_ptr<Route> m_route GUARDED_BY(m_mutex);  // null once destroyed, which cuts cycles through the interceptor
};

}  // namespace QZ_Binding
