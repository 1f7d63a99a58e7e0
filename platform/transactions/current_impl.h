// The transaction current: one object for all threads, each of which has its own transaction or none.
#pragma once

#include <cos_transactions.hh>

#include "platform/orb/ref_counted_local_object.h"

// Safe from any thread. All instances act on the same transaction of the calling thread. A transaction that is still
// there when its thread ends is rolled back.
class CurrentImpl : public virtual CosTransactions::Current, public QZ_CORBA::RefCountedLocalObject {
 public:
  void begin() override;
  void commit(CORBA::Boolean report_heuristics) override;
  void rollback() override;
  void rollback_only() override;
  CosTransactions::Status get_status() override;
  CosTransactions::Control_ptr get_control() override;
};
