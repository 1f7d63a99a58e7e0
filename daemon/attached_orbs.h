// The ORBs that are attached to a process.
#pragma once

#include <qz_locator_internal.hh>
#include <qz_logging.hh>
#include <string>
#include <vector>

namespace poalocd {

struct AttachedOrb {
  std::string name;
  QZ_LocatorInternal::ActiveORB_var orb;
  bool next_run = false;  // attached for the run after the present one
  bool given_up = false;  // and that run's start was taken back since
};
using AttachedOrbs = std::vector<AttachedOrb>;

// These call the ORBs: no lock may be held.

// Moves those that have registered (or have not) out of orbs.
AttachedOrbs take(AttachedOrbs& orbs, bool registered);
bool any_registered(const AttachedOrbs& orbs);
// Moves those out of orbs that are registered and whose servers live. Waits for a server that hangs as long as a probe may take.
AttachedOrbs take_answering(AttachedOrbs& orbs);
// Tells each that its process died.
void tell_died(const AttachedOrbs& orbs, QZ_Logging::EventLog_ptr log);

// These do not.

AttachedOrbs take_next_run(AttachedOrbs& orbs);
AttachedOrbs take_given_up(AttachedOrbs& orbs);
void append(AttachedOrbs& orbs, AttachedOrbs more);

}  // namespace poalocd
