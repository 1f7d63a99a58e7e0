// A write transaction of a store.
#pragma once

#include <memory>

#include "platform/pss/work_unit.h"
#include "platform/transactions/transaction.h"

namespace QZ_PSS {

// Has the store's write turn and the database's write lock until it ends; rolled back when it is destroyed before.
// Once a statement has failed the transaction is doomed: engines differ in what is left of it, so nothing is kept.
class StoreTransaction final : public WorkUnit, public TransactionResource {
 public:
  // TRANSIENT with MINOR_LOCKED when the turn or the lock cannot be had within the busy time-out.
  // Not durable: what is committed may be lost with the machine's power until the next durable commit.
  static std::shared_ptr<StoreTransaction> begin(std::shared_ptr<Store> store, bool durable);
  ~StoreTransaction() override;

  // TRANSACTION_ROLLEDBACK when doomed.
  long long execute(const Sql& sql, const Fields& params = {}, const RowHandler& on_row = {}) override;
  void execute_once(const std::string& text);
  bool doomed() const { return m_doomed; }

  void commit() override;
  void rollback() noexcept override;
  // An association's end leaves the transaction open.
  void end() override {}

 private:
  explicit StoreTransaction(std::shared_ptr<Store> store) : WorkUnit(std::move(store)) {}
  void check_not_doomed() const;
  void finish();

  bool m_has_turn = false;
  bool m_begun = false;
  bool m_doomed = false;
};

}  // namespace QZ_PSS
