// The numbered messages of the daemon itself. Ids are never used again for something else.
#pragma once

#include <cstdint>
#include <qz_logging.hh>
#include <string>
#include <vector>

namespace poalocd {

extern const char* const HOST_SUBSYSTEM;

struct HostEvent {
  std::uint32_t id;
  std::uint32_t priority;
  const char* text;
};

extern const HostEvent DAEMON_STARTING_EVENT;
extern const HostEvent DAEMON_READY_EVENT;
extern const HostEvent DAEMON_STOPPING_EVENT;
extern const HostEvent DAEMON_STOPPED_EVENT;
extern const HostEvent STORE_OPENED_EVENT;
extern const HostEvent ORB_LISTENING_EVENT;
extern const HostEvent PLUGIN_LOADED_EVENT;
extern const HostEvent PLUGIN_CLEANUP_FAILED_EVENT;
extern const HostEvent LOGS_REOPENED_EVENT;
extern const HostEvent LOG_REOPEN_FAILED_EVENT;
extern const HostEvent ORB_MESSAGE_EVENT;
extern const HostEvent THREAD_FAILED_EVENT;
extern const HostEvent DAEMON_START_FAILED_EVENT;
extern const HostEvent STOP_LIMIT_EVENT;
extern const HostEvent FEW_FILES_EVENT;

extern const HostEvent PROCESS_STARTED_EVENT;
extern const HostEvent PROCESS_START_FAILED_EVENT;
extern const HostEvent PROCESS_EXITED_EVENT;
extern const HostEvent PROCESS_KILLED_EVENT;
extern const HostEvent PROCESS_GONE_EVENT;
extern const HostEvent PROCESS_WATCHED_AGAIN_EVENT;
extern const HostEvent PROCESS_STARTUP_LIMIT_EVENT;
extern const HostEvent PROCESS_STOP_GRACE_EVENT;
extern const HostEvent PROCESS_LEAVING_EVENT;
extern const HostEvent PROCESS_RECORD_FAILED_EVENT;
extern const HostEvent SERVER_PROBE_FAILED_EVENT;
extern const HostEvent SERVER_DEAD_EVENT;
extern const HostEvent DEATH_REPORT_FAILED_EVENT;
extern const HostEvent PROCESS_STOPPING_EVENT;
extern const HostEvent PROCESS_STOP_KILLED_EVENT;

extern const HostEvent ORB_ADDED_EVENT;
extern const HostEvent ORB_DESTROYED_EVENT;
extern const HostEvent NAME_KNOWN_EVENT;
extern const HostEvent ORB_CHANGED_EVENT;
extern const HostEvent PROCESS_ADDED_EVENT;
extern const HostEvent PROCESS_CHANGED_EVENT;
extern const HostEvent PROCESS_DESTROYED_EVENT;
extern const HostEvent CONFIGURED_ENTRIES_IGNORED_EVENT;
extern const HostEvent IMPORT_DONE_EVENT;
extern const HostEvent IMPORT_FAILED_EVENT;

// Never throws. log: nil drops the event.
void report(QZ_Logging::EventLog_ptr log, const HostEvent& event, const std::vector<std::string>& parameters) noexcept;

}  // namespace poalocd
