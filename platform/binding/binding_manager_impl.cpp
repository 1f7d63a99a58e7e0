#include "platform/binding/binding_manager_impl.h"

#include <stdexcept>
#include <utility>

#include "platform/binding/effective_policies_impl.h"
#include "platform/binding/key_segments.h"
#include "platform/binding/server_binding_impl.h"
#include "platform/orb/ior_impl.h"

namespace QZ_Binding {

namespace {

BindingManagerImpl::Octets octets_of(const CORBA::OctetSeq& sequence) {
  return {sequence.get_buffer(), sequence.length()};
}

KeySegment checked_segment(const CORBA::OctetSeq& key, std::size_t position) {
  const auto segment = key_segment_at(octets_of(key), position);
  if (!segment) throw CORBA::INV_OBJREF(0, CORBA::COMPLETED_NO);
  return *segment;
}

void put(const KeySegment& segment, CORBA::ULong& offset, CORBA::ULong& length) {
  offset = static_cast<CORBA::ULong>(segment.offset);
  length = static_cast<CORBA::ULong>(segment.length);
}

}  // namespace

BindingManagerImpl::BindingManagerImpl() : m_routes(std::make_shared<PrefixRoutes>()) {}

BindingManagerImpl::~BindingManagerImpl() = default;

void BindingManagerImpl::start_key(CORBA::OctetSeq& key) {
  key.length(0);
}

void BindingManagerImpl::append_segment(CORBA::OctetSeq& key, const CORBA::OctetSeq& segment) {
  const CORBA::ULong start = key.length();
  const CORBA::ULong length = segment.length();
  key.length(start + 4 + length);
  for (CORBA::ULong i = 0; i < 4; ++i) key[start + i] = static_cast<CORBA::Octet>(length >> (24 - 8 * i));
  for (CORBA::ULong i = 0; i < length; ++i) key[start + 4 + i] = segment[i];
}

void BindingManagerImpl::segment(const CORBA::OctetSeq& key, CORBA::ULong index, CORBA::ULong& offset,
                                 CORBA::ULong& length) {
  KeySegment found = checked_segment(key, 0);
  for (; index > 0; --index) found = checked_segment(key, found.end());
  put(found, offset, length);
}

void BindingManagerImpl::segment_at(const CORBA::OctetSeq& key, CORBA::ULong position, CORBA::ULong& offset,
                                    CORBA::ULong& length) {
  put(checked_segment(key, position), offset, length);
}

ServerBinding_ptr BindingManagerImpl::register_interceptor(const CORBA::OctetSeq& prefix,
                                                           ServerRequestInterceptor_ptr who, Dispatch where,
                                                           QZ_IOR::IOREndpoint_ptr forward) {
  if (CORBA::is_nil(who)) throw CORBA::BAD_PARAM(0, CORBA::COMPLETED_NO);
  const auto* const endpoint = QZ_IOR::IOREndpointImpl::of(forward);
  const auto octets = octets_of(prefix);
  const auto route = std::make_shared<Route>(std::string(octets.begin(), octets.end()), who, where);
  try {
    if (!m_routes->add(route, endpoint)) throw CORBA::BAD_INV_ORDER(0, CORBA::COMPLETED_NO);
  } catch (const std::invalid_argument&) {
    throw CORBA::BAD_PARAM(0, CORBA::COMPLETED_NO);
  }
  return new ServerBindingImpl(m_routes, route);
}

QZ_IOR::IOR_ptr BindingManagerImpl::object_to_ior(CORBA::Object_ptr reference) {
  if (CORBA::is_nil(reference)) return QZ_IOR::IOR::_nil();
  return QZ_IOR::from_object(reference);
}

CORBA::Object_ptr BindingManagerImpl::ior_to_object(QZ_IOR::IOR_ptr ior) {
  return QZ_IOR::to_object(ior);
}

EffectivePolicies_ptr BindingManagerImpl::effective_policies(const PolicyObjectList& policies) {
  return new EffectivePoliciesImpl(policies);
}

QZ_IOR::IOREndpoint_ptr BindingManagerImpl::endpoint(const CORBA::OctetSeq& key_prefix, EffectivePolicies_ptr) {
  QZ_MutexLock lock(m_mutex);
  if (m_addresses.empty()) throw CORBA::BAD_INV_ORDER(0, CORBA::COMPLETED_NO);
  return QZ_IOR::IOREndpointImpl::of_addresses(m_addresses, octets_of(key_prefix));
}

void BindingManagerImpl::register_name(std::string_view name, QZ_IOR::IOR_ptr target, int role) {
  if (name.empty() || !dynamic_cast<QZ_IOR::IORImpl*>(target)) throw CORBA::BAD_PARAM(0, CORBA::COMPLETED_NO);
  m_names.add(name, target, role);
}

void BindingManagerImpl::unregister_name(std::string_view name) {
  m_names.remove(name);
}

void BindingManagerImpl::set_addresses(std::vector<QZ_IOR::Address> addresses) {
  QZ_MutexLock lock(m_mutex);
  m_addresses = std::move(addresses);
}

std::vector<QZ_IOR::Address> BindingManagerImpl::addresses() const {
  QZ_MutexLock lock(m_mutex);
  return m_addresses;
}

}  // namespace QZ_Binding
