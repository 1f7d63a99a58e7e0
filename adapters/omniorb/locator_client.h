// Calls to the locator, each with a time limit, and their errors as sentences.
#pragma once

#include <omniORB4/CORBA.h>

#include <poa_persistent_server.hh>
#include <string>

#include "adapters/omniorb/locator_registration.h"

namespace PoaLocator {

// Immutable; safe from any thread.
class LocatorClient {
 public:
  // What the locator says to a POA's registration.
  enum class Answer { ACCEPTED, ALREADY_REGISTERED, OTHER_ORB, NO_ENTRY, NOT_ALLOWED, OTHER_DOMAIN };

  // options are complete. RegistrationError when the locator does not answer.
  LocatorClient(CORBA::ORB_ptr orb, const LocatorOptions& options);

  // All of these: RegistrationError when the call fails.
  // locator_reference is set when the answer is ACCEPTED: its object key is the endpoint id.
  Answer add_endpoint(const std::string& path, CORBA::Object_ptr prototype,
                      QZ_POA_PersistentServer::EndpointDynamicState_ptr state,
                      CORBA::Object_var& locator_reference) const;
  void remove_endpoint(const std::string& path) const;
  void add_activator(QZ_POA_PersistentServer::EndpointActivator_ptr activator) const;
  void remove_activator() const;

  // Why the POA is not registered, for an answer other than ACCEPTED.
  std::string refusal(const std::string& path, Answer answer) const;

 private:
  template <class Interface>
  typename Interface::_ptr_type resolve(CORBA::ORB_ptr orb, const char* name) const;
  RegistrationError failure(const CORBA::SystemException& exception) const;

  const std::string m_url;
  const std::string m_orb_name;
  const std::string m_domain;
  const CORBA::ULong m_timeout;  // milliseconds
  const QZ_POA_PersistentServer::EndpointRegistry_var m_endpoints;
  const QZ_POA_PersistentServer::EndpointActivatorRegistry_var m_activators;
};

}  // namespace PoaLocator
