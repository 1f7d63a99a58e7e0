// The one ORB of a test program: omniORB has at most one for each process.
#pragma once

#include <omniORB4/CORBA.h>

namespace test_orb {

// Initialised at the first call; shut down at the end of the program.
CORBA::ORB_ptr orb();

// The root POA, its manager active.
PortableServer::POA_ptr root_poa();

}  // namespace test_orb
