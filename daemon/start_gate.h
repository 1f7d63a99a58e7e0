// Makes early calls wait for the end of the start-up.
#pragma once

#include <omniORB4/CORBA.h>

#include <condition_variable>
#include <mutex>

namespace poalocd {

// The ORB accepts connections before plug-ins have made their POAs again. A call to one of them that comes too early,
// from a server that has outlived a restart, must not hear that its object does not exist: it waits for the end of the
// start-up, and then hears that it is to be tried again (omniORB looks for an object before it asks for its POA).
class StartGate : public virtual PortableServer::AdapterActivator, public virtual CORBA::LocalObject {
 public:
  // From now on POAs that are not there do not exist.
  void open() {
    {
      const std::lock_guard lock(m_mutex);
      m_open = true;
    }
    m_opened.notify_all();
  }

  CORBA::Boolean unknown_adapter(PortableServer::POA_ptr, const char*) override {
    std::unique_lock lock(m_mutex);
    if (m_open) return false;
    m_opened.wait(lock, [this] { return m_open; });
    throw CORBA::TRANSIENT(0, CORBA::COMPLETED_NO);
  }

 private:
  std::mutex m_mutex;  // guards m_open
  std::condition_variable m_opened;
  bool m_open = false;
};

}  // namespace poalocd
