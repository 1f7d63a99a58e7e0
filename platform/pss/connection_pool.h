// The connections of a store, reused.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "platform/base/qz_mutex.h"
#include "platform/pss/connection.h"

namespace QZ_PSS {

// Safe from any thread.
class ConnectionPool {
 public:
  ConnectionPool(std::string path, std::chrono::milliseconds busy_timeout, std::size_t idle_limit)
      : m_path(std::move(path)), m_busy_timeout(busy_timeout), m_idle_limit(idle_limit) {}

  // An idle connection, or a new one.
  std::unique_ptr<Connection> take();
  // A connection without open transaction; closed when broken, or when enough are idle.
  void give_back(std::unique_ptr<Connection> connection);

 private:
  const std::string m_path;
  const std::chrono::milliseconds m_busy_timeout;
  const std::size_t m_idle_limit;
  QZ_Mutex m_mutex;
  std::vector<std::unique_ptr<Connection>> m_idle GUARDED_BY(m_mutex);
};

}  // namespace QZ_PSS
