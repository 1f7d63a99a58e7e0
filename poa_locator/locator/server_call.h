// Calls from the locator to servers, none of which may last longer than its limit.
#pragma once

#include <omniORB4/CORBA.h>
#include <omnithread.h>

// Limits the remote calls of the calling thread for the lifetime of the object; TIMEOUT or TRANSIENT ends a longer one.
class CallTimeLimit {
 public:
  explicit CallTimeLimit(unsigned long milliseconds);
  ~CallTimeLimit();
  CallTimeLimit(const CallTimeLimit&) = delete;
  CallTimeLimit& operator=(const CallTimeLimit&) = delete;

 private:
  omni_thread::ensure_self m_self;  // the ORB keeps the limit with the thread
};

// Whether the object's server answers within the limit, and still knows the object. Nil never does.
bool answers(CORBA::Object_ptr object, unsigned long milliseconds);
