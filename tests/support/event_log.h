// The daemon's event log as a test reads it: a file of JSON lines.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace support {

struct Event {
  std::string subsystem;
  unsigned id = 0;
  unsigned priority = 0;
  std::string message;
  std::vector<std::string> parameters;
};

// The subsystem of the plug-in's own messages.
inline const std::string PLUGIN = "QZ_POA_LOCATOR";
// Of the daemon's.
inline const std::string HOST = "QZ_HOST";

class EventLog {
 public:
  explicit EventLog(std::string path) : m_path(std::move(path)) {}

  // Every complete line so far, in order.
  std::vector<Event> events() const;

  // How many of the plug-in's events have this id and begin with these parameters.
  std::size_t count(unsigned id, const std::vector<std::string>& parameters = {}) const;
  bool wait_for(unsigned id, const std::vector<std::string>& parameters = {}, std::size_t times = 1) const;
  // Any subsystem.
  bool wait_for(const std::function<bool(const Event&)>& matches) const;

  const std::string& path() const { return m_path; }

 private:
  std::string m_path;
};

}  // namespace support
