// An event log that remembers what it is told, and hands it on to another one when it wraps one.
#pragma once

#include <algorithm>
#include <iterator>
#include <mutex>
#include <string>
#include <vector>

#include <qz_logging.hh>

#include "platform/orb/ref_counted_local_object.h"

struct RecordedEvent {
  std::string subsystem;
  CORBA::ULong id = 0;
  CORBA::ULong priority = 0;
  std::string text;
  std::vector<std::string> params;  // "<not a string>" for an element that holds something else
};

class RecordingEventLog : public virtual QZ_Logging::EventLog, public QZ_CORBA::RefCountedLocalObject {
 public:
  // Duplicates wrapped, which may be nil.
  explicit RecordingEventLog(QZ_Logging::EventLog_ptr wrapped = QZ_Logging::EventLog::_nil())
      : m_wrapped(QZ_Logging::EventLog::_duplicate(wrapped)) {}

  void log_event(const char* subsystem, QZ_Logging::EventId id, QZ_Logging::EventPriority priority, const char* text,
                 const CORBA::AnySeq& params) override {
    RecordedEvent event{subsystem, id, priority, text, {}};
    for (CORBA::ULong i = 0; i < params.length(); ++i) {
      const char* value = nullptr;
      event.params.emplace_back((params[i] >>= value) ? value : "<not a string>");
    }
    {
      std::lock_guard lock(m_mutex);
      m_events.push_back(std::move(event));
    }
    if (!CORBA::is_nil(m_wrapped)) m_wrapped->log_event(subsystem, id, priority, text, params);
  }

  std::vector<RecordedEvent> events() const {
    std::lock_guard lock(m_mutex);
    return m_events;
  }

  // In the order in which they were reported.
  std::vector<RecordedEvent> events(CORBA::ULong id) const {
    std::vector<RecordedEvent> found;
    const auto all = events();
    std::copy_if(all.begin(), all.end(), std::back_inserter(found), [id](const auto& event) { return event.id == id; });
    return found;
  }

  void clear() {
    std::lock_guard lock(m_mutex);
    m_events.clear();
  }

 private:
  const QZ_Logging::EventLog_var m_wrapped;
  mutable std::mutex m_mutex;  // guards m_events
  std::vector<RecordedEvent> m_events;
};
