#include "poa_locator/locator/endpoint_activator_thread.h"

#include "poa_locator/locator/active_endpoint_registry.h"
#include "poa_locator/locator/server_call.h"
#include "poa_locator/plugin/minor_codes.h"
#include "poa_locator/plugin/poa_locator_impl.h"

using QZ_POA_PersistentServer::EndpointActivator;

EndpointActivatorThread::EndpointActivatorThread(POALocatorImpl& locator,
                                                 QZ_POA_PersistentServer::EndpointActivator_ptr activator,
                                                 const QZ_POA_PersistentServer::EndpointIdList& ids,
                                                 POAActiveORBImpl& orb)
    : m_pass(locator.impl_gate()),
      m_locator(locator),
      m_activator(EndpointActivator::_duplicate(activator)),
      m_ids(ids),
      m_orb(RefCountHandle<POAActiveORBImpl>::share(&orb)) {}

void EndpointActivatorThread::start(POALocatorImpl& locator, QZ_POA_PersistentServer::EndpointActivator_ptr activator,
                                    const QZ_POA_PersistentServer::EndpointIdList& ids, POAActiveORBImpl& orb) {
  auto thread = std::make_unique<EndpointActivatorThread>(locator, activator, ids, orb);
  if (!thread->m_pass) return;
  QZ_ThreadFactory(0, 0).start(*thread, QZ_global_exception_handler());
  thread.release();
}

int EndpointActivatorThread::run() {
  const std::unique_ptr<QZ_ThreadBody> self(this);
  if (const std::unique_ptr<CORBA::SystemException> outcome = activate()) fail(*outcome);
  return 0;
}

std::unique_ptr<CORBA::SystemException> EndpointActivatorThread::activate() {
  try {
    if (!CORBA::is_nil(m_activator)) {
      CallTimeLimit limit(m_locator.impl_activate_time_limit());
      m_activator->activate(m_ids);
      return nullptr;
    }
  } catch (const EndpointActivator::EndpointNonExistent&) {
    return std::make_unique<CORBA::OBJECT_NOT_EXIST>(MINOR_NO_SUCH_POA, CORBA::COMPLETED_NO);
  } catch (...) {
    // The server has gone, took too long, or failed: the clients may try again.
  }
  return std::make_unique<CORBA::TRANSIENT>(MINOR_ACTIVATION_FAILED, CORBA::COMPLETED_NO);
}

void EndpointActivatorThread::fail(const CORBA::SystemException& outcome) {
  QZ_RecursiveMutexLock lock(m_orb->impl_mutex());
  for (CORBA::ULong i = 0; i < m_ids.length(); ++i) {
    ActiveEndpoint endpoint = m_locator.impl_active_endpoint_registry().find(m_ids[i]);
    if (endpoint.is_null()) continue;
    // The ORB may have ended meanwhile, and the POA be waited for in its successor.
    const RefCountHandle<POAActiveORBImpl> owner(endpoint.orb());
    if (owner.get() != m_orb.get()) continue;
    endpoint.clear_pending_requests(outcome);
    // A POA that has registered although the call failed does run.
    endpoint.destroy_unless_running(outcome);
  }
}
