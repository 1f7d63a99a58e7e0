#include "bench/latency_histogram.h"

#include <algorithm>
#include <cmath>

namespace bench {

void LatencyHistogram::record(std::int64_t nanoseconds) {
  m_histogram(static_cast<double>(nanoseconds));
  ++m_count;
  m_sum += static_cast<double>(nanoseconds);
  m_max = std::max(m_max, nanoseconds);
}

void LatencyHistogram::add(const LatencyHistogram& other) {
  m_histogram += other.m_histogram;
  m_count += other.m_count;
  m_sum += other.m_sum;
  m_max = std::max(m_max, other.m_max);
}

double LatencyHistogram::quantile(double q) const {
  const auto wanted = static_cast<std::uint64_t>(std::ceil(q * static_cast<double>(m_count)));
  std::uint64_t seen = 0;
  for (auto&& bin : boost::histogram::indexed(m_histogram, boost::histogram::coverage::all)) {
    seen += *bin;
    if (seen >= wanted && *bin > 0) return std::min(bin.bin().upper(), static_cast<double>(m_max));
  }
  return 0;
}

nlohmann::json LatencyHistogram::summary() const {
  const auto micro = [](double nanoseconds) { return std::round(nanoseconds / 100) / 10; };
  return {{"mean", micro(m_count == 0 ? 0 : m_sum / static_cast<double>(m_count))},
          {"p50", micro(quantile(0.5))},
          {"p90", micro(quantile(0.9))},
          {"p99", micro(quantile(0.99))},
          {"p99_9", micro(quantile(0.999))},
          {"max", micro(static_cast<double>(m_max))}};
}

}  // namespace bench
