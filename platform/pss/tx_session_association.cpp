#include "platform/pss/tx_session_association.h"

#include "platform/pss/raise.h"
#include "platform/pss/session_manager_impl.h"
#include "platform/pss/store.h"
#include "platform/pss/store_transaction.h"
#include "platform/transactions/transaction.h"

namespace QZ_PSS {

namespace {

// Null when the thread's transaction does not work on a store yet.
std::shared_ptr<StoreTransaction> joined(const Transaction* transaction) {
  return transaction ? std::dynamic_pointer_cast<StoreTransaction>(transaction->resource()) : nullptr;
}

std::shared_ptr<WorkUnit> unit_for_reading(const std::shared_ptr<Store>& store) {
  const std::shared_ptr<StoreTransaction> work = joined(Transaction::of_this_thread());
  if (work && &work->store() == store.get()) return work;
  return std::make_shared<WorkUnit>(store);
}

std::shared_ptr<WorkUnit> unit_for_writing(const std::shared_ptr<Store>& store) {
  Transaction* transaction = Transaction::of_this_thread();
  if (!transaction) raise<CORBA::TRANSACTION_REQUIRED>(MINOR_NO_TRANSACTION, minor_text(MINOR_NO_TRANSACTION));
  std::shared_ptr<StoreTransaction> work = joined(transaction);
  if (transaction->resource() && (!work || &work->store() != store.get()))
    raise<CORBA::INVALID_TRANSACTION>(MINOR_OTHER_STORE, minor_text(MINOR_OTHER_STORE));
  if (work && work->doomed()) raise<CORBA::TRANSACTION_ROLLEDBACK>(MINOR_ROLLED_BACK, minor_text(MINOR_ROLLED_BACK));
  if (!work) {
    work = StoreTransaction::begin(store, transaction->durable());
    transaction->enlist(work);
  }
  return work;
}

}  // namespace

TxSessionAssociation::TxSessionAssociation(SessionManager_ptr session_manager, int mode) {
  const std::shared_ptr<Store>& store = implementation(session_manager).store();
  if (mode == READ_ONLY)
    m_session = std::make_unique<Session>(unit_for_reading(store), false);
  else if (mode == READ_WRITE)
    m_session = std::make_unique<Session>(unit_for_writing(store), true);
  else
    raise<CORBA::BAD_PARAM>(MINOR_BAD_MODE, minor_text(MINOR_BAD_MODE));
}

TxSessionAssociation::~TxSessionAssociation() = default;

CosPersistentState::StorageHomeBase* TxSessionAssociation::find_storage_home(const char* type_id) {
  return session().find_storage_home(type_id);
}

void TxSessionAssociation::end() {
  m_session->end();
}

Session& TxSessionAssociation::session() {
  if (!m_session->m_unit) raise<CORBA::BAD_INV_ORDER>(MINOR_SESSION_ENDED, minor_text(MINOR_SESSION_ENDED));
  return *m_session;
}

}  // namespace QZ_PSS
