#pragma once

#include <cos_transactions.hh>
#include <qz_pss.hh>

namespace poalocd {

// The store and the transactions with which it is written.
struct StoreAccess {
  CosTransactions::Current_var current;
  QZ_PSS::SessionManager_var session_manager;
};

}  // namespace poalocd
