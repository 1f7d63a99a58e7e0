#include "poa_locator/locator/request_response_thread.h"

#include <memory>
#include <utility>

#include "poa_locator/plugin/minor_codes.h"
#include "poa_locator/plugin/poa_locator_impl.h"

RequestResponseThread::RequestResponseThread(POALocatorImpl& locator, const ActiveEndpoint& endpoint,
                                             EndpointRequests::Pending pending)
    : m_pass(locator.impl_gate()), m_endpoint(endpoint), m_pending(std::move(pending)) {}

void RequestResponseThread::answer(POALocatorImpl& locator, const ActiveEndpoint& endpoint,
                                   EndpointRequests::Pending pending) {
  if (pending.empty()) return;
  auto thread = std::make_unique<RequestResponseThread>(locator, endpoint, std::move(pending));
  try {
    if (!thread->m_pass) throw CORBA::NO_RESOURCES(0, CORBA::COMPLETED_NO);
    QZ_ThreadFactory(0, 0).start(*thread, QZ_global_exception_handler());
    thread.release();
  } catch (const CORBA::NO_RESOURCES&) {
    thread->answer_all();
  }
}

int RequestResponseThread::run() {
  answer_all();
  delete this;
  return 0;
}

void RequestResponseThread::answer_all() {
  for (; !m_pending.empty(); m_pending.pop_front()) {
    RequestInfoBase& request = *m_pending.front();
    try {
      try {
        m_endpoint.handle_request(request);
      } catch (const CORBA::SystemException& ex) {
        request.set_exception(ex);
      } catch (...) {
        request.set_exception(CORBA::UNKNOWN(MINOR_ENDPOINT_UNKNOWN, CORBA::COMPLETED_NO));
      }
    } catch (...) {
      // This client cannot be told anything; the next ones can.
    }
  }
}
