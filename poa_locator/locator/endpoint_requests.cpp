#include "poa_locator/locator/endpoint_requests.h"

#include <algorithm>
#include <utility>

#include "poa_locator/plugin/minor_codes.h"

using QZ_POA_PersistentServer::EndpointDynamicState;

void EndpointRequests::handle(RequestInfoBase& request, const CORBA::OctetSeq& id) {
  QZ_IOR::IOREndpoint_var ior_endpoint;
  std::unique_ptr<CORBA::Exception> end;
  Pending abandoned;
  bool kept = false;
  {
    QZ_MutexLock lock(m_mutex);
    if (m_end) {
      end.reset(CORBA::Exception::_duplicate(m_end.get()));
    } else if (m_dynamic_state.is_nil()) {
      m_pending.push_back(request.copy());
      kept = true;
      if (m_pending.size() >= m_sweep_size) abandoned = take_abandoned();
    } else {
      ior_endpoint = QZ_IOR::IOREndpoint::_duplicate(m_ior_endpoint);
    }
  }
  if (kept) {
    fail(abandoned, CORBA::TRANSIENT(MINOR_ENDPOINT_DESTROYED, CORBA::COMPLETED_NO));  // which nobody hears
    return;
  }
  if (end) {
    request.set_exception(*end);
    return;
  }

  const CORBA::OctetSeq* key = request.object_key();
  if (!key || key->length() <= id.length()) throw CORBA::INV_OBJREF(MINOR_SHORT_KEY, CORBA::COMPLETED_NO);
  // A restored record may have lost its address; its server is as good as not running.
  if (CORBA::is_nil(ior_endpoint)) throw CORBA::TRANSIENT(MINOR_NOT_STARTABLE, CORBA::COMPLETED_NO);
  const CORBA::ULong rest = key->length() - id.length();
  const CORBA::OctetSeq remaining_key(rest, rest, const_cast<CORBA::Octet*>(key->get_buffer()) + id.length(), false);
  QZ_IOR::IOR_var ior = ior_endpoint->make_ior(remaining_key, "");
  request.set_forward_ior(ior);
}

QZ_Binding::ServerBinding_ptr EndpointRequests::bind(QZ_Binding::BindingManager_ptr manager, const CORBA::OctetSeq& id,
                                                     QZ_Binding::ServerRequestInterceptor_ptr interceptor) {
  QZ_MutexLock lock(m_mutex);
  QZ_Binding::ServerBinding_var binding =
      manager->register_interceptor(id, interceptor, QZ_Binding::DISPATCH_INLINE, forward());
  if (!m_end) m_binding = binding;
  return binding._retn();
}

QZ_IOR::IOREndpoint_ptr EndpointRequests::forward() const {
  return m_dynamic_state.is_nil() ? QZ_IOR::IOREndpoint::_nil() : m_ior_endpoint.in();
}

void EndpointRequests::tell_binding() {
  if (!CORBA::is_nil(m_binding)) m_binding->forward_to(forward());
}

EndpointRequests::Pending EndpointRequests::publish(QZ_CORBA::PackedReference dynamic_state,
                                                    QZ_IOR::IOREndpoint_ptr ior_endpoint) {
  QZ_MutexLock lock(m_mutex);
  if (m_end) return {};
  m_dynamic_state = std::move(dynamic_state);
  m_ior_endpoint = QZ_IOR::IOREndpoint::_duplicate(ior_endpoint);
  tell_binding();
  return m_dynamic_state.is_nil() ? Pending() : std::exchange(m_pending, {});
}

void EndpointRequests::withdraw() {
  publish({}, QZ_IOR::IOREndpoint::_nil());
}

void EndpointRequests::fail_pending(const CORBA::SystemException& outcome) {
  Pending pending;
  {
    QZ_MutexLock lock(m_mutex);
    pending.swap(m_pending);
  }
  fail(pending, outcome);
}

void EndpointRequests::end(const CORBA::SystemException& outcome) {
  Pending pending;
  {
    QZ_MutexLock lock(m_mutex);
    if (!m_end) m_end.reset(CORBA::Exception::_duplicate(&outcome));
    m_dynamic_state = {};
    m_ior_endpoint = QZ_IOR::IOREndpoint::_nil();
    tell_binding();
    m_binding = QZ_Binding::ServerBinding::_nil();
    pending.swap(m_pending);
  }
  fail(pending, outcome);
}

EndpointRequests::Pending EndpointRequests::take_abandoned() {
  Pending abandoned;
  for (auto next = m_pending.begin(); next != m_pending.end();) {
    const auto request = next++;
    if ((*request)->abandoned()) abandoned.splice(abandoned.end(), m_pending, request);
  }
  m_sweep_size = std::max(SMALLEST_SWEEP, 2 * m_pending.size());
  return abandoned;
}

void EndpointRequests::fail(Pending& pending, const CORBA::SystemException& outcome) {
  for (; !pending.empty(); pending.pop_front()) {
    try {
      pending.front()->set_exception(outcome);
    } catch (const CORBA::Exception&) {
      // That one client cannot be told; the others can.
    }
  }
}

bool EndpointRequests::is_running() const {
  QZ_MutexLock lock(m_mutex);
  return !m_dynamic_state.is_nil();
}

bool EndpointRequests::has_ended() const {
  QZ_MutexLock lock(m_mutex);
  return m_end != nullptr;
}

std::size_t EndpointRequests::number_of_pending() const {
  QZ_MutexLock lock(m_mutex);
  return m_pending.size();
}

QZ_POA_PersistentServer::EndpointDynamicState_ptr EndpointRequests::dynamic_state() const {
  QZ_CORBA::PackedReference packed;
  {
    QZ_MutexLock lock(m_mutex);
    packed = m_dynamic_state;
  }
  const CORBA::Object_var object = packed.object();
  return EndpointDynamicState::_unchecked_narrow(object);
}

QZ_IOR::IOREndpoint_ptr EndpointRequests::ior_endpoint() const {
  QZ_MutexLock lock(m_mutex);
  return QZ_IOR::IOREndpoint::_duplicate(m_ior_endpoint);
}
