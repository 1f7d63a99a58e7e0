// Answers the requests that an endpoint kept while its POA did not run, in the order of their arrival, on a thread of
// its own that deletes itself.
#pragma once

#include "platform/base/qz_thread.h"
#include "poa_locator/locator/active_endpoint.h"
#include "poa_locator/locator/endpoint_requests.h"
#include "poa_locator/plugin/gate_pass.h"

class POALocatorImpl;

class RequestResponseThread : public QZ_ThreadBody {
 public:
  RequestResponseThread(POALocatorImpl& locator, const ActiveEndpoint& endpoint, EndpointRequests::Pending pending);

  // Starts a thread when there is something to answer. Where none can be had, the calling thread does the work.
  static void answer(POALocatorImpl& locator, const ActiveEndpoint& endpoint, EndpointRequests::Pending pending);

  int run() override;

 private:
  void answer_all();

  const GatePass m_pass;  // first, so that it is given back last
  ActiveEndpoint m_endpoint;
  EndpointRequests::Pending m_pending;
};
