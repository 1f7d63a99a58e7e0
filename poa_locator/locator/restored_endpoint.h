// An active endpoint as its mirror in the store says, before it takes its place.
#pragma once

#include "platform/base/qz_handle.h"
#include "platform/base/qz_string.h"
#include "poa_locator/idl/poa_locator_store.h"
#include "poa_locator/locator/active_endpoint_rep.h"

struct RestoredEndpoint {
  // Raises what reading the record does, and what ActiveEndpoint's construction from it is to raise: MARSHAL or
  // INV_OBJREF for a reference without an address, INV_OBJREF for an id that is none.
  RestoredEndpoint(POALocatorImpl& locator, const QZ_PoaLocatorStore::ActiveEndpointData& data);

  QZ_Handle<ActiveEndpointRep> body;  // running when the mirror has a state
  QZ_String orb_name;
};
