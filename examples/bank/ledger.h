// The bank's money, in memory.
#pragma once

#include <map>
#include <mutex>
#include <string>

// Safe from any thread.
class Ledger {
 public:
  // 0 for an owner who never deposited.
  long long balance(const std::string& owner) const;
  // False when the amount is not positive or more than the account can hold.
  bool deposit(const std::string& owner, long long amount);
  unsigned deposits() const;

 private:
  mutable std::mutex m_mutex;  // guards both
  std::map<std::string, long long> m_balances;
  unsigned m_deposits = 0;
};
