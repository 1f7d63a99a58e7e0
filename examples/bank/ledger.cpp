#include "examples/bank/ledger.h"

#include <limits>

long long Ledger::balance(const std::string& owner) const {
  const std::lock_guard lock(m_mutex);
  const auto at = m_balances.find(owner);
  return at == m_balances.end() ? 0 : at->second;
}

bool Ledger::deposit(const std::string& owner, long long amount) {
  const std::lock_guard lock(m_mutex);
  long long& balance = m_balances[owner];
  if (amount < 1 || amount > std::numeric_limits<long long>::max() - balance) return false;
  balance += amount;
  ++m_deposits;
  return true;
}

unsigned Ledger::deposits() const {
  const std::lock_guard lock(m_mutex);
  return m_deposits;
}
