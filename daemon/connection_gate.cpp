#include "daemon/connection_gate.h"

#include <omniORB4/CORBA.h>
#include <omniORB4/omniInterceptors.h>

#include <condition_variable>

#include "platform/base/qz_mutex.h"

namespace poalocd {

namespace {

using omni::omniInterceptors;

enum class State { HELD, OPEN, CLOSED };

class ConnectionGate {
 public:
  void set(State state) {
    {
      const QZ_MutexLock lock(m_mutex);
      m_state = state;
    }
    m_changed.notify_all();
  }
  State wait() {
    const QZ_MutexLock lock(m_mutex);
    m_changed.wait(m_mutex, [this]() REQUIRES(m_mutex) { return m_state != State::HELD; });
    return m_state;
  }
  bool closed() const {
    const QZ_MutexLock lock(m_mutex);
    return m_state == State::CLOSED;
  }

 private:
  mutable QZ_Mutex m_mutex;
  std::condition_variable_any m_changed;
  State m_state GUARDED_BY(m_mutex) = State::HELD;
};

ConnectionGate gate;

// Called by the connection's own thread before it reads anything, so that requests to locate wait as well.
CORBA::Boolean accept_connection(omniInterceptors::serverAcceptConnection_T::info_T& info) {
  if (gate.wait() == State::CLOSED) {
    info.reject = true;
    info.why = "poalocd does not serve";
  }
  return true;
}

CORBA::Boolean receive_request(omniInterceptors::serverReceiveRequest_T::info_T&) {
  if (gate.closed()) throw CORBA::TRANSIENT(0, CORBA::COMPLETED_NO);
  return true;
}

}  // namespace

void hold_connections() {
  gate.set(State::HELD);
  omniInterceptors* interceptors = omniORB::getInterceptors();
  interceptors->serverAcceptConnection.add(accept_connection);
  interceptors->serverReceiveRequest.add(receive_request);
}

void let_connections_in() {
  gate.set(State::OPEN);
}

void turn_connections_away() {
  gate.set(State::CLOSED);
}

}  // namespace poalocd
