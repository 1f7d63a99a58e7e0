#pragma once

#include <atomic>
#include <memory>
#include <vector>

#include "bench/load/load_connection.h"
#include "bench/load/load_plan.h"
#include "bench/load/load_result.h"

namespace bench {

// A thread's share of the load: an epoll loop over its connections.
class LoadThread {
 public:
  // Connects. number: of this thread, which decides where it begins in the set of requests.
  LoadThread(LoadPlan plan, std::size_t number);
  ~LoadThread();
  LoadThread(const LoadThread&) = delete;
  LoadThread& operator=(const LoadThread&) = delete;

  // Until everything is answered. Connections stay open until destruction.
  void run();
  const LoadResult& result() const { return m_result; }

 private:
  bool may_send(std::int64_t now) const;
  void add_request(LoadConnection& connection, std::int64_t time);
  void fill(LoadConnection& connection, std::int64_t now);
  void send_due(std::int64_t now);
  void flush(LoadConnection& connection);
  void receive(LoadConnection& connection);
  void take_message(LoadConnection& connection, Octets message, std::int64_t now);
  void watch(LoadConnection& connection, int operation, bool writable);
  void lose(LoadConnection& connection);
  // Until something happens or the next request is due.
  void wait(std::int64_t now);

  const LoadPlan m_plan;
  const int m_epoll;
  std::vector<std::unique_ptr<LoadConnection>> m_connections;
  std::vector<unsigned char> m_buffer;
  LoadResult m_result;
  std::uint64_t m_unanswered = 0;
  std::int64_t m_measure_from = 0;
  std::int64_t m_end = 0;
  std::int64_t m_next_due = 0;  // open loop
  double m_interval = 0;
  std::uint64_t m_due_count = 0;
  std::int64_t m_start = 0;
  std::int64_t m_last_sent = 0;
};

}  // namespace bench
