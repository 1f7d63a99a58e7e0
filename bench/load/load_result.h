#pragma once

#include <array>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <vector>

#include "bench/latency_histogram.h"
#include "bench/load/reply.h"

namespace bench {

// What one load has met. Times are the monotonic clock's, in nanoseconds.
struct LoadResult {
  LatencyHistogram latency;                                              // of the answers in the measured time
  std::int64_t measured = 0;                                             // how long that time was
  std::array<std::array<std::uint64_t, Reply::STATUSES>, 2> statuses{};  // by kind, of all answers
  std::uint64_t sent = 0;
  std::uint64_t answered = 0;
  std::uint64_t unexpected = 0;  // messages that answer nothing
  std::uint64_t connections_lost = 0;
  std::int64_t last_reply = 0;
  std::vector<unsigned char> sample;  // the first reply

  // That of another thread.
  void add(const LoadResult& other);
  bool complete() const { return answered == sent && unexpected == 0 && connections_lost == 0; }
  nlohmann::json summary() const;
};

}  // namespace bench
