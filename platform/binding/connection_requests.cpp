// What a connection does with requests; reading, writing and closing are in connection.cpp.
#include <utility>

#include "platform/binding/connection.h"
#include "platform/binding/dispatcher.h"
#include "platform/binding/io_thread.h"
#include "platform/binding/key_segments.h"
#include "platform/binding/worker_pool.h"

namespace QZ_Binding {

namespace {

// IMP_LIMIT's standard minor codes say nothing of object keys.
constexpr CORBA::ULong NO_MINOR = 0;

std::string_view as_text(std::span<const unsigned char> octets) {
  return {reinterpret_cast<const char*>(octets.data()), octets.size()};
}

// The endpoint's part of an object key: three segments, or all of a key that has fewer.
std::string_view endpoint_prefix(std::span<const unsigned char> key) {
  constexpr int SEGMENTS = 3;
  std::size_t end = 0;
  for (int i = 0; i < SEGMENTS; ++i) {
    const auto segment = key_segment_at(key, end);
    if (!segment) return as_text(key);
    end = segment->end();
  }
  return as_text(key.first(end));
}

const char* text_of(QZ_Giop::MessageFault fault) {
  using enum QZ_Giop::MessageFault;
  switch (fault) {
    case NONE:
      break;
    case MAGIC:
      return "what comes is not GIOP";
    case VERSION:
      return "GIOP version not supported";
    case FLAGS:
      return "flags that do not fit the message";
    case TYPE:
      return "unknown message type";
    case UNEXPECTED:
      return "a message that only servers send";
    case SIZE:
      return "message size does not fit its type";
    case REQUEST_HEADER:
      return "malformed request header";
    case REQUEST_HEADER_SIZE:
      return "request header too long";
    case INCOMPLETE_REQUESTS:
      return "too many incomplete requests";
    case FRAGMENT_OF_NOTHING:
      return "a fragment of no request";
    case FRAGMENTED_ID_REUSED:
      return "two requests with one id in fragments";
  }
  return "unknown";
}

}  // namespace

void Connection::take_request(const QZ_Giop::RequestHeader& header, Time now) {
  FrontDoorCounters& counters = m_context.counters;
  ++(header.locate ? counters.locate_requests : counters.requests);
  if (header.response_expected && !m_by_id.empty() && m_by_id.contains(header.request_id)) {
    return end_by_message_error("request id " + std::to_string(header.request_id) + " used again before its answer");
  }
  const bool key_too_long = header.key.size() > m_context.config.max_key_size;
  if (!key_too_long && forward_at_once(header)) return;

  RequestRecord& record = m_thread.new_record();
  QZ_Giop::RequestHeader kept = header;
  if (key_too_long) kept.key = {};
  record.begin(shared_from_this(), kept, now);
  m_requests.add(record);
  if (!key_too_long) return dispatch(record);

  ++counters.keys_too_long;
  m_context.reporter.report_seldom(KEY_SIZE_MSG, [&]() -> std::vector<std::string> {
    return {peer_text(), std::to_string(m_context.config.max_key_size)};
  });
  record.refuse(CORBA::IMP_LIMIT(NO_MINOR, CORBA::COMPLETED_NO));
  record.mark(RequestRecord::RETURNED);
  record.finish();
}

bool Connection::forward_at_once(const QZ_Giop::RequestHeader& header) {
  // A request does not overtake those for the same endpoint that are with the worker pool.
  if (!header.response_expected || !m_admits_clients || !m_lanes.empty()) return false;
  const bool forwarded = m_context.manager.with_forward(
      header.key, [&](const QZ_IOR::ProfileList& profiles, std::span<const unsigned char> rest) {
        const QZ_Giop::ReplyTo to{header.version, header.little_endian, header.request_id};
        const std::size_t start = QZ_Giop::begin_forward(m_output, to, header.locate, false);
        profiles.append_ior(m_output, header.little_endian, {}, rest);
        QZ_Giop::end_message(m_output, start);
      });
  if (!forwarded) return false;
  ++m_context.counters.forwards;
  touch();
  return true;
}

void Connection::dispatch(RequestRecord& record) {
  if (!m_lanes.empty()) {
    const auto lane = m_lanes.find(endpoint_prefix(record.key()));
    if (lane != m_lanes.end()) {
      record.links.in_lane = true;
      lane->second.push_back(&record);
      if (record.response_expected()) m_by_id.emplace(record.id(), &record);
      return;
    }
  }
  record.add_ref();  // for this function
  for (;;) {
    const auto route = m_admits_clients ? m_context.manager.find_route(record.key()) : nullptr;
    if (!route) {
      answer_unrouted(m_context, record);
      break;
    }
    if (route->dispatch() == DISPATCH_WORKER) {
      record.links.in_lane = true;
      m_lanes.try_emplace(std::string(endpoint_prefix(record.key())));
      if (record.response_expected()) m_by_id.emplace(record.id(), &record);
      m_thread.workers().submit(record);
      record.release();
      return;
    }
    if (call_interceptor(m_context, record, *route)) break;
  }
  settle(record);
  if (record.links.list == &m_requests && record.response_expected()) m_by_id.emplace(record.id(), &record);
  record.release();
}

void Connection::settle(RequestRecord& record) {
  auto& links = record.links;
  if (!links.list) return;  // heard of for the last time before
  const std::uint32_t marks = record.marks();
  const auto all = [&](std::uint32_t wanted) { return (marks & wanted) == wanted; };

  if (all(RequestRecord::ANSWERED | RequestRecord::ANNOUNCED) && !links.reply_sent) send(record);
  if (!all(RequestRecord::RETURNED)) return;
  if (links.in_lane) leave_lane(record);
  if (all(RequestRecord::FINISHED)) return forget(record);
  // The client has its answer, or wants none: what the interceptor does with the request does not hold up others.
  const bool over = links.reply_sent || (marks & (RequestRecord::CANCELLED | RequestRecord::RAISED)) != 0;
  if (over && links.list == &m_requests) disown(record);
}

void Connection::send(RequestRecord& record) {
  record.links.reply_sent = true;
  if (record.reply().empty()) return;
  const bool cancelled = (record.marks() & RequestRecord::CANCELLED) != 0;
  if (cancelled || !answers_may_follow()) {
    ++m_context.counters.replies_dropped;
    return;
  }
  m_output.insert(m_output.end(), record.reply().begin(), record.reply().end());
  // The id is free again before the reply leaves.
  const auto entry = m_by_id.find(record.id());
  if (entry != m_by_id.end() && entry->second == &record) m_by_id.erase(entry);
  touch();
}

// The interceptor's call has returned: what came for the same endpoint meanwhile is next.
void Connection::leave_lane(RequestRecord& record) {
  record.links.in_lane = false;
  const auto lane = m_lanes.find(endpoint_prefix(record.key()));
  if (lane == m_lanes.end()) return;
  if (lane->second.empty()) {
    m_lanes.erase(lane);
    return;
  }
  RequestRecord* next = lane->second.front();
  lane->second.pop_front();
  m_thread.workers().submit(*next);
}

void Connection::cancel(std::uint32_t request_id) {
  ++m_context.counters.cancel_requests;
  const auto entry = m_by_id.find(request_id);
  if (entry == m_by_id.end()) return;  // answered already
  RequestRecord& record = *entry->second;
  record.mark(RequestRecord::CANCELLED);
  m_by_id.erase(entry);
  settle(record);
}

void Connection::expire_requests(Time now) {
  const auto allowed = m_context.config.park_time;
  RequestRecord* next = nullptr;
  for (RequestRecord* record = m_requests.first(); record; record = next) {
    next = record->links.next;
    if (now - record->arrival() <= allowed || record->abandoned()) continue;
    ++m_context.counters.park_timeouts;
    m_context.reporter.report_seldom(
        PARK_TIME_MSG, [&]() -> std::vector<std::string> { return {peer_text(), std::to_string(allowed.count())}; });
    record->refuse(CORBA::TRANSIENT(MINOR_PARKED_TOO_LONG, CORBA::COMPLETED_NO));
    record->announce();
  }
}

void Connection::withdraw(RequestRecord& record) {
  const auto entry = m_by_id.find(record.id());
  if (entry != m_by_id.end() && entry->second == &record) m_by_id.erase(entry);
  record.links.list->remove(record);
  touch();
}

void Connection::disown(RequestRecord& record) {
  withdraw(record);
  m_thread.orphans().add(record);
}

void Connection::forget(RequestRecord& record) {
  withdraw(record);
  record.release();
}

void Connection::refuse(QZ_Giop::MessageFault fault) {
  const auto report = [&](const FrontDoorMsg& message, std::size_t limit) {
    m_context.reporter.report_seldom(
        message, [&]() -> std::vector<std::string> { return {peer_text(), std::to_string(limit)}; });
  };
  if (fault == QZ_Giop::MessageFault::REQUEST_HEADER_SIZE) {
    ++m_context.counters.headers_too_long;
    report(HEADER_SIZE_MSG, m_context.config.max_header_size);
  } else if (fault == QZ_Giop::MessageFault::INCOMPLETE_REQUESTS) {
    ++m_context.counters.incomplete_requests_exceeded;
    report(INCOMPLETE_LIMIT_MSG, m_context.config.max_incomplete_requests);
  }
  end_by_message_error(text_of(fault));
}

void Connection::end_by_message_error(const std::string& reason) {
  ++m_context.counters.protocol_errors;
  m_context.reporter.report_seldom(PROTOCOL_ERROR_MSG,
                                   [&]() -> std::vector<std::string> { return {peer_text(), reason}; });
  QZ_Giop::append_message_error(m_output, m_reader.version(), m_reader.little_endian());
  finish(false);
}

}  // namespace QZ_Binding
