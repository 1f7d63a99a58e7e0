// A POA that is up, and what the locator knows of it.
#pragma once

#include <omniORB4/CORBA.h>

#include <atomic>
#include <memory>
#include <poa_persistent_server.hh>
#include <string>

namespace PoaLocator {

// path to dynamic_state do not change.
struct RegisteredPoa {
  std::string path;
  bool is_upper_level = false;  // created for the sake of a POA below it
  PortableServer::POA_var poa;
  CORBA::Object_var prototype;  // the reference for the empty object id
  QZ_POA_PersistentServer::EndpointDynamicState_var dynamic_state;
  // The POA through the locator; nil while this POA is not registered, which only upper levels may stay.
  CORBA::Object_var locator_reference;
  // The locator was asked to register the POA and did not answer: nobody knows whether it did.
  bool is_pending = false;
  std::atomic<unsigned> probes{0};  // how often the locator has asked the dynamic state whether it lives
};

}  // namespace PoaLocator
