#include "daemon/host_event.h"

#include <omniORB4/CORBA.h>

namespace poalocd {

namespace {
using QZ_Logging::ERROR_PRIORITY;
using QZ_Logging::INFORMATION;
using QZ_Logging::WARNING;
}  // namespace

const char* const HOST_SUBSYSTEM = "QZ_HOST";

const HostEvent DAEMON_STARTING_EVENT{1, INFORMATION, "poalocd %0 starts. Domain: %1"};
const HostEvent DAEMON_READY_EVENT{2, INFORMATION, "poalocd is ready. Clients and servers: %0"};
const HostEvent DAEMON_STOPPING_EVENT{3, INFORMATION, "poalocd stops: %0"};
const HostEvent DAEMON_STOPPED_EVENT{4, INFORMATION, "poalocd has stopped."};
const HostEvent STORE_OPENED_EVENT{5, INFORMATION, "Store opened: %0. Processes: %1, ORBs: %2"};
const HostEvent ORB_LISTENING_EVENT{6, INFORMATION, "The ORB listens on %0."};
const HostEvent PLUGIN_LOADED_EVENT{8, INFORMATION, "Plug-in library loaded: %0 (%1, version %2)"};
const HostEvent PLUGIN_CLEANUP_FAILED_EVENT{9, ERROR_PRIORITY, "Plug-in \"%0\" failed to clean up: %1"};
const HostEvent LOGS_REOPENED_EVENT{10, INFORMATION, "Log files opened anew."};
const HostEvent LOG_REOPEN_FAILED_EVENT{11, ERROR_PRIORITY,
                                        "A log file could not be opened anew, the old one stays: %0"};
const HostEvent ORB_MESSAGE_EVENT{12, WARNING, "From the ORB: %0"};
const HostEvent THREAD_FAILED_EVENT{13, ERROR_PRIORITY, "The thread that %0 met an exception and goes on: %1"};
const HostEvent DAEMON_START_FAILED_EVENT{14, ERROR_PRIORITY, "poalocd could not start: %0"};
const HostEvent STOP_LIMIT_EVENT{
    15, WARNING, "poalocd has not stopped within %0 s, most likely because a server hangs, and ends at once."};
const HostEvent FEW_FILES_EVENT{
    16, WARNING, "front_door.max_connections is %0 instead of %1: the system permits no more open files."};

const HostEvent PROCESS_STARTED_EVENT{20, INFORMATION, "Process \"%0\" started. Pid: %1, program: %2"};
const HostEvent PROCESS_START_FAILED_EVENT{21, ERROR_PRIORITY, "Process \"%0\" could not be started: %1"};
const HostEvent PROCESS_EXITED_EVENT{22, INFORMATION, "Process \"%0\" exited. Pid: %1, status: %2"};
const HostEvent PROCESS_KILLED_EVENT{23, WARNING, "Process \"%0\" was ended by a signal. Pid: %1, signal: %2"};
const HostEvent PROCESS_GONE_EVENT{
    24, INFORMATION, "Process \"%0\" is gone. Pid: %1 (started by an earlier poalocd, so its status is not known)"};
const HostEvent PROCESS_WATCHED_AGAIN_EVENT{25, INFORMATION, "Process \"%0\" still runs and is watched again. Pid: %1"};
const HostEvent PROCESS_STARTUP_LIMIT_EVENT{
    26, ERROR_PRIORITY,
    "Process \"%0\" has registered nothing within its start-up time limit of %2 s and is killed. Pid: %1"};
const HostEvent PROCESS_STOP_GRACE_EVENT{
    27, ERROR_PRIORITY,
    "Process \"%0\" was to be started again but has not exited within its stop grace period of %2 s. Pid: %1"};
const HostEvent PROCESS_LEAVING_EVENT{28, INFORMATION,
                                      "Process \"%0\" has no registered ORB any more and is expected to exit. Pid: %1"};
const HostEvent PROCESS_RECORD_FAILED_EVENT{
    29, ERROR_PRIORITY,
    "The record of process \"%0\" could not be written, so a restarted poalocd would not know it: %1"};
const HostEvent SERVER_PROBE_FAILED_EVENT{30, WARNING, "The server of ORB \"%0\" does not answer (%1 of %2)."};
const HostEvent SERVER_DEAD_EVENT{31, WARNING, "The server of ORB \"%0\" is taken for dead."};
const HostEvent DEATH_REPORT_FAILED_EVENT{32, ERROR_PRIORITY, "ORB \"%0\" failed to handle the end of its process: %1"};
const HostEvent PROCESS_STOPPING_EVENT{33, INFORMATION, "Process \"%0\" is told to end. Pid: %1"};
const HostEvent PROCESS_STOP_KILLED_EVENT{
    34, WARNING, "Process \"%0\" has not ended within its stop grace period of %2 s and is killed. Pid: %1"};

const HostEvent ORB_ADDED_EVENT{40, INFORMATION, "ORB \"%0\" added to the repository."};
const HostEvent ORB_DESTROYED_EVENT{41, INFORMATION, "ORB \"%0\" removed from the repository."};
const HostEvent NAME_KNOWN_EVENT{42, INFORMATION, "Name \"%0\" is served to %1."};
const HostEvent ORB_CHANGED_EVENT{43, INFORMATION, "Process of ORB \"%0\" set to \"%1\"."};
const HostEvent PROCESS_ADDED_EVENT{44, INFORMATION, "Process \"%0\" added to the repository."};
const HostEvent PROCESS_CHANGED_EVENT{45, INFORMATION, "Process \"%0\" changed, from its next start on."};
const HostEvent PROCESS_DESTROYED_EVENT{46, INFORMATION, "Process \"%0\" removed from the repository."};
const HostEvent CONFIGURED_ENTRIES_IGNORED_EVENT{
    47, INFORMATION,
    "The configuration's processes and ORBs (%0) are not used, because the store has entries: change those instead."};
const HostEvent IMPORT_DONE_EVENT{48, INFORMATION, "Repository imported. Entries: %0, added: %1, changed: %2"};
const HostEvent IMPORT_FAILED_EVENT{49, ERROR_PRIORITY, "An import into the repository failed: %0"};

void report(QZ_Logging::EventLog_ptr log, const HostEvent& event, const std::vector<std::string>& parameters) noexcept {
  if (CORBA::is_nil(log)) return;
  try {
    CORBA::AnySeq values;
    values.length(static_cast<CORBA::ULong>(parameters.size()));
    for (CORBA::ULong i = 0; i < values.length(); ++i) values[i] <<= parameters[i].c_str();
    log->log_event(HOST_SUBSYSTEM, event.id, event.priority, event.text, values);
  } catch (...) {
    // Reporting is never a reason to stop what is being reported.
  }
}

}  // namespace poalocd
