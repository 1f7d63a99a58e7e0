// What the mirror of an active endpoint says, read out of the store and taken apart.
#pragma once

#include <qz_ior.hh>

#include "platform/base/qz_string.h"
#include "platform/orb/packed_reference.h"
#include "poa_locator/idl/poa_locator_store.h"

struct RestoredEndpoint {
  // Raises what reading the record does, and what ActiveEndpoint's construction from it is to raise: MARSHAL or
  // INV_OBJREF for a reference without an address.
  explicit RestoredEndpoint(const QZ_PoaLocatorStore::ActiveEndpointData& data);

  CORBA::OctetSeq id;
  QZ_String orb_name;
  QZ_CORBA::PackedReference dynamic_state;
  QZ_IOR::IOREndpoint_var ior_endpoint;  // nil for none
};
