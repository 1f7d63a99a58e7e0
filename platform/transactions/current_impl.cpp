#include "platform/transactions/current_impl.h"

#include <utility>

#include "platform/transactions/transaction.h"

namespace {

// A thread's transaction; rolls back what is left when the thread ends.
class ThreadSlot {
 public:
  ~ThreadSlot() {
    if (Transaction* transaction = take()) end(transaction);
  }

  Transaction* get() const { return m_transaction; }
  void set(Transaction* transaction) { m_transaction = transaction; }
  // The caller gets the thread's reference.
  Transaction* take() { return std::exchange(m_transaction, nullptr); }

  static void end(Transaction* transaction) {
    if (transaction->resource()) transaction->resource()->rollback();
    transaction->enlist(nullptr);
    transaction->_qz_remove_ref();
  }

 private:
  Transaction* m_transaction = nullptr;
};

thread_local ThreadSlot t_slot;

Transaction* take_or_raise() {
  Transaction* transaction = t_slot.take();
  if (!transaction) throw CosTransactions::NoTransaction();
  return transaction;
}

}  // namespace

Transaction* Transaction::of_this_thread() {
  return t_slot.get();
}

void CurrentImpl::begin() {
  if (t_slot.get()) throw CosTransactions::SubtransactionsUnavailable();
  t_slot.set(new Transaction);
}

void CurrentImpl::commit(CORBA::Boolean) {
  Transaction* transaction = take_or_raise();
  if (transaction->marked_rollback()) {
    ThreadSlot::end(transaction);
    throw CORBA::TRANSACTION_ROLLEDBACK(0, CORBA::COMPLETED_NO);
  }
  const std::shared_ptr<TransactionResource> resource = transaction->resource();
  transaction->enlist(nullptr);
  transaction->_qz_remove_ref();
  if (!resource) return;
  try {
    resource->commit();
  } catch (const CORBA::SystemException& ex) {
    throw CORBA::TRANSACTION_ROLLEDBACK(ex.minor(), CORBA::COMPLETED_NO);
  }
}

void CurrentImpl::rollback() {
  ThreadSlot::end(take_or_raise());
}

void CurrentImpl::rollback_only() {
  if (!t_slot.get()) throw CosTransactions::NoTransaction();
  t_slot.get()->mark_rollback();
}

CosTransactions::Status CurrentImpl::get_status() {
  const Transaction* transaction = t_slot.get();
  if (!transaction) return CosTransactions::StatusNoTransaction;
  return transaction->marked_rollback() ? CosTransactions::StatusMarkedRollback : CosTransactions::StatusActive;
}

CosTransactions::Control_ptr CurrentImpl::get_control() {
  return CosTransactions::Control::_duplicate(t_slot.get());
}
