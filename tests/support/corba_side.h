// The test process as a CORBA client and server of its own: one omniORB ORB for calls to the locator's registries and
// for the callbacks that the locator makes.
#pragma once

#include <functional>
#include <iostream>
#include <poa_persistent_server.hh>
#include <string>
#include <vector>

#include "tests/support/cdr.h"
#include "tests/support/locator.h"

namespace support {

// Made at the first use, ended by the main function of the test program.
CORBA::ORB_ptr corba_orb();
void end_corba_orb();

CORBA::OctetSeq octet_seq(const Octets& octets);
Octets octets_of(const CORBA::OctetSeq& octets);

// A reference with that address and object key. Nobody need listen there.
CORBA::Object_var make_reference(const std::string& host, unsigned port, const Octets& key);

// The ORB notices only by a failing call that a daemon has been restarted: such a call is made again.
template <typename Interface>
typename Interface::_var_type resolve(const Locator& locator, const std::string& name) {
  CORBA::Object_var object = corba_orb()->string_to_object(locator.corbaloc(name).c_str());
  for (int attempts = 1;; ++attempts) {
    try {
      return Interface::_narrow(object);
    } catch (const CORBA::SystemException& error) {
      std::cout << locator.corbaloc(name) << ": " << error._name() << std::endl;
      if (attempts == 5) throw;
    }
  }
}

// Servants in the test process. A reference stays alive until it is ended.
QZ_POA_PersistentServer::EndpointDynamicState_var new_dynamic_state();
// Runs on a thread of the ORB for each call, with the ids of the call; may raise what activate() may raise.
using ActivatorFunction = std::function<void(const std::vector<Octets>& ids)>;
QZ_POA_PersistentServer::EndpointActivator_var new_activator(ActivatorFunction function);
// Later calls to the reference are answered OBJECT_NOT_EXIST.
void end_servant(CORBA::Object_ptr reference);

}  // namespace support
