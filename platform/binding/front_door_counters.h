// What the front door has done so far. Every member may be read from any thread at any time.
#pragma once

#include <atomic>
#include <cstdint>

namespace QZ_Binding {

struct FrontDoorCounters {
  using Counter = std::atomic<std::uint64_t>;

  Counter connections_accepted{0};
  Counter connections_open{0};  // now

  Counter requests{0};
  Counter locate_requests{0};
  Counter cancel_requests{0};
  Counter requests_parked{0};  // interceptor returned before the outcome was set

  Counter writes{0};  // how often replies were handed to the network, several at once where possible
  Counter forwards{0};
  Counter exceptions{0};
  Counter unknown_objects{0};
  Counter locate_exceptions_as_here{0};  // OBJECT_HERE for lack of an exception status in GIOP 1.0 and 1.1
  Counter oneway_forwards_lost{0};
  Counter replies_dropped{0};      // client gone, or request cancelled
  Counter requests_unrouted{0};    // neither prefix nor name
  Counter requests_unanswered{0};  // interceptor ended the request without an outcome, or raised

  // Limits that bit.
  Counter connections_refused{0};
  Counter connections_refused_for_address{0};
  Counter headers_too_long{0};
  Counter keys_too_long{0};
  Counter reads_paused_for_requests{0};
  Counter reads_paused_for_output{0};
  Counter incomplete_requests_exceeded{0};
  Counter idle_timeouts{0};
  Counter message_timeouts{0};
  Counter park_timeouts{0};
  Counter accept_failures{0};

  Counter protocol_errors{0};  // answered with MessageError
};

}  // namespace QZ_Binding
