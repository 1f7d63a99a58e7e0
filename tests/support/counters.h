// What a locator's front door has counted, as "poaloc status" tells it.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "tests/support/locator.h"

namespace support {

class Counters {
 public:
  // Those of now.
  explicit Counters(const Locator& locator);

  // Raises std::out_of_range when there is no such counter.
  std::uint64_t operator[](const std::string& name) const { return m_values.at(name); }

  // The books: whatever came in has had one outcome, unless it still waits.
  std::uint64_t requests_in() const;
  std::uint64_t outcomes() const;

 private:
  std::map<std::string, std::uint64_t> m_values;
};

// Nothing waits any more, and nothing was forgotten or answered twice.
bool books_balance(const Locator& locator);

}  // namespace support
