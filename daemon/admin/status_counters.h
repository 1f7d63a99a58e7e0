// What administrators are told in numbers.
#pragma once

#include <qz_locator_admin.hh>

#include "platform/binding/front_door_counters.h"

namespace poalocd {

class Host;

QZ_LocatorAdmin::CounterList entry_counters(Host& host);
QZ_LocatorAdmin::CounterList front_door_counters(const QZ_Binding::FrontDoorCounters& counters);

}  // namespace poalocd
