#include "daemon/orb_setup.h"

#include <memory>
#include <string>

#include "daemon/connection_gate.h"
#include "daemon/host_event.h"
#include "daemon/start_error.h"
#include "platform/base/qz_mutex.h"
#include "platform/orb/exception_text.h"

namespace poalocd {

namespace {

// Connections of servers up to which each has a thread of its own; beyond, a pool serves them all.
const char* const THREADED_CONNECTIONS = "256";
const char* const THREADED_CONNECTIONS_AGAIN = "128";

// Octets; a list of a hundred thousand references fits in. The ORB's own limit is 2 MiB.
const char* const MAX_MESSAGE_SIZE = "33554432";

QZ_Mutex orb_log_mutex;
QZ_Logging::EventLog_var orb_log GUARDED_BY(orb_log_mutex);

void log_orb_message(const char* text) {
  QZ_Logging::EventLog_var log;
  {
    const QZ_MutexLock lock(orb_log_mutex);
    log = orb_log;
  }
  report(log, ORB_MESSAGE_EVENT, {text});
}

}  // namespace

CORBA::ORB_ptr make_orb(const OrbEndpointSettings& settings, OrbAccess& access, QZ_Logging::EventLog_ptr log) {
  {
    const QZ_MutexLock lock(orb_log_mutex);
    orb_log = QZ_Logging::EventLog::_duplicate(log);
  }
  omniORB::setLogFunction(log_orb_message);

  const std::string call_limit = std::to_string(settings.activate_time_limit.count());
  const std::string connect_limit = std::to_string(settings.probe_time_limit.count());
  auto settable = access.orb_options();
  settable.insert(settable.end(), {{"clientCallTimeOutPeriod", call_limit},
                                   // Probes have a limit of their own.
                                   {"supportPerThreadTimeOut", "1"},
                                   // Lists of a large repository are long.
                                   {"giopMaxMsgSize", MAX_MESSAGE_SIZE},
                                   {"clientConnectTimeOutPeriod", connect_limit},
                                   // One round trip to a server, not two.
                                   {"verifyObjectExistsAndType", "0"},
                                   {"threadPerConnectionUpperLimit", THREADED_CONNECTIONS},
                                   {"threadPerConnectionLowerLimit", THREADED_CONNECTIONS_AGAIN}});
  const auto options = std::make_unique<const char*[][2]>(settable.size() + 1);  // ends with null pointers
  for (std::size_t i = 0; i < settable.size(); ++i) {
    options[i][0] = settable[i].first.c_str();
    options[i][1] = settable[i].second.c_str();
  }
  int argc = 0;
  char* argv[] = {nullptr};
  CORBA::ORB_var orb = CORBA::ORB_init(argc, argv, "omniORB4", options.get());
  access.begin();
  hold_connections();
  try {
    // This is when the endpoint is opened.
    const CORBA::Object_var root = orb->resolve_initial_references("RootPOA");
  } catch (const CORBA::SystemException& e) {
    orb->destroy();
    throw StartError("orb_endpoint.listen: cannot listen on " + access.text() + " (" + QZ_CORBA::to_string(e) +
                     "); stop the program that uses the port, or choose another address of this machine");
  }
  return orb._retn();
}

void forget_orb_log() {
  omniORB::setLogFunction(nullptr);
  const QZ_MutexLock lock(orb_log_mutex);
  orb_log = QZ_Logging::EventLog::_nil();
}

}  // namespace poalocd
