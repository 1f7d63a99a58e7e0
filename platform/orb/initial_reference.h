// Initial references of the host, by the interface that they are to have.
#pragma once

#include <omniORB4/CORBA.h>

// The caller releases the result. CORBA::ORB::InvalidName when the host has no such reference, INITIALIZE when it is of
// another interface.
template <class Interface>
typename Interface::_ptr_type initial_reference(CORBA::ORB_ptr orb, const char* name) {
  CORBA::Object_var object = orb->resolve_initial_references(name);
  typename Interface::_ptr_type narrowed = Interface::_narrow(object);
  if (CORBA::is_nil(narrowed)) throw CORBA::INITIALIZE(0, CORBA::COMPLETED_NO);
  return narrowed;
}
