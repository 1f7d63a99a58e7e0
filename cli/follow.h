// Going on for ever, over restarts of the locator too.
#pragma once

#include <chrono>
#include <thread>
#include <utility>

#include "cli/context.h"
#include "cli/failure.h"

namespace poaloc {

// step() asks the locator for what is new, prints it and waits. Once the locator has not answered, find() looks up anew
// what step() asks. Failures other than UNREACHABLE end it.
template <class Find, class Step>
[[noreturn]] void follow(Context& context, Find find, Step step) {
  constexpr std::chrono::milliseconds RETRY_INTERVAL{500};
  bool lost = false;
  const auto wait_for_locator = [&] {
    if (!std::exchange(lost, true)) context.note("The locator does not answer; waiting for it.");
    std::this_thread::sleep_for(RETRY_INTERVAL);
  };
  for (;;) {
    context.output().flush();
    try {
      if (lost) find();
      step();
      lost = false;
    } catch (const CORBA::SystemException&) {
      wait_for_locator();
    } catch (const Failure& failure) {
      if (failure.code() != UNREACHABLE) throw;
      wait_for_locator();
    }
  }
}

}  // namespace poaloc
