#include "daemon/attached_orbs.h"

#include <utility>

#include "daemon/exception_text.h"
#include "daemon/host_event.h"

namespace poalocd {

AttachedOrbs take(AttachedOrbs& orbs, bool registered) {
  AttachedOrbs taken;
  AttachedOrbs left;
  for (auto& attached : orbs) {
    bool is_registered = false;
    try {
      is_registered = attached.orb->registered();
    } catch (const CORBA::Exception&) {
      // What cannot be asked has nothing that stands.
    }
    (is_registered == registered ? taken : left).push_back(std::move(attached));
  }
  orbs = std::move(left);
  return taken;
}

bool any_registered(const AttachedOrbs& orbs) {
  AttachedOrbs copy = orbs;
  return !take(copy, true).empty();
}

void tell_died(const AttachedOrbs& orbs, QZ_Logging::EventLog_ptr log) {
  for (const auto& attached : orbs) {
    try {
      attached.orb->process_died();
    } catch (...) {
      report(log, DEATH_REPORT_FAILED_EVENT, {attached.name, current_exception_text()});
    }
  }
}

}  // namespace poalocd
