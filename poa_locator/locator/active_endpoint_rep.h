// The shared body of ActiveEndpoint handles.
#pragma once

#include <qz_binding.hh>

#include <atomic>

#include "platform/base/qz_body.h"
#include "platform/base/qz_mutex.h"
#include "platform/base/qz_string.h"
#include "platform/base/ref_count_handle.h"
#include "poa_locator/locator/endpoint_requests.h"
#include "poa_locator/locator/poa_active_orb_impl.h"

class POALocatorImpl;

// Members without a guard are set while the endpoint is constructed and only read afterwards.
struct ActiveEndpointRep : public QZ_Body {
  // INV_OBJREF when the id is none.
  ActiveEndpointRep(POALocatorImpl& core, const CORBA::OctetSeq& endpoint_id);

  // Names joined by "/", as reports show it. Made anew each time: there may be very many endpoints.
  QZ_String full_name() const;

  POALocatorImpl& locator;
  const CORBA::OctetSeq id;
  RefCountHandle<POAActiveORBImpl> active_orb;  // null when the POA belongs to none
  EndpointRequests requests;
  // The mirror has been removed together with others', and its owner need not do so.
  std::atomic<bool> mirror_removed{false};

  // Serialises changes of the endpoint: registration, destruction, activation. Held while the store is written; no
  // request takes it.
  QZ_Mutex mutex;
  QZ_Binding::ServerBinding_var server_binding GUARDED_BY(mutex);
};
