#pragma once

#include <qz_logging.hh>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/binding/front_door_event_msg.h"

namespace QZ_Binding {

// Writes the front door's events to the event log, repeated ones not too often. Never raises. Safe from any thread.
class EventReporter {
 public:
  // Adds a reference to the log, which may be nil.
  EventReporter(QZ_Logging::EventLog_ptr log, std::chrono::milliseconds interval);

  void report(const FrontDoorMsg& message, const std::vector<std::string>& params);

  // Logs at most once per interval, or always where that is 0; adds how many were passed over to the parameters.
  // make_params is called only where something is logged.
  template <class MakeParams>
  void report_seldom(const FrontDoorMsg& message, MakeParams make_params) {
    std::uint64_t unlogged;
    if (!due(message, unlogged)) return;
    std::vector<std::string> params = make_params();
    params.push_back(std::to_string(unlogged));
    report(message, params);
  }

 private:
  using Clock = std::chrono::steady_clock;
  struct History {
    std::atomic<Clock::rep> next{0};  // not before that time; 0: at once
    std::atomic<std::uint64_t> unlogged{0};
  };

  bool due(const FrontDoorMsg& message, std::uint64_t& unlogged);

  const QZ_Logging::EventLog_var m_log;
  const Clock::duration m_interval;
  std::array<History, FRONT_DOOR_MSG_COUNT> m_histories;  // by message id
};

}  // namespace QZ_Binding
