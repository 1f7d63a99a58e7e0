// What the plug-in's servants have in common.
#pragma once

#include <omniORB4/CORBA.h>

#include "platform/pss/pss_errors.h"

// The store's COMPLETED_NO speaks of one access to the store; an operation may have done other things before. So
// callers hear COMPLETED_MAYBE. Skeleton: POA_X::Interface.
template <class Skeleton>
class LocatorServant : public Skeleton {
 public:
  CORBA::Boolean _dispatch(omniCallHandle& handle) override {
    try {
      return Skeleton::_dispatch(handle);
    } catch (CORBA::SystemException& ex) {
      if (*QZ_PSS::minor_text(ex.minor()) != '\0') ex.completed(CORBA::COMPLETED_MAYBE);
      throw;
    }
  }
};
