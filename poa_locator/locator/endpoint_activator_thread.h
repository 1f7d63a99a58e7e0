// Asks a server's activator to activate POAs, on a thread of its own that deletes itself, because a server may take
// its time. When that fails, everyone who waits for one of the POAs gets the outcome; on success the server's
// registration of each POA answers them.
#pragma once

#include <poa_persistent_server.hh>

#include <memory>

#include "platform/base/qz_thread.h"
#include "platform/base/ref_count_handle.h"
#include "poa_locator/locator/poa_active_orb_impl.h"
#include "poa_locator/plugin/gate_pass.h"

class POALocatorImpl;

class EndpointActivatorThread : public QZ_ThreadBody {
 public:
  // The activator is duplicated and may be nil. Adds a reference to the ORB's record.
  EndpointActivatorThread(POALocatorImpl& locator, QZ_POA_PersistentServer::EndpointActivator_ptr activator,
                          const QZ_POA_PersistentServer::EndpointIdList& ids, POAActiveORBImpl& orb);

  // NO_RESOURCES when no thread can be had. Does nothing once the core is being torn down.
  static void start(POALocatorImpl& locator, QZ_POA_PersistentServer::EndpointActivator_ptr activator,
                    const QZ_POA_PersistentServer::EndpointIdList& ids, POAActiveORBImpl& orb);

  int run() override;

 private:
  // Null on success.
  std::unique_ptr<CORBA::SystemException> activate();
  void fail(const CORBA::SystemException& outcome);

  const GatePass m_pass;  // first, so that it is given back last
  POALocatorImpl& m_locator;
  const QZ_POA_PersistentServer::EndpointActivator_var m_activator;
  const QZ_POA_PersistentServer::EndpointIdList m_ids;
  const RefCountHandle<POAActiveORBImpl> m_orb;
};
