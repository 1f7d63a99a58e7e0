#include "platform/binding/connection.h"

#include <algorithm>
#include <qz_locator_internal.hh>
#include <utility>

#include <sys/epoll.h>

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

Connection::Connection(IoThread& thread, StreamSocket socket, const asio::ip::tcp::endpoint& peer,
                       std::span<const int> roles)
    : m_thread(thread),
      m_context(thread.context()),
      m_socket(std::move(socket)),
      m_peer(peer),
      m_roles(roles),
      m_admits_clients(std::find(roles.begin(), roles.end(), QZ_LocatorInternal::ROLE_CLIENT) != roles.end()),
      m_reader({m_context.config.max_header_size, m_context.config.max_incomplete_requests}) {}

Connection::~Connection() = default;

void Connection::start() {
  m_socket.set_options();
  m_last_activity = m_write_progress = m_resumed = m_thread.now();
  m_interest = EPOLLIN;
  if (m_thread.poller().add(m_socket.descriptor(), this, m_interest)) return;
  ++m_context.counters.accept_failures;
  close();
}

void Connection::ready(std::uint32_t events) {
  if (m_state == State::CLOSED) return;
  constexpr std::uint32_t BROKEN = EPOLLERR | EPOLLHUP;
  // While nothing is read, the end would show only behind all that the client has sent before.
  if ((events & BROKEN) != 0 && (m_interest & EPOLLIN) == 0) return close();
  if ((events & EPOLLOUT) != 0) {
    m_writing_blocked = false;
    touch();
  }
  if ((events & (EPOLLIN | BROKEN)) != 0 && (m_interest & EPOLLIN) != 0) read_some();
}

void Connection::update_interest() {
  if (m_state == State::CLOSED) return;
  const bool reads = !m_end_of_input && !(m_state == State::OPEN && must_pause());
  const std::uint32_t wanted = (reads ? EPOLLIN : 0u) | (m_writing_blocked ? EPOLLOUT : 0u);
  if (wanted == m_interest) return;
  m_interest = wanted;
  m_thread.poller().change(m_socket.descriptor(), this, wanted);
}

void Connection::touch() {
  if (m_touched || m_state == State::CLOSED) return;
  m_touched = true;
  m_thread.touch(*this);
}

void Connection::serve() {
  m_touched = false;
  m_last_activity = m_thread.now();
  try {
    if (m_state != State::CLOSED) write_some();
    if (m_state == State::OPEN && m_unread_position < m_unread.size()) process_unread();
    const bool written = output_size() == 0;
    if (m_end_of_input && written) return close();
    if (m_state == State::FINISHING && written && (!m_wait_for_answers || m_requests.size() == 0)) {
      m_socket.end_output();
      m_state = State::LINGERING;
      m_closing_since = m_thread.now();
    }
    update_interest();
  } catch (...) {
    close();  // out of memory; whatever it is, it must not end the others' connections
  }
}

// ---- Reading.

void Connection::read_some() {
  const auto buffer = m_thread.read_buffer();
  touch();
  for (int i = 0; i < READS_PER_TURN; ++i) {
    const auto [outcome, count] = m_socket.read(buffer);
    if (outcome == StreamSocket::Outcome::NOT_NOW) return;
    if (outcome == StreamSocket::Outcome::ENDED) return end_of_input();
    std::span<const unsigned char> octets = buffer.first(count);
    try {
      process(octets, m_thread.now());
      m_unread.assign(octets.begin(), octets.end());
    } catch (...) {
      return close();  // likewise
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
  process(octets, m_thread.now());
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
  if (was_paused && !paused) m_resumed = m_thread.now();
  return paused;
}

void Connection::report_pause(const FrontDoorMsg& message, FrontDoorCounters::Counter& counter, std::size_t value) {
  ++counter;
  m_context.reporter.report_seldom(message,
                                   [&]() -> std::vector<std::string> { return {peer_text(), std::to_string(value)}; });
}

// ---- Writing.

void Connection::write_some() {
  while (!m_writing_blocked) {
    if (m_written == m_writing.size()) {
      clear_octets(m_writing);
      m_written = 0;
      if (m_output.empty()) return;
      m_writing.swap(m_output);
      m_write_progress = m_thread.now();
    }
    const auto [outcome, count] = m_socket.write(std::span(m_writing).subspan(m_written));
    ++m_context.counters.writes;
    if (outcome == StreamSocket::Outcome::ENDED) return close();
    m_writing_blocked = outcome == StreamSocket::Outcome::NOT_NOW;
    m_written += count;
    if (count > 0) m_write_progress = m_thread.now();
  }
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
  m_thread.poller().remove(m_socket.descriptor());
  m_socket.close();
  m_unread = {};
  m_output = {};
  m_writing = {};
  m_written = 0;
  m_by_id.clear();
  m_context.connections.leave(m_peer.address());
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
  if (m_state == State::OPEN && m_paused_for_requests && output_size() == 0 && m_socket.peer_has_closed())
    return Overdue::GONE;
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
  const bool v6 = m_peer.address().is_v6();
  return (v6 ? "[" : "") + m_peer.address().to_string() + (v6 ? "]:" : ":") + std::to_string(m_peer.port());
}

}  // namespace QZ_Binding
