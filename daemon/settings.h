// What the configuration file says, checked, with defaults filled in. docs/configuration.md describes each value.
#pragma once

#include <chrono>
#include <map>
#include <string>
#include <vector>

#include "platform/binding/front_door_config.h"

namespace poalocd {

using Milliseconds = std::chrono::milliseconds;

struct OrbListenerSettings {
  QZ_IOR::Address address;
  std::vector<int> roles;  // QZ_LocatorInternal::ROLE_SERVER, ROLE_ADMINISTRATOR
  std::string published;   // host:port as written into references; empty: the address
};

struct OrbEndpointSettings {
  std::vector<OrbListenerSettings> listeners;
  Milliseconds probe_time_limit;
  Milliseconds activate_time_limit;
};

struct StoreSettings {
  std::string url;
  Milliseconds busy_timeout;
};

struct EventLogSettings {
  std::string file;  // empty: standard error
  bool json = false;
  unsigned long min_priority = 0;  // QZ_Logging's priorities
};

struct LivenessSettings {
  Milliseconds interval;  // 0: no monitor
  unsigned failures;
};

struct PluginSettings {
  std::string directory;  // empty: ../lib beside the program's own directory
  std::vector<std::string> libraries;
};

struct ProcessSettings {
  std::string name;
  std::vector<std::string> argv;
  std::string working_directory;  // empty: the daemon's
  std::map<std::string, std::string> environment;
  std::string user;                    // empty: the daemon's
  Milliseconds startup_time_limit{0};  // 0: none
  Milliseconds stop_grace{10'000};
  std::string log_file;  // empty: the daemon's standard error

  bool operator==(const ProcessSettings&) const = default;
};

struct OrbSettings {
  std::string name;
  std::string process;  // empty: none

  bool operator==(const OrbSettings&) const = default;
};

struct Settings {
  std::string domain;
  Milliseconds stop_time_limit;
  QZ_Binding::FrontDoorConfig front_door;
  OrbEndpointSettings orb_endpoint;
  StoreSettings store;
  EventLogSettings event_log;
  LivenessSettings liveness;
  PluginSettings plugins;
  std::vector<ProcessSettings> processes;  // in the order of the file; names are unique
  std::vector<OrbSettings> orbs;           // likewise
};

}  // namespace poalocd
