#include "cli/attempt_limit.h"

#include <omniORB4/CORBA.h>
// clang-format off: each needs those before it.
#include <omniORB4/omniInterceptors.h>
#include <omniORB4/internal/giopRope.h>
#include <omniORB4/internal/giopStream.h>
#include <omniORB4/internal/giopStrand.h>
#include <omniORB4/IOP_C.h>
#include <omniORB4/internal/GIOP_C.h>
// clang-format on

namespace poaloc {

namespace {

// A client that is forwarded to a server, finds it gone and comes back needs a few.
constexpr unsigned LIMIT = 20;

thread_local unsigned attempts = 0;  // since the last answer

CORBA::Boolean count_attempt(omni::omniInterceptors::clientSendRequest_T::info_T&) {
  if (++attempts > LIMIT) {
    attempts = 0;
    throw CORBA::COMM_FAILURE(0, CORBA::COMPLETED_NO);
  }
  return true;
}

CORBA::Boolean see_reply(omni::omniInterceptors::clientReceiveReply_T::info_T& info) {
  const auto status = info.giop_c.replyStatus();
  const bool is_answer =
      status == GIOP::NO_EXCEPTION || status == GIOP::USER_EXCEPTION || status == GIOP::SYSTEM_EXCEPTION;
  if (is_answer) attempts = 0;
  return true;
}

}  // namespace

void limit_attempts() {
  auto* interceptors = omniORB::getInterceptors();
  interceptors->clientSendRequest.add(count_attempt);
  interceptors->clientReceiveReply.add(see_reply);
}

}  // namespace poaloc
