#pragma once

#include <cstdint>
#include <functional>

#include "bench/load/request_set.h"
#include "bench/load/target.h"

namespace bench {

// What the load is to be. Times in nanoseconds.
struct LoadPlan {
  const RequestSet& requests;
  Target address;
  std::size_t connections = 1;
  // Closed loop: so many requests of each connection are unanswered at any time.
  std::size_t depth = 1;
  // Open loop: requests a second over all connections, whatever the answers do; 0: closed loop.
  double rate = 0;
  std::int64_t warmup = 0;     // not measured
  std::int64_t duration = 0;   // measured
  std::uint64_t limit = 0;     // requests to be sent; 0: as the time allows
  std::int64_t patience = 0;   // how long the last answers are waited for
  bool fixed_replies = false;  // the server answers in order, with whatever request id
  std::function<void()> all_sent = [] {};
};

}  // namespace bench
