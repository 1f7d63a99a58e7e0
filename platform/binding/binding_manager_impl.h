// The binding manager of the daemon's process; works without a front door too.
#pragma once

#include <qz_binding.hh>

#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "platform/base/qz_mutex.h"
#include "platform/binding/name_routes.h"
#include "platform/binding/prefix_routes.h"
#include "platform/orb/ior_endpoint_impl.h"
#include "platform/orb/ref_counted_local_object.h"

namespace QZ_Binding {

// Safe from any thread.
class BindingManagerImpl : public virtual QZ_Binding::BindingManager, public QZ_CORBA::RefCountedLocalObject {
 public:
  using Octets = std::span<const unsigned char>;

  BindingManagerImpl();

  void start_key(CORBA::OctetSeq& key) override;
  void append_segment(CORBA::OctetSeq& key, const CORBA::OctetSeq& segment) override;
  void segment(const CORBA::OctetSeq& key, CORBA::ULong index, CORBA::ULong& offset, CORBA::ULong& length) override;
  void segment_at(const CORBA::OctetSeq& key, CORBA::ULong position, CORBA::ULong& offset,
                  CORBA::ULong& length) override;
  // BAD_PARAM when the prefix is not one or more whole segments, or more than PrefixRoutes::MAX_SEGMENTS.
  ServerBinding_ptr register_interceptor(const CORBA::OctetSeq& prefix, ServerRequestInterceptor_ptr who,
                                         Dispatch where, QZ_IOR::IOREndpoint_ptr forward) override;
  QZ_IOR::IOR_ptr object_to_ior(CORBA::Object_ptr reference) override;
  CORBA::Object_ptr ior_to_object(QZ_IOR::IOR_ptr ior) override;
  EffectivePolicies_ptr effective_policies(const PolicyObjectList& policies) override;
  // BAD_INV_ORDER before the addresses are known. No policy changes an endpoint.
  QZ_IOR::IOREndpoint_ptr endpoint(const CORBA::OctetSeq& key_prefix, EffectivePolicies_ptr policies) override;

  // corbaloc::<front door>/<name> leads to target from now on, on listeners that admit the role. The same name and
  // role again replaces the target. BAD_PARAM for an empty name, or a target that is no IOR of this process's making.
  void register_name(std::string_view name, QZ_IOR::IOR_ptr target, int role);
  // Whatever its roles; an unknown name is ignored.
  void unregister_name(std::string_view name);

  // What endpoint() puts into references. The front door does this when it opens.
  void set_addresses(std::vector<QZ_IOR::Address> addresses);
  std::vector<QZ_IOR::Address> addresses() const;

  // Where a request with this key goes: the longest registered prefix; null when there is none. A key without octets
  // goes to a domain's (two-segment) prefix.
  std::shared_ptr<const Route> find_route(Octets key) const { return m_routes->find(key); }
  // f(const QZ_IOR::ProfileList&, rest of the key) for a request that is forwarded without its interceptor
  // (ServerBinding::forward_to); else nothing, and false. f must be short and must not call anything that locks.
  template <class Function>
  bool with_forward(Octets key, Function f) const {
    return m_routes->with_forward(key, f);
  }
  // The target of a name for callers that have one of the roles; nil when there is none. The caller releases it.
  QZ_IOR::IOR_ptr find_name(Octets key, std::span<const int> roles) const { return m_names.find(key, roles); }

 protected:
  ~BindingManagerImpl() override;

 private:
  const std::shared_ptr<PrefixRoutes> m_routes;  // shared with the bindings
  NameRoutes m_names;

  mutable QZ_Mutex m_mutex;  // guards the addresses
  std::vector<QZ_IOR::Address> m_addresses GUARDED_BY(m_mutex);
};

}  // namespace QZ_Binding
