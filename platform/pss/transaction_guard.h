// The rule by which all writers share transactions: who finds none begins one and ends it, everybody else joins.
#pragma once

#include <omniORB4/CORBA.h>

#include <cos_transactions.hh>
#include <qz_pss.hh>
#include <type_traits>
#include <utility>

#include "platform/pss/tx_session_association.h"

namespace QZ_PSS {

// Begins a transaction if the calling thread has none; unless committed, one that it began is rolled back at the end of
// the scope. A transaction that the caller already had is left to the caller. Used by one thread.
class TransactionGuard {
 public:
  explicit TransactionGuard(CosTransactions::Current_ptr current) : m_current(current) {
    CosTransactions::Control_var control = m_current->get_control();
    if (CORBA::is_nil(control)) {
      m_current->begin();
      m_owned = true;
    }
  }

  ~TransactionGuard() {
    if (!m_owned) return;
    try {
      m_current->rollback();
    } catch (...) {
      m_owned = false;  // there is no transaction any more: nothing is left to undo
    }
  }

  TransactionGuard(const TransactionGuard&) = delete;
  TransactionGuard& operator=(const TransactionGuard&) = delete;

  bool owned() const { return m_owned; }

  // Durable when it returns, if owned; otherwise nothing. Raises as Current::commit does.
  void commit() {
    if (std::exchange(m_owned, false)) m_current->commit(true);
  }

 private:
  CosTransactions::Current_ptr m_current;  // the caller's
  bool m_owned = false;
};

// Runs work(association) in the thread's transaction, or in one of its own that is committed afterwards and rolled back
// when an exception escapes. Returns what work returns: copy values out, records are of no use after an own commit.
template <class Work>
auto in_transaction(CosTransactions::Current_ptr current, SessionManager_ptr session_manager, Work&& work) {
  using Result = std::invoke_result_t<Work&, TxSessionAssociation&>;
  TransactionGuard guard(current);
  TxSessionAssociation association(session_manager, READ_WRITE);
  const auto finish = [&] {
    association.suspend();
    guard.commit();
    session_manager->flush();
  };
  if constexpr (std::is_void_v<Result>) {
    work(association);
    finish();
  } else {
    Result result = work(association);
    finish();
    return result;
  }
}

}  // namespace QZ_PSS
