// The latest events of the log, for those who follow it.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "daemon/event_format.h"
#include "daemon/settings.h"
#include "platform/base/qz_mutex.h"

namespace poalocd {

// Safe from any thread; nobody waits but in next(). The lock is a leaf: events are reported with any other held.
class EventRing {
 public:
  static constexpr std::size_t CAPACITY = 1000;
  static constexpr std::size_t MAX_MESSAGE = std::size_t{8} * 1024;  // longer ones are cut
  static constexpr unsigned MAX_WAITING = 16;
  static constexpr Milliseconds MAX_WAIT{30'000};

  struct Entry {
    std::uint64_t number;
    std::chrono::system_clock::time_point time;
    std::string subsystem;
    std::uint32_t id;
    std::uint32_t priority;
    std::string message;
  };
  enum class Outcome { DONE, TOO_MANY_WAIT };

  // Its number is its time in microseconds, or the one after the last: so numbers rise over restarts too, with nothing
  // to be stored.
  void add(Event event);

  // Those behind that number, oldest first, into found. Without any, waits for one until the time is over, or the ring
  // is closed; TOO_MANY_WAIT, at once, when MAX_WAITING callers do so already.
  Outcome next(std::uint64_t after, std::size_t how_many, Milliseconds wait, std::vector<Entry>& found);

  // Nobody waits from now on.
  void close();

  unsigned waiting() const;

 private:
  using Entries = std::deque<Entry>;

  Entries::const_iterator behind(std::uint64_t number) const REQUIRES(m_mutex);

  mutable QZ_Mutex m_mutex;
  std::condition_variable_any m_changed;
  Entries m_entries GUARDED_BY(m_mutex);  // numbers rise
  std::uint64_t m_last GUARDED_BY(m_mutex) = 0;
  unsigned m_waiting GUARDED_BY(m_mutex) = 0;
  bool m_closed GUARDED_BY(m_mutex) = false;
};

}  // namespace poalocd
