#include "bench/load/load_thread.h"

#include <sys/epoll.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <limits>
#include <system_error>

namespace bench {

namespace {

constexpr std::size_t READ_SIZE = std::size_t{64} * 1024;
constexpr std::int64_t SECOND = 1'000'000'000;

std::int64_t now_ns() {
  return std::chrono::steady_clock::now().time_since_epoch() / std::chrono::nanoseconds(1);
}

}  // namespace

LoadThread::LoadThread(LoadPlan plan, std::size_t number)
    : m_plan(std::move(plan)), m_epoll(epoll_create1(EPOLL_CLOEXEC)), m_buffer(READ_SIZE) {
  if (m_epoll < 0) throw std::system_error(errno, std::generic_category(), "epoll_create1");
  const std::size_t targets = m_plan.requests.size();
  for (std::size_t i = 0; i < m_plan.connections; ++i) {
    m_connections.push_back(std::make_unique<LoadConnection>(m_plan.address));
    // Each connection walks through all targets, from a place of its own.
    constexpr std::size_t STRIDE = 7919;
    m_connections.back()->next_target = (number * m_plan.connections + i) * STRIDE % targets;
    watch(*m_connections.back(), EPOLL_CTL_ADD, false);
  }
}

LoadThread::~LoadThread() {
  close(m_epoll);
}

void LoadThread::watch(LoadConnection& connection, int operation, bool writable) {
  epoll_event event{};
  event.events = EPOLLIN | (writable ? EPOLLOUT : 0);
  event.data.ptr = &connection;
  if (epoll_ctl(m_epoll, operation, connection.fd(), &event) != 0) {
    throw std::system_error(errno, std::generic_category(), "epoll_ctl");
  }
}

void LoadThread::run() {
  prctl(PR_SET_TIMERSLACK, 1);  // open loop: requests leave when they are due
  m_start = m_next_due = m_last_sent = now_ns();
  m_measure_from = m_start + m_plan.warmup;
  m_end = m_plan.duration > 0 ? m_measure_from + m_plan.duration : std::numeric_limits<std::int64_t>::max();
  m_interval = m_plan.rate > 0 ? static_cast<double>(SECOND) / m_plan.rate : 0;
  if (m_plan.rate <= 0) {
    for (const auto& connection : m_connections) {
      fill(*connection, now_ns());
      flush(*connection);
    }
  }
  bool told = false;
  for (;;) {
    const std::int64_t now = now_ns();
    if (m_plan.rate > 0) send_due(now);
    if (!told && m_plan.limit > 0 && m_result.sent >= m_plan.limit) {
      told = true;
      m_plan.all_sent();
    }
    const bool sending = may_send(now) && m_result.connections_lost < m_connections.size();
    if (!sending && (m_unanswered == 0 || now - m_last_sent > m_plan.patience)) break;
    wait(now);
  }
  m_result.measured = m_plan.duration > 0 ? m_plan.duration : m_result.last_reply - m_measure_from;
}

bool LoadThread::may_send(std::int64_t now) const {
  return now < m_end && (m_plan.limit == 0 || m_result.sent < m_plan.limit);
}

void LoadThread::add_request(LoadConnection& connection, std::int64_t time) {
  const std::uint32_t id = connection.in_flight.add(time);
  m_plan.requests.append(connection.output(), connection.next_target, id);
  if (++connection.next_target == m_plan.requests.size()) connection.next_target = 0;
  ++m_result.sent;
  ++m_unanswered;
  m_last_sent = time;
}

void LoadThread::fill(LoadConnection& connection, std::int64_t now) {
  while (connection.in_flight.size() < m_plan.depth && may_send(now)) add_request(connection, now);
}

void LoadThread::send_due(std::int64_t now) {
  while (m_next_due <= now && may_send(m_next_due)) {
    LoadConnection& connection = *m_connections[m_due_count % m_connections.size()];
    if (connection.open()) {
      add_request(connection, m_next_due);
      flush(connection);
    }
    ++m_due_count;
    m_next_due = m_start + static_cast<std::int64_t>(static_cast<double>(m_due_count) * m_interval);
  }
}

void LoadThread::flush(LoadConnection& connection) {
  const bool was_blocked = connection.watched_for_output;
  connection.flush();
  if (!connection.open()) return lose(connection);
  if (connection.blocked() == was_blocked) return;
  connection.watched_for_output = !was_blocked;
  watch(connection, EPOLL_CTL_MOD, !was_blocked);
}

void LoadThread::receive(LoadConnection& connection) {
  std::int64_t now = 0;
  connection.receive(m_buffer, [&](Octets message) {
    if (now == 0) now = now_ns();
    take_message(connection, message, now);
  });
  if (!connection.open()) return lose(connection);
  if (now == 0 || m_plan.rate > 0) return;
  fill(connection, now);
  flush(connection);
}

void LoadThread::take_message(LoadConnection& connection, Octets message, std::int64_t now) {
  const Reply reply = parse_reply(message);
  if (reply.kind != Reply::Kind::REPLY && reply.kind != Reply::Kind::LOCATE_REPLY) {
    ++m_result.unexpected;
    return;
  }
  const auto time =
      m_plan.fixed_replies ? connection.in_flight.take_oldest() : connection.in_flight.take(reply.request_id);
  if (!time) {
    ++m_result.unexpected;
    return;
  }
  --m_unanswered;
  ++m_result.answered;
  ++m_result.statuses[static_cast<std::size_t>(reply.kind)][reply.status];
  m_result.last_reply = now;
  if (m_result.sample.empty()) m_result.sample.assign(message.begin(), message.end());
  // An open loop measures the requests of the time, a closed loop the answers in it.
  const std::int64_t counts_at = m_plan.rate > 0 ? *time : now;
  if (counts_at >= m_measure_from && counts_at < m_end) m_result.latency.record(now - *time);
}

void LoadThread::lose(LoadConnection& connection) {
  epoll_ctl(m_epoll, EPOLL_CTL_DEL, connection.fd(), nullptr);
  ++m_result.connections_lost;
  m_unanswered -= connection.in_flight.size();
}

void LoadThread::wait(std::int64_t now) {
  constexpr std::int64_t LONGEST = SECOND / 10;
  std::int64_t time = LONGEST;
  if (m_plan.rate > 0 && may_send(now)) time = std::clamp<std::int64_t>(m_next_due - now, 0, LONGEST);
  const timespec timeout{0, time};
  std::array<epoll_event, 256> events;
  const int count = epoll_pwait2(m_epoll, events.data(), static_cast<int>(events.size()), &timeout, nullptr);
  for (int i = 0; i < count; ++i) {
    auto& connection = *static_cast<LoadConnection*>(events[static_cast<std::size_t>(i)].data.ptr);
    if ((events[static_cast<std::size_t>(i)].events & EPOLLOUT) != 0) flush(connection);
    if (connection.open()) receive(connection);
  }
}

}  // namespace bench
