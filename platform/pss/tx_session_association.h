// The scope in which a thread reads and writes the store.
#pragma once

#include <omniORB4/CORBA.h>

#include <memory>
#include <qz_pss.hh>

#include "platform/pss/session.h"

namespace QZ_PSS {

// Modes of an association.
constexpr int READ_ONLY = 0;   // reads; sees the writes of the calling thread's transaction, if it has one
constexpr int READ_WRITE = 1;  // joined to the calling thread's transaction

// Made, used and destroyed by one thread.
//
// Mode 0 outside a transaction: each read sees the latest commit and waits for no writer.
// Mode 1: the first one in a transaction takes the store's only write turn and keeps it until the transaction ends, so
// hold no lock that another writer needs, and do not wait for anything, in between.
//
// The destructor ends the association. It never ends the transaction: that stays with the thread.
class TxSessionAssociation {
 public:
  // Mode 1: TRANSACTION_REQUIRED when the thread has no transaction, TRANSIENT with MINOR_LOCKED when the write turn
  // cannot be had within the busy time-out, TRANSACTION_ROLLEDBACK when the transaction is doomed, INVALID_TRANSACTION
  // when it works on another store. Any mode: PERSIST_STORE when the store fails. BAD_PARAM for another mode, or a
  // session manager that is nil or not this store's.
  TxSessionAssociation(SessionManager_ptr session_manager, int mode);
  ~TxSessionAssociation();
  TxSessionAssociation(const TxSessionAssociation&) = delete;
  TxSessionAssociation& operator=(const TxSessionAssociation&) = delete;

  // The home registered under type_id, belonging to this association; narrow it with the home class's _narrow, which
  // gives null for a home of another class. CosPersistentState::NotFound when none is registered under type_id.
  CosPersistentState::StorageHomeBase* find_storage_home(const char* type_id);

  // Detaches from the transaction, which keeps what was written. The association cannot be used any more.
  void suspend() { end(); }
  // Ends reading. A second call, or one after suspend(), does nothing.
  void end();

  // BAD_INV_ORDER after the end.
  Session& session();

 private:
  std::unique_ptr<Session> m_session;
};

}  // namespace QZ_PSS
