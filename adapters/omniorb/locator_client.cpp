#include "adapters/omniorb/locator_client.h"

#include <omniORB4/omniORB.h>

#include <algorithm>

#include "adapters/omniorb/endpoint_id.h"

namespace PoaLocator {

using QZ_POA_PersistentServer::EndpointActivatorRegistry;
using QZ_POA_PersistentServer::EndpointRegistry;

namespace {

std::string text_of(const CORBA::SystemException& exception) {
  const char* minor = exception.NP_minorString();
  return std::string(exception._name()) + (minor ? std::string(" ") + minor : std::string());
}

// With BAD_PARAM: the endpoint id is none of the locator's domain.
constexpr CORBA::ULong MINOR_BAD_NAME = 0x515A0C06;

// omniORB keeps so many connections to one address. Those of a locator that has been restarted meanwhile are dead,
// which shows only when they are used.
constexpr int CONNECTIONS = 5;

// Finds a connection that works. A call that changes something could not be repeated when its connection turns out to
// be dead: nobody would know whether it had been carried out.
void refresh_connection(CORBA::Object_ptr registry) {
  for (int dead = 0;; ++dead) {
    try {
      registry->_non_existent();
      return;
    } catch (const CORBA::COMM_FAILURE&) {
      if (dead == CONNECTIONS) throw;
    }
  }
}

// Whether the exception means that nobody was there to answer, or not in time.
bool is_silence(const CORBA::SystemException& exception) {
  return CORBA::TRANSIENT::_downcast(&exception) || CORBA::COMM_FAILURE::_downcast(&exception) ||
         CORBA::TIMEOUT::_downcast(&exception) || CORBA::NO_RESPONSE::_downcast(&exception);
}

}  // namespace

LocatorClient::LocatorClient(CORBA::ORB_ptr orb, const LocatorOptions& options)
    : m_url(options.url.substr(0, options.url.find_last_not_of('/') + 1)),
      m_orb_name(options.orb_name),
      m_domain(options.domain),
      m_timeout(static_cast<CORBA::ULong>(std::max<long long>(1, options.call_timeout.count()))),
      m_endpoints(resolve<EndpointRegistry>(orb, QZ_POA_PersistentServer::POA_REGISTRY)),
      m_activators(resolve<EndpointActivatorRegistry>(orb, QZ_POA_PersistentServer::POA_ACTIVATOR_REGISTRY)) {}

template <class Interface>
typename Interface::_ptr_type LocatorClient::resolve(CORBA::ORB_ptr orb, const char* name) const {
  CORBA::Object_var object;
  try {
    object = orb->string_to_object((m_url + "/" + name).c_str());
  } catch (const CORBA::BAD_PARAM&) {
    throw RegistrationError("\"" + m_url + "\" is no locator address; write corbaloc::HOST:PORT.");
  }
  typename Interface::_var_type registry;
  try {
    omniORB::setClientCallTimeout(object, m_timeout);
    registry = Interface::_narrow(object);
  } catch (const CORBA::OBJECT_NOT_EXIST&) {
    // The same as a registry of another type.
  } catch (const CORBA::SystemException& exception) {
    throw failure(exception);
  }
  if (CORBA::is_nil(registry)) {
    throw RegistrationError("What answers at " + m_url + " has no " + name +
                            "; give the address of the locator's front door.");
  }
  omniORB::setClientCallTimeout(registry, m_timeout);
  return registry._retn();
}

LocatorClient::Answer LocatorClient::add_endpoint(const std::string& path, CORBA::Object_ptr prototype,
                                                  QZ_POA_PersistentServer::EndpointDynamicState_ptr state,
                                                  CORBA::Object_var& locator_reference) const {
  try {
    refresh_connection(m_endpoints);
    CORBA::ULong creation_number;
    m_endpoints->add(m_orb_name.c_str(), endpoint_id_of(m_domain, path), prototype, state, locator_reference.out(),
                     creation_number);
    return Answer::ACCEPTED;
  } catch (const EndpointRegistry::EntryAlreadyExists&) {
    return Answer::ALREADY_REGISTERED;
  } catch (const EndpointRegistry::InvalidOrbName&) {
    return Answer::OTHER_ORB;
  } catch (const EndpointRegistry::EntryNotExist&) {
    return Answer::NO_ENTRY;
  } catch (const EndpointRegistry::DynamicRegistrationNotAllowed&) {
    return Answer::NOT_ALLOWED;
  } catch (const CORBA::BAD_PARAM& exception) {
    if (exception.minor() == MINOR_BAD_NAME) return Answer::OTHER_DOMAIN;
    throw failure(exception);
  } catch (const CORBA::SystemException& exception) {
    throw failure(exception);
  }
}

void LocatorClient::remove_endpoint(const std::string& path) const {
  try {
    refresh_connection(m_endpoints);
    m_endpoints->remove(m_orb_name.c_str(), endpoint_id_of(m_domain, path));
  } catch (const CORBA::SystemException& exception) {
    throw failure(exception);
  }
}

void LocatorClient::add_activator(QZ_POA_PersistentServer::EndpointActivator_ptr activator) const {
  try {
    refresh_connection(m_activators);
    QZ_POA_PersistentServer::EndpointIdList_var ids;
    m_activators->add(m_orb_name.c_str(), activator, ids.out());
  } catch (const CORBA::SystemException& exception) {
    throw failure(exception);
  }
}

void LocatorClient::remove_activator() const {
  try {
    refresh_connection(m_activators);
    m_activators->remove(m_orb_name.c_str());
  } catch (const EndpointActivatorRegistry::EntryNotExist&) {
    // Gone already, which is what is wanted.
  } catch (const CORBA::SystemException& exception) {
    throw failure(exception);
  }
}

std::string LocatorClient::refusal(const std::string& path, Answer answer) const {
  const std::string poa = "POA \"" + path + "\"";
  switch (answer) {
    case Answer::ALREADY_REGISTERED:
      return poa + " is registered by a server that is alive; stop that one first.";
    case Answer::OTHER_ORB:
      return "The locator's repository gives " + poa + " to another ORB than \"" + m_orb_name +
             "\"; start this server under that ORB name or change the repository's entry.";
    case Answer::NO_ENTRY:
      return "The locator's repository has no entry for " + poa + " nor for the POA above it; add them, or register " +
             "the POA above first.";
    case Answer::NOT_ALLOWED:
      return "The locator's repository has no entry for " + poa +
             " and allows no dynamic registration below the POA above it; add the entry or allow it there.";
    case Answer::OTHER_DOMAIN:
      return "\"" + m_domain + "\" is not the domain of the locator at " + m_url +
             "; set POALOCATOR_DOMAIN to the locator's domain.";
    case Answer::ACCEPTED:
      break;
  }
  return {};
}

RegistrationError LocatorClient::failure(const CORBA::SystemException& exception) const {
  const std::string at = "The locator at " + m_url;
  if (is_silence(exception)) {
    return RegistrationError(at + " does not answer (" + text_of(exception) +
                             "); start it, or set POALOCATOR_URL to its address.");
  }
  return RegistrationError(at + " could not do what was asked (" + text_of(exception) + "); its event log tells why.");
}

}  // namespace PoaLocator
