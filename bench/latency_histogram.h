#pragma once

#include <boost/histogram.hpp>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <tuple>

namespace bench {

// Latencies from 100 ns to 1,000 s in steps of 0.5 percent, so that a quantile is never further off than that.
class LatencyHistogram {
 public:
  void record(std::int64_t nanoseconds);
  void add(const LatencyHistogram& other);

  std::uint64_t count() const { return m_count; }
  // In nanoseconds; 0 when nothing was recorded.
  double quantile(double q) const;
  // Microseconds: mean, p50, p90, p99, p99_9, max.
  nlohmann::json summary() const;

 private:
  using Axis = boost::histogram::axis::regular<double, boost::histogram::axis::transform::log>;
  using Histogram = boost::histogram::histogram<std::tuple<Axis>, boost::histogram::dense_storage<std::uint64_t>>;

  Histogram m_histogram{Axis(4617, 1e2, 1e12)};
  std::uint64_t m_count = 0;
  double m_sum = 0;
  std::int64_t m_max = 0;
};

}  // namespace bench
