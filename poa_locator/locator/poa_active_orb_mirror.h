// The stored record of one active ORB. Every operation is a transaction of its own, or part of the calling thread's.
// Raises PERSIST_STORE, TRANSIENT and the like when the store fails.
#pragma once

#include <poa_persistent_server.hh>

#include "platform/base/qz_string.h"

class POALocatorImpl;

class PoaActiveOrbMirror {
 public:
  // Refers to both.
  PoaActiveOrbMirror(POALocatorImpl& locator, const QZ_String& orb_name) : m_locator(locator), m_orb_name(orb_name) {}

  // Creates the record, or brings it up to date. process_name: "" for none; the activator may be nil.
  void write(const char* process_name, QZ_POA_PersistentServer::EndpointActivator_ptr endpoint_activator);
  // CosPersistentState::NotFound when there is no record.
  void destroy();

 private:
  POALocatorImpl& m_locator;
  const QZ_String& m_orb_name;
};
