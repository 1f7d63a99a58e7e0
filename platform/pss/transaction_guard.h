// The rule by which all writers share transactions: who finds none begins one and ends it, everybody else joins.
#pragma once

#include <omniORB4/CORBA.h>

#include <cos_transactions.hh>
#include <qz_pss.hh>
#include <type_traits>
#include <utility>

#include "platform/pss/tx_session_association.h"
#include "platform/transactions/transaction.h"

namespace QZ_PSS {

// When what a commit has written outlives a loss of power: once it returns, or once a later commit does that is
// durable. The first costs a wait for the disk; the second is for what is of no use without that later commit. Who
// joins a transaction gets what was asked for when it began: no AT_ONCE may join a WITH_NEXT.
enum class Durable { AT_ONCE, WITH_NEXT };

// Begins a transaction if the calling thread has none; unless committed, one that it began is rolled back at the end of
// the scope. A transaction that the caller already had is left to the caller. Used by one thread.
class TransactionGuard {
 public:
  explicit TransactionGuard(CosTransactions::Current_ptr current, Durable durable = Durable::AT_ONCE)
      : m_current(current) {
    if (Transaction::of_this_thread()) return;
    m_current->begin();
    m_owned = true;
    if (durable == Durable::WITH_NEXT) Transaction::of_this_thread()->make_durable_later();
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

  // Durable as asked for, if owned; otherwise nothing. Raises as Current::commit does.
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
auto in_transaction(CosTransactions::Current_ptr current, SessionManager_ptr session_manager, Work&& work,
                    Durable durable = Durable::AT_ONCE) {
  using Result = std::invoke_result_t<Work&, TxSessionAssociation&>;
  TransactionGuard guard(current, durable);
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
