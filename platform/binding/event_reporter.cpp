#include "platform/binding/event_reporter.h"

namespace QZ_Binding {

EventReporter::EventReporter(QZ_Logging::EventLog_ptr log, std::chrono::milliseconds interval)
    : m_log(QZ_Logging::EventLog::_duplicate(log)), m_interval(interval) {}

void EventReporter::report(const FrontDoorMsg& message, const std::vector<std::string>& params) {
  if (CORBA::is_nil(m_log)) return;
  try {
    CORBA::AnySeq values;
    values.length(static_cast<CORBA::ULong>(params.size()));
    for (CORBA::ULong i = 0; i < values.length(); ++i) values[i] <<= params[i].c_str();
    m_log->log_event(FRONT_DOOR_SUBSYSTEM, message.id, message.priority, message.text, values);
  } catch (...) {  // NOLINT(bugprone-empty-catch)
    // Clients are served whether or not the log can be written.
  }
}

bool EventReporter::due(const FrontDoorMsg& message, std::uint64_t& unlogged) {
  unlogged = 0;
  if (m_interval == Clock::duration::zero()) return true;
  History& history = m_histories[message.id];
  const Clock::rep now = Clock::now().time_since_epoch().count();
  Clock::rep next = history.next.load(std::memory_order_relaxed);
  if (now < next || !history.next.compare_exchange_strong(next, now + m_interval.count(), std::memory_order_relaxed)) {
    history.unlogged.fetch_add(1, std::memory_order_relaxed);
    return false;
  }
  unlogged = history.unlogged.exchange(0, std::memory_order_relaxed);
  return true;
}

}  // namespace QZ_Binding
