#pragma once

#include <asio/ip/address.hpp>
#include <condition_variable>
#include <map>
#include <utility>

#include "platform/base/qz_mutex.h"
#include "platform/binding/binding_manager_impl.h"
#include "platform/binding/event_reporter.h"
#include "platform/binding/front_door_config.h"
#include "platform/binding/front_door_counters.h"

namespace QZ_Binding {

// How many connections are open, in all and from each address. Safe from any thread.
class ConnectionCount {
 public:
  enum class Verdict { ADMITTED, TOO_MANY, TOO_MANY_OF_ADDRESS };

  // Counts one more, unless a limit says no.
  Verdict enter(const asio::ip::address& peer, const FrontDoorConfig& limits);
  void leave(const asio::ip::address& peer);
  // Returns when there are none, or after that time.
  void wait_for_none(std::chrono::milliseconds limit);

 private:
  QZ_Mutex m_mutex;  // guards the members below
  std::condition_variable_any m_none;
  std::size_t m_all GUARDED_BY(m_mutex) = 0;
  std::map<asio::ip::address, std::size_t> m_by_address GUARDED_BY(m_mutex);
};

// What all parts of a front door share.
struct FrontDoorContext {
  FrontDoorContext(FrontDoorConfig front_door_config, BindingManagerImpl& binding_manager, QZ_Logging::EventLog_ptr log)
      : config(std::move(front_door_config)), manager(binding_manager), reporter(log, config.log_interval) {}

  const FrontDoorConfig config;
  BindingManagerImpl& manager;  // kept alive by the front door
  FrontDoorCounters counters;
  EventReporter reporter;
  ConnectionCount connections;
};

}  // namespace QZ_Binding
