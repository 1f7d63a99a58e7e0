// One opened database: its connections, its write turn and its homes.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "platform/base/qz_mutex.h"
#include "platform/pss/connection_pool.h"
#include "platform/pss/home_table.h"
#include "platform/pss/session_manager_impl.h"
#include "platform/pss/writer_queue.h"

namespace QZ_PSS {

// Safe from any thread. Lives until its session manager, associations and transactions are gone.
class Store : public std::enable_shared_from_this<Store> {
 public:
  // OpenError.
  Store(const std::string& url, const StoreOptions& options);

  void register_home(const std::string& home_type_id, const StorageType& type, HomeFactory home_factory,
                     ObjectFactory object_factory);
  // Null when there is none.
  const HomeTable* find_home(const std::string& home_type_id) const;
  const HomeTable* find_home(long long number) const;

  const std::string& url() const { return m_url; }
  const StoreOptions& options() const { return m_options; }
  ConnectionPool& connections() { return *m_connections; }
  WriterQueue& writers() { return m_writers; }

 private:
  const std::string m_url;
  const StoreOptions m_options;
  std::unique_ptr<ConnectionPool> m_connections;
  WriterQueue m_writers;
  mutable QZ_Mutex m_mutex;  // a leaf: held for look-ups and insertions only
  std::map<std::string, std::unique_ptr<const HomeTable>, std::less<>> m_homes GUARDED_BY(m_mutex);
};

}  // namespace QZ_PSS
