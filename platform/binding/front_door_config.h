// What can be set of the front door. Sizes are in octets. Limits of 0 count as 1, times of 0 as said below.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/orb/ior_endpoint_impl.h"

namespace QZ_Binding {

// Of TRANSIENT, COMPLETED_NO: the request has waited for the whole of FrontDoorConfig::park_time.
inline constexpr std::uint32_t MINOR_PARKED_TOO_LONG = 0x515A0B01;

struct ListenerConfig {
  // A name or an address; "0.0.0.0" and "::" mean every address of the machine.
  std::string host = "127.0.0.1";
  // 0: any free port.
  std::uint16_t port = 2809;
  // Whom it admits (QZ_LocatorInternal::ROLE_...): which names it tells, and whether it locates servers' objects.
  std::vector<int> roles = {0, 1, 2};
  // Whether references to the locator carry it where FrontDoorConfig::published is empty.
  bool published = true;
};

struct FrontDoorConfig {
  std::vector<ListenerConfig> listeners = {ListenerConfig{}};

  // The addresses in references to the locator. Empty: those of the published listeners, with the machine's name where a
  // listener takes every address.
  std::vector<QZ_IOR::Address> published;

  // Threads that serve connections; 0: one per core.
  unsigned threads = 0;
  // Threads for interceptors registered with DISPATCH_WORKER; at least 1.
  unsigned workers = 4;

  // Further connections are closed as soon as they are accepted.
  std::size_t max_connections = 20'000;
  std::size_t max_connections_per_address = 5'000;

  // A longer request header: MessageError, and the connection is closed.
  std::size_t max_header_size = std::size_t{64} * 1024;
  // A longer object key: IMP_LIMIT.
  std::size_t max_key_size = std::size_t{16} * 1024;

  // A connection with that many unanswered requests is not read until one is answered.
  std::size_t max_requests_per_connection = 1'000;
  // Requests of one connection of which some fragments are still to come. More: MessageError, closed.
  std::size_t max_incomplete_requests = 32;
  // A connection whose peer leaves that many octets of replies unread is not read until they are gone.
  std::size_t max_output_size = std::size_t{1024} * 1024;

  // A connection without any request is closed after that time; 0: never.
  std::chrono::milliseconds idle_time = std::chrono::minutes(10);
  // From a message's first octet to its last, and for the peer to take some octets of what is sent to it; 0: any time.
  std::chrono::milliseconds message_time = std::chrono::minutes(2);
  // A request that is not answered in that time gets TRANSIENT with minor code MINOR_PARKED_TOO_LONG; 0: it waits as
  // long as it takes.
  std::chrono::milliseconds park_time{0};
  // How long a connection that is being closed waits for the peer to close it too; 0: not at all.
  std::chrono::milliseconds close_time = std::chrono::seconds(1);

  // A kind of event that repeats is logged at most once in that time.
  std::chrono::milliseconds log_interval = std::chrono::seconds(1);
};

}  // namespace QZ_Binding
