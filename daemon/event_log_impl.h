// The event log of the daemon's process.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <qz_logging.hh>
#include <string>
#include <string_view>

#include "daemon/event_format.h"
#include "daemon/event_ring.h"
#include "daemon/settings.h"
#include "platform/base/qz_mutex.h"
#include "platform/orb/ref_counted_local_object.h"

namespace spdlog {
class logger;
}

namespace poalocd {

// Each event is one line, written and flushed before log_event returns, unless the log gathers. Nothing is ever thrown
// at who logs: an event that cannot be written is counted, and the first of a run of such is reported on standard
// error. Safe from any thread.
class EventLogImpl : public virtual QZ_Logging::EventLog, public QZ_CORBA::RefCountedLocalObject {
 public:
  // std::runtime_error, naming file and reason, when the file cannot be opened.
  explicit EventLogImpl(const EventLogSettings& settings);

  // Events below the configured priority are dropped. A parameter that is no string is shown as "?".
  void log_event(const char* subsystem, QZ_Logging::EventId id, QZ_Logging::EventPriority priority, const char* text,
                 const CORBA::AnySeq& params) override;

  // Opens the file anew, as after a log rotation. When that fails the old one stays in use; std::runtime_error then.
  void reopen();

  // Whether lines of no urgency may wait until there is a page of them, or something urgent comes, or flush is called.
  // Only whole lines are written. Lines on standard error never wait. false: none waits any more. For GatheredEvents.
  void gather(bool on) EXCLUDES(m_writing);
  void flush() EXCLUDES(m_writing);

  // What was logged lately.
  EventRing& ring() { return m_ring; }

  // How often events could not be written: once for all that were gathered and lost together.
  std::uint64_t failures() const { return m_failures; }

 protected:
  ~EventLogImpl() override;

 private:
  std::shared_ptr<spdlog::logger> make_logger();
  std::shared_ptr<spdlog::logger> logger();
  void write(const Event& event) EXCLUDES(m_writing);
  // Without the newline of the last one.
  void write_lines(std::string_view lines) REQUIRES(m_writing);
  void flush_locked() REQUIRES(m_writing);
  void failed(const std::string& why);

  const EventLogSettings m_settings;
  QZ_Mutex m_mutex;
  std::shared_ptr<spdlog::logger> m_logger GUARDED_BY(m_mutex);
  EventRing m_ring;
  std::atomic<std::uint64_t> m_failures{0};
  std::atomic<bool> m_failing{false};
  QZ_Mutex m_writing;  // before m_mutex
  bool m_gathering GUARDED_BY(m_writing) = false;
  std::string m_gathered GUARDED_BY(m_writing);  // lines that wait, each with its newline
};

}  // namespace poalocd
