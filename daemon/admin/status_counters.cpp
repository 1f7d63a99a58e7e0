#include "daemon/admin/status_counters.h"

#include <iterator>

#include "daemon/host.h"

namespace poalocd {

namespace {

using QZ_Binding::FrontDoorCounters;
using QZ_LocatorAdmin::CounterList;

struct Named {
  const char* name;
  FrontDoorCounters::Counter FrontDoorCounters::* counter;
};

constexpr Named FRONT_DOOR[] = {
    {"connections_accepted", &FrontDoorCounters::connections_accepted},
    {"connections_open", &FrontDoorCounters::connections_open},
    {"requests", &FrontDoorCounters::requests},
    {"locate_requests", &FrontDoorCounters::locate_requests},
    {"cancel_requests", &FrontDoorCounters::cancel_requests},
    {"requests_parked", &FrontDoorCounters::requests_parked},
    {"writes", &FrontDoorCounters::writes},
    {"forwards", &FrontDoorCounters::forwards},
    {"exceptions", &FrontDoorCounters::exceptions},
    {"unknown_objects", &FrontDoorCounters::unknown_objects},
    {"locate_exceptions_as_here", &FrontDoorCounters::locate_exceptions_as_here},
    {"oneway_forwards_lost", &FrontDoorCounters::oneway_forwards_lost},
    {"replies_dropped", &FrontDoorCounters::replies_dropped},
    {"requests_unrouted", &FrontDoorCounters::requests_unrouted},
    {"requests_dropped", &FrontDoorCounters::requests_dropped},
    {"requests_unanswered", &FrontDoorCounters::requests_unanswered},
    {"connections_refused", &FrontDoorCounters::connections_refused},
    {"connections_refused_for_address", &FrontDoorCounters::connections_refused_for_address},
    {"headers_too_long", &FrontDoorCounters::headers_too_long},
    {"keys_too_long", &FrontDoorCounters::keys_too_long},
    {"reads_paused_for_requests", &FrontDoorCounters::reads_paused_for_requests},
    {"reads_paused_for_output", &FrontDoorCounters::reads_paused_for_output},
    {"incomplete_requests_exceeded", &FrontDoorCounters::incomplete_requests_exceeded},
    {"idle_timeouts", &FrontDoorCounters::idle_timeouts},
    {"message_timeouts", &FrontDoorCounters::message_timeouts},
    {"park_timeouts", &FrontDoorCounters::park_timeouts},
    {"accept_failures", &FrontDoorCounters::accept_failures},
    {"protocol_errors", &FrontDoorCounters::protocol_errors},
};
static_assert(sizeof(FrontDoorCounters) == std::size(FRONT_DOOR) * sizeof(FrontDoorCounters::Counter),
              "every counter of the front door is told");

void append(CounterList& list, const char* name, CORBA::ULongLong value) {
  const CORBA::ULong length = list.length();
  list.length(length + 1);
  list[length].name = name;
  list[length].value = value;
}

CORBA::ULongLong repository_poas(const Host& host) {
  const QZ_IMRInternal::POARepository_var repository = host.imr().poa_repository();
  return CORBA::is_nil(repository) ? 0 : repository->number_of_entries();
}

CORBA::ULongLong active_processes(const Host& host) {
  CORBA::ULongLong result = 0;
  for (const auto& process : host.locator().active_processes().list()) {
    const QZ_LocatorAdmin::ActiveProcessInfo_var info = process->info();
    if (info->state != QZ_LocatorAdmin::PROCESS_STOPPED) ++result;
  }
  return result;
}

CORBA::ULongLong active_poas(const Host& host) {
  CORBA::ULongLong result = 0;
  QZ_LocatorInternal::ActiveORBList_var orbs = host.locator().active_orbs().list();
  for (CORBA::ULong i = 0; i < orbs->length(); ++i)
    if (auto* orb = dynamic_cast<QZ_LocatorInternal::ReportingORB*>(QZ_LocatorInternal::ActiveORB_ptr(orbs[i])))
      result += orb->number_of_poas();
  return result;
}

}  // namespace

CounterList entry_counters(Host& host) {
  CounterList result;
  append(result, "processes", host.imr().processes().size());
  append(result, "orbs", host.imr().orbs().size());
  append(result, "poas", repository_poas(host));
  append(result, "active_processes", active_processes(host));
  append(result, "active_orbs", host.locator().active_orbs().number_of_entries());
  append(result, "active_poas", active_poas(host));
  return result;
}

CounterList front_door_counters(const FrontDoorCounters& counters) {
  CounterList result;
  for (const auto& [name, counter] : FRONT_DOOR) append(result, name, (counters.*counter).load());
  return result;
}

}  // namespace poalocd
