// A connection in use by a session, and whether it still may be used.
#pragma once

#include <cstdint>
#include <memory>

#include "platform/pss/connection.h"
#include "platform/pss/store.h"

namespace QZ_PSS {

// Reads outside a transaction; each read sees the latest commit. Used by one thread.
class WorkUnit {
 public:
  explicit WorkUnit(std::shared_ptr<Store> store) : m_store(std::move(store)) {}
  virtual ~WorkUnit();
  WorkUnit(const WorkUnit&) = delete;
  WorkUnit& operator=(const WorkUnit&) = delete;

  Store& store() const { return *m_store; }

  // BAD_INV_ORDER with MINOR_SESSION_ENDED after end(); otherwise as Connection::execute.
  virtual long long execute(const Sql& sql, const Fields& params = {}, const RowHandler& on_row = {});

  void check_open() const;

  // Grows with each write, so that whoever keeps a copy of a record sees that it may be out of date.
  std::uint64_t changes() const { return m_changes; }
  void changed() { ++m_changes; }

  // Gives the connection back. A session that reads within a transaction does not end that transaction's unit.
  virtual void end();

 protected:
  // Taken at the first use.
  Connection& connection();
  void give_back();
  void close() { m_open = false; }

 private:
  const std::shared_ptr<Store> m_store;
  std::unique_ptr<Connection> m_connection;
  std::uint64_t m_changes = 0;
  bool m_open = true;
};

}  // namespace QZ_PSS
