// An event log that remembers.
#pragma once

#include <qz_logging.hh>

#include <mutex>
#include <string>
#include <vector>

#include "platform/orb/ref_counted_local_object.h"

namespace test {

class EventLog : public virtual QZ_Logging::EventLog, public QZ_CORBA::RefCountedLocalObject {
 public:
  struct Event {
    std::string subsystem;
    QZ_Logging::EventId id;
    QZ_Logging::EventPriority priority;
    std::string text;
    std::vector<std::string> params;
  };

  void log_event(const char* subsystem, QZ_Logging::EventId id, QZ_Logging::EventPriority priority, const char* text,
                 const CORBA::AnySeq& params) override {
    Event event{subsystem, id, priority, text, {}};
    for (CORBA::ULong i = 0; i < params.length(); ++i) {
      const char* param = "";
      params[i] >>= param;
      event.params.emplace_back(param);
    }
    std::lock_guard lock(m_mutex);
    m_events.push_back(event);
  }

  // Those with that id.
  std::vector<Event> events(QZ_Logging::EventId id) {
    std::lock_guard lock(m_mutex);
    std::vector<Event> found;
    for (const Event& event : m_events) {
      if (event.id == id) found.push_back(event);
    }
    return found;
  }

 private:
  std::mutex m_mutex;  // guards m_events
  std::vector<Event> m_events;
};

}  // namespace test
