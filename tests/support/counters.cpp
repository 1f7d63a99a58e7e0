#include "tests/support/counters.h"

#include <iostream>
#include <qz_locator_admin.hh>

#include "tests/support/corba_side.h"
#include "tests/support/wait.h"

namespace support {

Counters::Counters(const Locator& locator) {
  const auto admin = resolve<QZ_LocatorAdmin::Locator>(locator, QZ_LocatorAdmin::LOCATOR_ADMIN);
  const QZ_LocatorAdmin::Status_var status = admin->info();
  const QZ_LocatorAdmin::CounterList& counters = status->front_door;
  for (CORBA::ULong i = 0; i < counters.length(); ++i) m_values.emplace(counters[i].name.in(), counters[i].value);
}

std::uint64_t Counters::requests_in() const {
  return (*this)["requests"] + (*this)["locate_requests"];
}

std::uint64_t Counters::outcomes() const {
  return (*this)["forwards"] + (*this)["oneway_forwards_lost"] + (*this)["exceptions"] + (*this)["unknown_objects"] +
         (*this)["requests_dropped"];
}

bool books_balance(const Locator& locator) {
  // An activation that failed meanwhile may take its time.
  const bool balanced = wait_until(
      [&] {
        const Counters counters(locator);
        return counters.requests_in() == counters.outcomes();
      },
      std::chrono::seconds(45));
  const Counters counters(locator);
  std::cout << "the locator's books: " << counters.requests_in() << " requests in, " << counters.outcomes()
            << " outcomes" << std::endl;
  return balanced;
}

}  // namespace support
