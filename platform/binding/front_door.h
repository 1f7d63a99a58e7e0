// The locator's address for clients: a GIOP 1.0-1.2 server that answers from object keys alone.
#pragma once

#include <qz_logging.hh>

#include <memory>
#include <vector>

#include "platform/binding/binding_manager_impl.h"
#include "platform/binding/front_door_config.h"
#include "platform/binding/front_door_counters.h"

namespace QZ_Binding {

// Requests whose key begins with a prefix registered at the binding manager go to its interceptor; keys that are a
// registered name are answered with a forward; other requests with OBJECT_NOT_EXIST, LocateRequests with
// UNKNOWN_OBJECT. A request without a key goes to the interceptor of a two-segment (domain) prefix.
//
// A request id that is used again while its first request is unanswered is a protocol error; the id of a oneway or of
// a cancelled request is free at once.
//
// open, start and stop are for one thread at a time, and not for the front door's own threads; the rest is safe from
// any thread.
class FrontDoor {
 public:
  // Keeps a reference to the manager and to the log, which may be nil.
  FrontDoor(FrontDoorConfig config, BindingManagerImpl& manager, QZ_Logging::EventLog_ptr log);
  // Stops, and frees the requests that are still parked: nobody may use them any more.
  ~FrontDoor();
  FrontDoor(const FrontDoor&) = delete;
  FrontDoor& operator=(const FrontDoor&) = delete;

  // Takes the listeners' ports and tells the manager the published addresses. Clients are refused until start: call
  // open before anybody needs QZ_Binding::BindingManager::endpoint, and start when everything is registered.
  // std::system_error, naming the address, when one cannot be had.
  void open();

  // Serves clients; opens first where that was not done.
  void start();

  // Accepts nothing more, sends CloseConnection to every client, closes and joins its threads; returns when no
  // interceptor is called any more, which may be as late as the last call returns. Requests that are parked stay
  // valid until the destructor; answering them has no effect. It cannot be started again.
  void stop();

  // Where the listeners listen, in the order of the configuration, with the actual ports. Empty before open.
  std::vector<QZ_IOR::Address> listening() const;

  const FrontDoorCounters& counters() const;

 private:
  class Impl;
  std::unique_ptr<Impl> m_impl;
};

}  // namespace QZ_Binding
