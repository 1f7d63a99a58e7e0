// An end to what the ORB would try for ever: a call that is forwarded in a circle, or whose connection is closed in
// order each time.
#pragma once

namespace poaloc {

// For all calls of this process; after ORB_init, once. A call that gets no answer fails with COMM_FAILURE then.
void limit_attempts();

}  // namespace poaloc
