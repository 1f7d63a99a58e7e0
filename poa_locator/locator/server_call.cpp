#include "poa_locator/locator/server_call.h"

CallTimeLimit::CallTimeLimit(unsigned long milliseconds) {
  omniORB::setClientThreadCallTimeout(static_cast<CORBA::ULong>(milliseconds));
}

CallTimeLimit::~CallTimeLimit() {
  omniORB::setClientThreadCallTimeout(0);
}

bool answers(CORBA::Object_ptr object, unsigned long milliseconds) {
  if (CORBA::is_nil(object)) return false;
  try {
    CallTimeLimit limit(milliseconds);
    return !object->_non_existent();
  } catch (const CORBA::Exception&) {
    return false;
  }
}
