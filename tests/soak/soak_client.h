// One of the clients of a soak: calls one POA after the other, and keeps account of what becomes of it.
#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "tests/support/giop_client.h"
#include "tests/support/locator.h"

struct SoakBooks {
  std::uint64_t asked = 0, forwarded = 0, exceptions = 0, cancelled = 0, deserted = 0;

  SoakBooks& operator+=(const SoakBooks& other);
  bool balanced() const { return asked == forwarded + exceptions + cancelled + deserted; }
};

class SoakClient {
 public:
  struct Target {
    support::Octets key;  // of the POA's object "object"
    std::string path;     // empty: nothing of that name is in the repository
  };

  SoakClient(const support::Locator& locator, const std::vector<Target>& targets, unsigned seed);

  // Until the end is told. Raises std::runtime_error when a request gets no answer, or one that it may not get.
  void run(const std::atomic<bool>& end);
  // When it has returned.
  const SoakBooks& books() const { return m_books; }

 private:
  struct Asked {
    const Target* target;
    support::Dialect dialect;
    bool locate;
  };

  void ask_once();
  void receive_answer(std::uint32_t id, const Asked& asked);
  // Whether it is a forward; otherwise it is an exception.
  static bool check(const Asked& asked, const support::Reply& reply);

  const support::Locator& m_locator;
  const std::vector<Target>& m_targets;
  std::mt19937 m_random;
  std::unique_ptr<support::GiopClient> m_connection;
  std::uint32_t m_last_id = 0;
  std::map<std::uint32_t, Asked> m_cancelled;  // on this connection, and not answered so far
  SoakBooks m_books;
};
