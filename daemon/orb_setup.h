// The daemon's own ORB.
#pragma once

#include <omniORB4/CORBA.h>

#include <qz_logging.hh>

#include "daemon/orb_access.h"
#include "daemon/settings.h"

namespace poalocd {

// Makes the ORB with its fixed endpoints, listening but with its POAs and connections on hold (connection_gate.h). Calls
// to servers that set no time limit of their own end after activate_time_limit. What the ORB has to say goes to the log
// from now on, until forget_orb_log(). StartError when an endpoint cannot be had.
CORBA::ORB_ptr make_orb(const OrbEndpointSettings& settings, OrbAccess& access, QZ_Logging::EventLog_ptr log);
void forget_orb_log();

}  // namespace poalocd
