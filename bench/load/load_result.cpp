#include "bench/load/load_result.h"

#include <algorithm>
#include <cmath>

namespace bench {

void LoadResult::add(const LoadResult& other) {
  latency.add(other.latency);
  measured = std::max(measured, other.measured);
  for (std::size_t kind = 0; kind < statuses.size(); ++kind) {
    for (std::size_t status = 0; status < Reply::STATUSES; ++status) {
      statuses[kind][status] += other.statuses[kind][status];
    }
  }
  sent += other.sent;
  answered += other.answered;
  unexpected += other.unexpected;
  connections_lost += other.connections_lost;
  last_reply = std::max(last_reply, other.last_reply);
  if (sample.empty()) sample = other.sample;
}

nlohmann::json LoadResult::summary() const {
  nlohmann::json answers = nlohmann::json::object();
  for (const auto kind : {Reply::Kind::REPLY, Reply::Kind::LOCATE_REPLY}) {
    for (std::uint32_t status = 0; status < Reply::STATUSES; ++status) {
      const std::uint64_t count = statuses[static_cast<std::size_t>(kind)][status];
      if (count > 0) answers[status_name(kind, status)] = count;
    }
  }
  const double seconds = static_cast<double>(measured) / 1e9;
  return {{"sent", sent},
          {"answered", answered},
          {"unexpected", unexpected},
          {"connections_lost", connections_lost},
          {"answers", answers},
          {"seconds", seconds},
          {"throughput", seconds > 0 ? std::round(static_cast<double>(latency.count()) / seconds) : 0},
          {"latency_us", latency.summary()},
          {"last_reply_ns", last_reply}};
}

}  // namespace bench
