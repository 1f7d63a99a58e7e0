#include "platform/pss/store_transaction.h"

#include <algorithm>

#include "platform/pss/raise.h"

namespace QZ_PSS {

using Clock = std::chrono::steady_clock;

std::shared_ptr<StoreTransaction> StoreTransaction::begin(std::shared_ptr<Store> store, bool durable) {
  const auto timeout = store->options().busy_timeout;
  const auto deadline = Clock::now() + timeout;
  std::shared_ptr<StoreTransaction> self(new StoreTransaction(std::move(store)));
  if (!self->store().writers().acquire(deadline))
    raise<CORBA::TRANSIENT>(MINOR_LOCKED, "other writers of this process kept the store busy");
  self->m_has_turn = true;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
  self->connection().begin(std::clamp(left, std::chrono::milliseconds(0), timeout), durable);
  self->m_begun = true;
  return self;
}

StoreTransaction::~StoreTransaction() {
  rollback();
}

long long StoreTransaction::execute(const Sql& sql, const Fields& params, const RowHandler& on_row) {
  check_open();
  check_not_doomed();
  try {
    return connection().execute(sql, params, on_row);
  } catch (...) {
    m_doomed = true;
    throw;
  }
}

void StoreTransaction::execute_once(const std::string& text) {
  check_open();
  check_not_doomed();
  try {
    connection().execute_once(text);
  } catch (...) {
    m_doomed = true;
    throw;
  }
}

void StoreTransaction::commit() {
  try {
    check_open();
    check_not_doomed();
    connection().commit();
  } catch (...) {
    rollback();
    throw;
  }
  finish();
}

void StoreTransaction::rollback() noexcept {
  if (!m_has_turn) return;
  if (m_begun) connection().rollback();
  finish();
}

void StoreTransaction::check_not_doomed() const {
  if (m_doomed) raise<CORBA::TRANSACTION_ROLLEDBACK>(MINOR_ROLLED_BACK, minor_text(MINOR_ROLLED_BACK));
}

void StoreTransaction::finish() {
  close();
  give_back();
  if (m_has_turn) {
    m_has_turn = false;
    store().writers().release();
  }
}

}  // namespace QZ_PSS
