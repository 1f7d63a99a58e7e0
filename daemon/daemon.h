// poalocd from its start to its end.
#pragma once

#include "daemon/configuration_impl.h"
#include "daemon/signal_watch.h"
#include "platform/base/ref_count_handle.h"

namespace poalocd {

// Host up, plug-ins loaded, initialised and validated, processes taken up again, serving, ready; then waits for a
// request to stop, and goes the way back. Returns the exit code; what went wrong stands on standard error and, once
// there is one, in the event log.
int run_daemon(RefCountHandle<ConfigurationImpl> configuration, SignalWatch& signals);

}  // namespace poalocd
