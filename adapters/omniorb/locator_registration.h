// Makes an omniORB server's persistent POAs known to a PoaLocator, so that clients reach its objects through the
// locator's address, wherever the server runs and whether it runs or not.
//
//   PoaLocator::LocatorRegistration registration(orb, {}, [](auto& self, const std::string& path) {
//     if (path != "Bank/Accounts") return false;
//     self.create_poa(path, {}, [](PortableServer::POA_ptr poa) { ... activate the objects ... });
//     return true;
//   });
//   registration.create_poa("Bank/Accounts", {}, setup);  // or leave it to the callback, at the first request
//   CORBA::Object_var account = registration.mint("Bank/Accounts", "alice", "IDL:Bank/Account:1.0");
//   orb->run();
//   registration.leave();
//
// The server may listen on any port, a different one at every start: references go through the locator. What must not
// change from one start to the next is the names of the POAs and the object ids; omniORB's keys of persistent POAs
// consist of these alone. (omniORB's setting poaUniquePersistentSystemIds concerns ids that the system makes up; POAs
// here always have user ids.)
//
// Safe from any thread. The object must be destroyed, or leave() called, before the ORB is shut down.
#pragma once

#include <omniORB4/CORBA.h>

#include <chrono>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>

namespace PoaLocator {

// what() is a sentence for the server's operator that says what to do next.
class RegistrationError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct LocatorOptions {
  // Where the locator's front door is: "corbaloc::HOST:PORT". Empty: the environment's POALOCATOR_URL.
  std::string url;
  // Under which the locator's repository knows this server. Empty: the environment's POALOCATOR_ORB_NAME.
  std::string orb_name;
  // The locator's domain. Empty: the environment's POALOCATOR_DOMAIN, or else "poalocator".
  std::string domain;
  // Of each call to the locator.
  std::chrono::milliseconds call_timeout{5000};
  // How often to see whether the locator still knows this server; what it has lost is registered again. 0: never.
  std::chrono::milliseconds watch_interval{10000};
  // How long leave() goes on serving requests that were under way to this server when it unregistered.
  std::chrono::milliseconds leave_grace{100};
  // Told, on any thread, of what no caller can be told. Must not call the LocatorRegistration. Empty: a line on
  // standard error.
  std::function<void(const std::string& sentence)> report;
};

class LocatorRegistration {
 public:
  // Called on an ORB thread when the locator has a request for a POA of this server that is not up: creates it with
  // create_poa and returns true, or returns false for a POA that this server does not have. The locator keeps the
  // request until then. Several calls may run at once. An exception fails the waiting requests with TRANSIENT.
  using ActivationCallback = std::function<bool(LocatorRegistration& self, const std::string& path)>;

  // Called with a new POA before the locator learns of it: activate objects or set the default servant here.
  // Must not call the LocatorRegistration.
  using PoaSetup = std::function<void(PortableServer::POA_ptr poa)>;

  // Connects and registers for activation; the callback may be called before the constructor returns.
  // RegistrationError when the locator cannot be reached or an option is missing.
  LocatorRegistration(CORBA::ORB_ptr orb, LocatorOptions options, ActivationCallback on_activate);
  // leave(), if it has not been called, without its error.
  ~LocatorRegistration();
  LocatorRegistration(const LocatorRegistration&) = delete;
  LocatorRegistration& operator=(const LocatorRegistration&) = delete;

  // Creates the POA of the path, names joined by "/" from below the root POA on, and registers it. Upper levels that
  // are missing are created and registered too; they hold no objects. The POA is persistent with user ids; policies
  // holds any others. Its manager is the root POA's, which the application activates. A path that is up already is
  // returned as it is. The caller releases the POA.
  // RegistrationError when the locator refuses, and the POA is destroyed again; and when it does not answer or fails:
  // the POA stays up then, since nobody knows what the locator did, and is registered by the next call or by the watch.
  // Exceptions of the ORB and of setup pass through.
  PortableServer::POA_ptr create_poa(const std::string& path, const CORBA::PolicyList& policies, const PoaSetup& setup);

  // The persistent reference, through the locator, of the object with that id in a POA that is up. It is the same at
  // every start of the server, and need not be made again. The caller releases it. RegistrationError when the POA is
  // not up.
  CORBA::Object_ptr mint(const std::string& path, const PortableServer::ObjectId& id, const char* type_id) const;
  CORBA::Object_ptr mint(const std::string& path, const std::string& id, const char* type_id) const;

  // The clean way out: unregisters the POAs, children first, then the activation. The POAs themselves stay until the
  // ORB ends, so that requests under way are served. Not to be called from the activation callback. A second call does
  // nothing. RegistrationError when the locator could not be told; it finds out by itself then that the server has
  // gone.
  void leave();

 private:
  class Impl;
  const std::unique_ptr<Impl> m_impl;
};

}  // namespace PoaLocator
