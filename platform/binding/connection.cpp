#include "platform/binding/connection.h"

#include <algorithm>
#include <asio/buffer.hpp>
#include <asio/error.hpp>
#include <qz_locator_internal.hh>
#include <utility>

#include <poll.h>

#include "platform/binding/dispatcher.h"
#include "platform/binding/io_thread.h"

namespace QZ_Binding {

namespace {

constexpr int READS_PER_TURN = 4;
constexpr std::size_t KEPT_CAPACITY = std::size_t{64} * 1024;

void clear_octets(std::vector<unsigned char>& octets) {
  if (octets.capacity() > KEPT_CAPACITY) octets = {};
  octets.clear();
}

bool passed(Connection::Time since, std::chrono::milliseconds allowed, Connection::Time now) {
  return allowed.count() > 0 && now - since > allowed;
}

}  // namespace

Connection::Connection(IoThread& thread, asio::ip::tcp::socket socket, const asio::ip::address& peer,
                       std::span<const int> roles)
    : m_thread(thread),
      m_context(thread.context()),
      m_socket(std::move(socket)),
      m_peer(peer),
      m_peer_port([this] {
        std::error_code ignored;
        return m_socket.remote_endpoint(ignored).port();
      }()),
      m_roles(roles),
      m_admits_clients(std::find(roles.begin(), roles.end(), QZ_LocatorInternal::ROLE_CLIENT) != roles.end()),
      m_reader({m_context.config.max_header_size, m_context.config.max_incomplete_requests}) {}

Connection::~Connection() = default;

void Connection::start() {
  std::error_code error;
  m_socket.non_blocking(true, error);
  if (error) return close();
  m_socket.set_option(asio::ip::tcp::no_delay(true), error);
  // Finds out that a client is gone that waits for an answer and has lost its machine or network.
  m_socket.set_option(asio::socket_base::keep_alive(true), error);
  m_last_activity = m_write_progress = m_resumed = std::chrono::steady_clock::now();
  touch();
}

void Connection::touch() {
  if (m_touched || m_state == State::CLOSED) return;
  m_touched = true;
  m_thread.touch(shared_from_this());
}

void Connection::serve() {
  m_touched = false;
  m_last_activity = std::chrono::steady_clock::now();
  try {
    if (m_state != State::CLOSED) write_some();
    if (m_state == State::OPEN && m_unread_position < m_unread.size()) process_unread();
    const bool written = output_size() == 0;
    if (m_end_of_input && written) return close();
    if (m_state == State::FINISHING && written && (!m_wait_for_answers || m_requests.size() == 0)) {
      std::error_code ignored;
      m_socket.shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
      m_state = State::LINGERING;
      m_closing_since = std::chrono::steady_clock::now();
    }
    wait_readable();
  } catch (const std::exception&) {
    close();  // out of memory
  }
}

// ---- Reading.

void Connection::wait_readable() {
  if (m_reading || m_end_of_input || m_state == State::CLOSED) return;
  if (m_state == State::OPEN && must_pause()) return;
  m_reading = true;
  m_socket.async_wait(asio::ip::tcp::socket::wait_read,
                      [this, self = shared_from_this()](const std::error_code& error) {
                        m_reading = false;
                        if (error || m_state == State::CLOSED) return;
                        m_thread.turn([this] { read_some(); });
                      });
}

void Connection::read_some() {
  const auto buffer = m_thread.read_buffer();
  const Time now = std::chrono::steady_clock::now();
  touch();
  for (int i = 0; i < READS_PER_TURN; ++i) {
    std::error_code error;
    const std::size_t count = m_socket.read_some(asio::buffer(buffer.data(), buffer.size()), error);
    if (error == asio::error::would_block || error == asio::error::interrupted) return;
    if (error) return end_of_input();
    std::span<const unsigned char> octets = buffer.first(count);
    try {
      process(octets, now);
      m_unread.assign(octets.begin(), octets.end());
    } catch (const std::exception&) {
      return close();  // out of memory
    }
    m_unread_position = 0;
    if (!m_unread.empty() || count < buffer.size()) return;
  }
}

// The client is gone, but may have closed only its own direction after asking: it gets what is there already.
void Connection::end_of_input() {
  if (output_size() == 0) return close();
  m_end_of_input = true;
  finish(false);
}

// While reading pauses, an end of input would show only behind everything that the client has sent before.
bool Connection::peer_has_closed() {
  pollfd peer{m_socket.native_handle(), POLLRDHUP, 0};
  return ::poll(&peer, 1, 0) > 0;
}

void Connection::process(std::span<const unsigned char>& octets, Time now) {
  using Kind = QZ_Giop::Event::Kind;
  while (m_state == State::OPEN) {
    if (must_pause()) return;
    const QZ_Giop::Event event = m_reader.read(octets, now);
    switch (event.kind) {
      case Kind::MORE:
        return;
      case Kind::REQUEST:
        take_request(event.request, now);
        break;
      case Kind::CANCEL:
        cancel(event.request_id);
        break;
      case Kind::CLOSE:
        finish(true);
        break;
      case Kind::FAULT:
        refuse(event.fault);
        break;
    }
  }
  octets = {};  // what comes after the end is of no interest
}

void Connection::process_unread() {
  if (must_pause()) return;
  auto octets = std::span<const unsigned char>(m_unread).subspan(m_unread_position);
  process(octets, std::chrono::steady_clock::now());
  m_unread_position = m_unread.size() - octets.size();
  if (!octets.empty()) return;
  clear_octets(m_unread);
  m_unread_position = 0;
}

bool Connection::must_pause() {
  const FrontDoorConfig& config = m_context.config;
  const bool was_paused = m_paused_for_requests || m_paused_for_output;
  const bool requests = m_requests.size() >= config.max_requests_per_connection;
  if (requests && !m_paused_for_requests) {
    report_pause(REQUEST_LIMIT_MSG, m_context.counters.reads_paused_for_requests, m_requests.size());
  }
  m_paused_for_requests = requests;
  const std::size_t output = output_size();
  if (output >= config.max_output_size && !m_paused_for_output) {
    report_pause(OUTPUT_LIMIT_MSG, m_context.counters.reads_paused_for_output, output);
    m_paused_for_output = true;
  } else if (output == 0) {
    m_paused_for_output = false;
  }
  const bool paused = m_paused_for_requests || m_paused_for_output;
  if (was_paused && !paused) m_resumed = std::chrono::steady_clock::now();
  return paused;
}

void Connection::report_pause(const FrontDoorMsg& message, FrontDoorCounters::Counter& counter, std::size_t value) {
  ++counter;
  m_context.reporter.report_seldom(message,
                                   [&]() -> std::vector<std::string> { return {peer_text(), std::to_string(value)}; });
}

// ---- Writing.

void Connection::write_some() {
  if (m_writing_blocked) return;
  for (;;) {
    if (m_written == m_writing.size()) {
      clear_octets(m_writing);
      m_written = 0;
      if (m_output.empty()) return;
      m_writing.swap(m_output);
      m_write_progress = std::chrono::steady_clock::now();
    }
    std::error_code error;
    const auto rest = asio::buffer(m_writing.data() + m_written, m_writing.size() - m_written);
    const std::size_t count = m_socket.write_some(rest, error);
    ++m_context.counters.writes;
    if (error == asio::error::would_block) break;
    if (error) return close();
    m_written += count;
    m_write_progress = std::chrono::steady_clock::now();
  }
  m_writing_blocked = true;
  m_socket.async_wait(asio::ip::tcp::socket::wait_write,
                      [this, self = shared_from_this()](const std::error_code& error) {
                        m_writing_blocked = false;
                        if (error || m_state == State::CLOSED) return;
                        m_thread.turn([this] { touch(); });
                      });
}

// ---- The end.

void Connection::finish(bool wait_for_answers) {
  if (m_state == State::LINGERING || m_state == State::CLOSED) return;
  m_state = State::FINISHING;
  m_wait_for_answers = wait_for_answers;
  m_unread = {};
  m_unread_position = 0;
  touch();
}

void Connection::say_goodbye() {
  if (!answers_may_follow()) return;
  QZ_Giop::append_close_connection(m_output, m_reader.version(), m_reader.little_endian());
  finish(false);
}

void Connection::close() {
  if (m_state == State::CLOSED) return;
  const auto self = shared_from_this();
  m_state = State::CLOSED;
  m_gone.store(true, std::memory_order_release);
  std::error_code ignored;
  m_socket.close(ignored);
  m_unread = {};
  m_output = {};
  m_writing = {};
  m_written = 0;
  m_by_id.clear();
  m_context.connections.leave(m_peer);
  --m_context.counters.connections_open;

  for (auto& [prefix, lane] : std::exchange(m_lanes, {})) {
    for (RequestRecord* record : lane) drop_request(*record);
  }
  while (RequestRecord* record = m_requests.take()) m_thread.orphans().add(*record);
  m_thread.remove(*this);
}

Connection::Overdue Connection::overdue(Time now) {
  const FrontDoorConfig& config = m_context.config;
  if (m_state == State::CLOSED) return Overdue::NOTHING;
  if (m_state == State::LINGERING) {
    return now - m_closing_since >= config.close_time ? Overdue::CLOSE : Overdue::NOTHING;
  }
  if (output_size() > 0 && passed(m_write_progress, config.message_time, now)) return Overdue::OUTPUT;
  if (m_state == State::OPEN && m_paused_for_requests && output_size() == 0 && peer_has_closed()) return Overdue::GONE;
  if (m_state != State::OPEN || m_paused_for_requests || m_paused_for_output) return Overdue::NOTHING;
  if (const auto since = m_reader.oldest_incomplete()) {
    return passed(std::max(*since, m_resumed), config.message_time, now) ? Overdue::MESSAGE : Overdue::NOTHING;
  }
  if (m_requests.size() > 0 || output_size() > 0) return Overdue::NOTHING;
  return passed(m_last_activity, config.idle_time, now) ? Overdue::IDLE : Overdue::NOTHING;
}

void Connection::end_overdue(Time now) {
  const FrontDoorConfig& config = m_context.config;
  FrontDoorCounters& counters = m_context.counters;
  const auto report = [&](const FrontDoorMsg& message, std::chrono::milliseconds time) {
    m_context.reporter.report_seldom(
        message, [&]() -> std::vector<std::string> { return {peer_text(), std::to_string(time.count())}; });
  };
  switch (overdue(now)) {
    case Overdue::NOTHING:
      break;
    case Overdue::IDLE:
      ++counters.idle_timeouts;
      report(IDLE_MSG, config.idle_time);
      say_goodbye();
      break;
    case Overdue::MESSAGE:
      ++counters.message_timeouts;
      report(MESSAGE_TIME_MSG, config.message_time);
      say_goodbye();
      break;
    case Overdue::OUTPUT:
      ++counters.message_timeouts;
      report(OUTPUT_TIME_MSG, config.message_time);
      close();
      break;
    case Overdue::GONE:
    case Overdue::CLOSE:
      close();
      break;
  }
}

std::string Connection::peer_text() const {
  const bool v6 = m_peer.is_v6();
  return (v6 ? "[" : "") + m_peer.to_string() + (v6 ? "]:" : ":") + std::to_string(m_peer_port);
}

}  // namespace QZ_Binding
