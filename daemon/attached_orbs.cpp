#include "daemon/attached_orbs.h"

#include <iterator>
#include <utility>

#include "daemon/exception_text.h"
#include "daemon/host_event.h"

namespace poalocd {

namespace {

// Moves those of which the predicate holds out of orbs.
template <class Predicate>
AttachedOrbs take_if(AttachedOrbs& orbs, Predicate predicate) {
  AttachedOrbs taken;
  AttachedOrbs left;
  for (auto& attached : orbs) (predicate(attached) ? taken : left).push_back(std::move(attached));
  orbs = std::move(left);
  return taken;
}

}  // namespace

AttachedOrbs take(AttachedOrbs& orbs, bool registered) {
  return take_if(orbs, [&](const AttachedOrb& attached) {
    try {
      return attached.orb->registered() == registered;
    } catch (const CORBA::Exception&) {
      return !registered;  // what cannot be asked has nothing that stands
    }
  });
}

AttachedOrbs take_answering(AttachedOrbs& orbs) {
  return take_if(orbs, [](const AttachedOrb& attached) {
    try {
      return attached.orb->probe() && attached.orb->registered();
    } catch (const CORBA::Exception&) {
      return false;
    }
  });
}

AttachedOrbs take_next_run(AttachedOrbs& orbs) {
  return take_if(orbs, [](const AttachedOrb& attached) { return attached.next_run; });
}

AttachedOrbs take_given_up(AttachedOrbs& orbs) {
  return take_if(orbs, [](const AttachedOrb& attached) { return attached.given_up; });
}

void append(AttachedOrbs& orbs, AttachedOrbs more) {
  orbs.insert(orbs.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
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
