#include "daemon/event_log_impl.h"

#include <spdlog/logger.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>

#include <cstdio>
#include <exception>
#include <stdexcept>
#include <utility>
#include <vector>

namespace poalocd {

namespace {

// So much a file of the C library writes at once, and not in two pieces, of which the first ends in the midst of a
// line.
constexpr std::size_t PAGE = 4096;

// Of every record. Of what an event's line says itself the logger knows nothing.
constexpr auto LEVEL = spdlog::level::info;

}  // namespace

EventLogImpl::EventLogImpl(const EventLogSettings& settings) : m_settings(settings), m_logger(make_logger()) {}

EventLogImpl::~EventLogImpl() = default;

std::shared_ptr<spdlog::logger> EventLogImpl::make_logger() {
  spdlog::sink_ptr sink;
  if (m_settings.file.empty()) {
    sink = std::make_shared<spdlog::sinks::stderr_sink_mt>();
  } else {
    try {
      sink = std::make_shared<spdlog::sinks::basic_file_sink_mt>(m_settings.file);
    } catch (const spdlog::spdlog_ex& e) {
      throw std::runtime_error("the event log cannot be written: " + std::string(e.what()));
    }
  }
  auto logger = std::make_shared<spdlog::logger>("events", sink);
  logger->set_pattern("%v");
  logger->flush_on(LEVEL);
  logger->set_error_handler([this](const std::string& why) { failed(why); });
  return logger;
}

void EventLogImpl::failed(const std::string& why) {
  ++m_failures;
  // Once for a run of failures: a full disk must not fill the journal as well.
  if (!m_failing.exchange(true)) std::fprintf(stderr, "poalocd: events are lost: %s\n", why.c_str());
}

void EventLogImpl::log_event(const char* subsystem, QZ_Logging::EventId id, QZ_Logging::EventPriority priority,
                             const char* text, const CORBA::AnySeq& params) {
  if (priority < m_settings.min_priority) return;
  try {
    std::vector<std::string> parameters;
    parameters.reserve(params.length());
    for (CORBA::ULong i = 0; i < params.length(); ++i) {
      const char* value = nullptr;
      parameters.emplace_back((params[i] >>= value) ? value : "?");
    }
    std::string message = message_of(text, parameters);
    Event event{std::chrono::system_clock::now(), subsystem, id, priority, std::move(message), std::move(parameters)};
    write(event);
    m_ring.add(std::move(event));
  } catch (const std::exception& e) {
    failed(e.what());
  } catch (...) {
    failed("unknown exception");
  }
}

void EventLogImpl::write(const Event& event) {
  const std::string line = m_settings.json ? json_line(event) : text_line(event);
  const QZ_MutexLock lock(m_writing);
  const std::size_t size = line.size() + 1;
  const bool waits = m_gathering && event.priority < QZ_Logging::WARNING && size <= PAGE;
  if (!waits || m_gathered.size() + size > PAGE) flush_locked();
  if (waits)
    m_gathered.append(line).append("\n");
  else
    write_lines(line);
}

void EventLogImpl::write_lines(std::string_view lines) {
  const auto before = m_failures.load();
  logger()->log(LEVEL, lines);
  if (before == m_failures.load()) m_failing = false;
}

void EventLogImpl::gather(bool on) {
  const QZ_MutexLock lock(m_writing);
  // Whoever looks at standard error looks at it now, and it is not a file that is slow to write.
  m_gathering = on && !m_settings.file.empty();
  flush_locked();
}

void EventLogImpl::flush() {
  const QZ_MutexLock lock(m_writing);
  flush_locked();
}

void EventLogImpl::flush_locked() {
  if (m_gathered.empty()) return;
  m_gathered.pop_back();
  write_lines(m_gathered);
  m_gathered.clear();
}

std::shared_ptr<spdlog::logger> EventLogImpl::logger() {
  const QZ_MutexLock lock(m_mutex);
  return m_logger;
}

void EventLogImpl::reopen() {
  auto fresh = make_logger();
  const QZ_MutexLock lock(m_mutex);
  m_logger.swap(fresh);
}

}  // namespace poalocd
