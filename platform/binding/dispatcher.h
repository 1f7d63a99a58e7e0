// Brings requests to interceptors. Safe from any thread.
#pragma once

#include <memory>

#include "platform/binding/request_record.h"
#include "platform/binding/route.h"

namespace QZ_Binding {

struct FrontDoorContext;

// Calls the route's interceptor with the request, and marks that it has returned. False, with nothing done, when the
// route's binding has been destroyed.
bool call_interceptor(FrontDoorContext& context, RequestRecord& record, const Route& route);

// Answers a request that no route is for: by its name, or that there is no such object.
void answer_unrouted(FrontDoorContext& context, RequestRecord& record);

// Brings the request where its key leads at this moment, on this thread.
void dispatch_here(FrontDoorContext& context, RequestRecord& record);

// Ends a request that has not been given to anybody, and of which nobody waits for the answer.
void drop_request(RequestRecord& record);

}  // namespace QZ_Binding
