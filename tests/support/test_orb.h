// The one ORB of a test program: omniORB has at most one for each process.
#pragma once

#include <omniORB4/CORBA.h>

#include <string>

namespace test_orb {

// Initialised at the first call, listening on a free port of 127.0.0.1; destroyed at the end of the program.
CORBA::ORB_ptr orb();

// The root POA, its manager active.
PortableServer::POA_ptr root_poa();

// Of objects whose keys are their names: "corbaloc::127.0.0.1:PORT".
PortableServer::POA_ptr named_poa();
std::string url();

}  // namespace test_orb
