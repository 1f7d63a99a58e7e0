// An interceptor as it is registered for a prefix of object keys.
#pragma once

#include <qz_binding.hh>

#include <atomic>
#include <string>
#include <utility>

namespace QZ_Binding {

// Holding a route keeps its interceptor alive. Safe from any thread.
class Route {
 public:
  // Adds a reference to the interceptor.
  Route(std::string prefix, ServerRequestInterceptor_ptr who, Dispatch where)
      : m_prefix(std::move(prefix)), m_interceptor(ServerRequestInterceptor::_duplicate(who)), m_dispatch(where) {}

  const std::string& prefix() const { return m_prefix; }
  Dispatch dispatch() const { return m_dispatch; }

  // The interceptor, to be called at once; null once the binding has been destroyed. Valid while the route is held.
  ServerRequestInterceptor_ptr enter() const {
    return m_closed.load(std::memory_order_acquire) ? nullptr : m_interceptor.in();
  }
  // From now on nobody enters; those inside go on.
  void close() { m_closed.store(true, std::memory_order_release); }

 private:
  const std::string m_prefix;
  const ServerRequestInterceptor_var m_interceptor;
  const Dispatch m_dispatch;
  std::atomic<bool> m_closed{false};
};

}  // namespace QZ_Binding
