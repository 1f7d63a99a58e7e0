// What the front door has done so far. Every member may be read from any thread at any time.
#pragma once

#include "platform/base/striped_counter.h"

namespace QZ_Binding {

struct FrontDoorCounters {
  using Counter = StripedCounter;

  Counter connections_accepted;
  Counter connections_open;  // now

  Counter requests;
  Counter locate_requests;
  Counter cancel_requests;
  Counter requests_parked;  // interceptor returned before the outcome was set

  Counter writes;  // how often replies were handed to the network, several at once where possible
  Counter forwards;
  Counter exceptions;
  Counter unknown_objects;
  Counter locate_exceptions_as_here;  // OBJECT_HERE for lack of an exception status in GIOP 1.0 and 1.1
  Counter oneway_forwards_lost;
  Counter replies_dropped;      // client gone, connection ended or request cancelled
  Counter requests_unrouted;    // neither prefix nor name
  Counter requests_dropped;     // client gone or request cancelled before an interceptor had it
  Counter requests_unanswered;  // interceptor ended the request without an outcome, or raised

  // Limits that bit.
  Counter connections_refused;
  Counter connections_refused_for_address;
  Counter headers_too_long;
  Counter keys_too_long;
  Counter reads_paused_for_requests;
  Counter reads_paused_for_output;
  Counter incomplete_requests_exceeded;
  Counter idle_timeouts;
  Counter message_timeouts;
  Counter park_timeouts;
  Counter accept_failures;

  Counter protocol_errors;  // answered with MessageError
};

}  // namespace QZ_Binding
