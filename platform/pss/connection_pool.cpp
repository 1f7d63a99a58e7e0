#include "platform/pss/connection_pool.h"

namespace QZ_PSS {

std::unique_ptr<Connection> ConnectionPool::take() {
  {
    QZ_MutexLock lock(m_mutex);
    if (!m_idle.empty()) {
      // The last one given back has the warmest cache.
      std::unique_ptr<Connection> connection = std::move(m_idle.back());
      m_idle.pop_back();
      return connection;
    }
  }
  return std::make_unique<Connection>(m_path, m_busy_timeout);
}

void ConnectionPool::give_back(std::unique_ptr<Connection> connection) {
  if (connection->broken()) return;
  QZ_MutexLock lock(m_mutex);
  // Closing, should there be too many, happens after the lock is gone: connection is a parameter.
  if (m_idle.size() < m_idle_limit) m_idle.push_back(std::move(connection));
}

}  // namespace QZ_PSS
