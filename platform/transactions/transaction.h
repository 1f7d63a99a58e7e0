// The transaction of one thread, as the code that takes part in transactions sees it.
#pragma once

#include <cos_transactions.hh>
#include <memory>

#include "platform/orb/ref_counted_local_object.h"

// Something whose changes a transaction keeps or drops. Called by the transaction's thread, exactly one of the two,
// once.
class TransactionResource {
 public:
  virtual ~TransactionResource() = default;
  // Durable when it returns, if the transaction is to be (Transaction::durable). Has rolled back when it raises.
  virtual void commit() = 0;
  virtual void rollback() noexcept = 0;
};

// Used by its own thread only, apart from the count of references.
class Transaction : public virtual CosTransactions::Control, public QZ_CORBA::RefCountedLocalObject {
 public:
  // The calling thread's, still the thread's property; null when it has none.
  static Transaction* of_this_thread();

  // A transaction has at most one resource, so that commit needs no second phase.
  void enlist(std::shared_ptr<TransactionResource> resource) { m_resource = std::move(resource); }
  const std::shared_ptr<TransactionResource>& resource() const { return m_resource; }

  // False: its commit need not be durable before that of a later transaction which has to be.
  bool durable() const { return m_durable; }
  void make_durable_later() { m_durable = false; }

  bool marked_rollback() const { return m_marked; }
  void mark_rollback() { m_marked = true; }

 private:
  std::shared_ptr<TransactionResource> m_resource;
  bool m_durable = true;
  bool m_marked = false;
};
