// The fixture of the tests of hostile and broken peers: what they do costs nothing but their own connection.
#pragma once

#include <map>

#include "tests/support/counters.h"
#include "tests/support/proc_info.h"
#include "tests/system/giop/giop_test.h"

// Ids of the front door's events.
enum FrontDoorEvent : unsigned {
  CONNECTION_LIMIT = 10,
  ADDRESS_LIMIT = 11,
  HEADER_SIZE = 12,
  KEY_SIZE = 13,
  REQUEST_LIMIT = 14,
  OUTPUT_LIMIT = 15,
  INCOMPLETE_LIMIT = 16,
  IDLE = 17,
  MESSAGE_TIME = 18,
  OUTPUT_TIME = 19,
  ACCEPT_FAILED = 20,
  PROTOCOL_ERROR = 21,
  PARK_TIME = 24
};

class HostileTest : public GiopTest {
 protected:
  // Sanitizers have memory of their own, so it is the optimised build that counts.
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
  static constexpr std::size_t FLAT_KIB = 48 * 1024;
#else
  static constexpr std::size_t FLAT_KIB = 1024;
#endif

  // Each test starts the locator with the limits that it is about.
  void SetUp() override;
  // Keys of front_door. The POA "Bank" runs.
  void start(const std::map<std::string, std::string>& limits = {});

  support::GiopClient connect_from(const std::string& address) const;
  std::size_t resident() const { return support::resident_kib(m_locator.pid()); }
  std::size_t files() const { return support::open_files(m_locator.pid()); }
  // Connections come and go without a trace.
  bool files_return_to(std::size_t before) const;

  // A client is forwarded, as ever.
  void expect_forwards();
  // The event log names the peer, and the limit or what else it did.
  void expect_logged(FrontDoorEvent id, const std::string& peer, const std::string& what);
  // The limit has bitten so often, whatever was logged.
  void expect_counted(const char* counter, std::uint64_t least);
  // CloseConnection or MessageError, and the end.
  static void expect_ended(support::GiopClient& client, support::MessageType how);
};
