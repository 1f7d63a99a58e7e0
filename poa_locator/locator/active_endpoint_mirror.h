// The stored record of one active endpoint. Every operation is a transaction of its own, or part of the calling
// thread's. Raises PERSIST_STORE, TRANSIENT and the like when the store fails.
#pragma once

#include <poa_persistent_server.hh>

#include "platform/base/qz_vector.h"

class POALocatorImpl;

class ActiveEndpointMirror {
 public:
  // Refers to both.
  ActiveEndpointMirror(POALocatorImpl& locator, const CORBA::OctetSeq& id) : m_locator(locator), m_id(id) {}

  // A record of a POA that does not run. False when there was one already, which the new one has replaced.
  // Durable with the next durable commit: nobody misses it before it says that the POA runs.
  bool create(const char* orb_name);
  // Nil references: the POA does not run. CosPersistentState::NotFound when there is no record.
  void update(QZ_POA_PersistentServer::EndpointDynamicState_ptr dynamic_state, CORBA::Object_ptr prototype);
  // Whether the store says that there is none.
  bool is_missing();
  // CosPersistentState::NotFound when there is no record.
  void destroy();

  // Removes the records of all ids in one transaction; says for each whether there was one.
  static QZ_Vector<bool> destroy_all(POALocatorImpl& locator, const QZ_Vector<CORBA::OctetSeq>& ids);

 private:
  POALocatorImpl& m_locator;
  const CORBA::OctetSeq& m_id;
};
