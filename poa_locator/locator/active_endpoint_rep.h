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
  ActiveEndpointRep(POALocatorImpl& core, const CORBA::OctetSeq& endpoint_id);

  POALocatorImpl& locator;
  const CORBA::OctetSeq id;
  QZ_String name;
  // Names joined by "/", as reports show it.
  QZ_String full_name;
  QZ_Binding::BindingManager_var binding_manager;
  QZ_String orb_name;
  RefCountHandle<POAActiveORBImpl> active_orb;
  EndpointRequests requests;
  // The mirror has been removed together with others', and its owner need not do so.
  std::atomic<bool> mirror_removed{false};

  // Serialises changes of the endpoint: registration, destruction, activation. Held while the store is written; no
  // request takes it.
  QZ_Mutex mutex;
  QZ_Binding::ServerBinding_var server_binding GUARDED_BY(mutex);
};
