#include "platform/binding/giop/message_reader.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/binding/giop/body_reader.h"

namespace QZ_Giop {

namespace {

constexpr std::size_t ID_SIZE = 4;

}  // namespace

Event MessageReader::read(std::span<const unsigned char>& octets, Time now) {
  for (;;) {
    std::optional<Event> event;
    switch (m_state) {
      case State::HEADER:
        event = read_header(octets, now);
        break;
      case State::ID:
        event = read_id(octets);
        break;
      case State::BODY:
        event = read_body(octets);
        break;
      case State::FAILED:
        octets = {};
        event = Event{};
        break;
    }
    if (event) return *event;
  }
}

std::optional<Time> MessageReader::oldest_incomplete() const {
  std::optional<Time> oldest;
  if (m_state == State::BODY) {
    oldest = m_request.started();  // which may have come in fragments before this one
  } else if (m_state != State::HEADER || m_head_size > 0) {
    oldest = m_message_started;
  }
  for (const RequestAssembly& request : m_incomplete) {
    if (!oldest || request.started() < *oldest) oldest = request.started();
  }
  return oldest;
}

Event MessageReader::fail(MessageFault fault) {
  m_state = State::FAILED;
  m_incomplete.clear();
  Event event;
  event.kind = Event::Kind::FAULT;
  event.fault = fault;
  return event;
}

std::optional<Event> MessageReader::read_header(Octets& octets, Time now) {
  if (octets.empty()) return Event{};
  if (m_head_size == 0) m_message_started = now;
  const std::size_t count = std::min(octets.size(), m_head.size() - m_head_size);
  std::memcpy(m_head.data() + m_head_size, octets.data(), count);
  octets = octets.subspan(count);
  m_head_size += count;
  if (m_head_size < m_head.size()) return Event{};
  m_head_size = 0;

  const MessageFault fault = parse_message_header(m_head, m_message);
  if (fault == MessageFault::VERSION) m_version = HIGHEST_VERSION;
  if (fault == MessageFault::MAGIC || fault == MessageFault::VERSION) return fail(fault);
  m_version = m_message.version;
  m_little_endian = m_message.little_endian;
  if (fault != MessageFault::NONE) return fail(fault);
  m_remaining = m_message.size;
  return begin_message(octets);
}

std::optional<Event> MessageReader::begin_message(Octets& octets) {
  switch (m_message.type) {
    case MessageType::REQUEST:
    case MessageType::LOCATE_REQUEST:
      return begin_request(octets);
    case MessageType::CANCEL_REQUEST:
      if (m_remaining != ID_SIZE) return fail(MessageFault::SIZE);
      m_state = State::ID;
      return std::nullopt;
    case MessageType::FRAGMENT:
      if (m_message.version.minor < 2) return continue_request(std::nullopt);
      if (m_remaining < ID_SIZE) return fail(MessageFault::SIZE);
      m_state = State::ID;
      return std::nullopt;
    case MessageType::CLOSE_CONNECTION:
    case MessageType::MESSAGE_ERROR: {
      if (m_remaining != 0) return fail(MessageFault::SIZE);
      Event event;
      event.kind = Event::Kind::CLOSE;
      return event;
    }
    default:
      return fail(MessageFault::UNEXPECTED);
  }
}

std::optional<Event> MessageReader::begin_request(Octets& octets) {
  // Most requests are in one piece: no octet of them is kept.
  if (!m_message.more_fragments && octets.size() >= m_remaining) {
    const Octets body = octets.first(m_remaining);
    octets = octets.subspan(m_remaining);
    Event event;
    const auto result =
        parse_request_header(m_message, body.first(std::min(body.size(), m_limits.header_size)), {}, event.request);
    if (result.status == ParseStatus::INCOMPLETE && result.needed > m_limits.header_size) {
      return fail(MessageFault::REQUEST_HEADER_SIZE);
    }
    if (result.status != ParseStatus::DONE) return fail(MessageFault::REQUEST_HEADER);
    event.kind = Event::Kind::REQUEST;
    return event;
  }
  m_request = RequestAssembly(m_message, m_message_started);
  m_state = State::BODY;
  return std::nullopt;
}

std::optional<Event> MessageReader::read_id(Octets& octets) {
  const std::size_t count = std::min(octets.size(), ID_SIZE - m_head_size);
  std::memcpy(m_head.data() + m_head_size, octets.data(), count);
  octets = octets.subspan(count);
  m_head_size += count;
  if (m_head_size < ID_SIZE) return Event{};
  m_head_size = 0;
  m_remaining -= ID_SIZE;

  const std::uint32_t id = BodyReader(Octets(m_head).first(ID_SIZE), m_message.little_endian).read_ulong();
  if (m_message.type == MessageType::FRAGMENT) return continue_request(id);
  cancel_incomplete(id);
  m_state = State::HEADER;
  Event event;
  event.kind = Event::Kind::CANCEL;
  event.request_id = id;
  return event;
}

// Without an id, as in GIOP 1.1, there is one request at most to which a fragment can belong.
std::optional<Event> MessageReader::continue_request(std::optional<std::uint32_t> id) {
  const auto found = std::find_if(m_incomplete.begin(), m_incomplete.end(), [&](const RequestAssembly& request) {
    return request.message().version == m_message.version && (!id || request.id() == *id);
  });
  if (found == m_incomplete.end()) return fail(MessageFault::FRAGMENT_OF_NOTHING);
  if (found->message().little_endian != m_message.little_endian) return fail(MessageFault::FLAGS);
  m_request = std::move(*found);
  m_incomplete.erase(found);
  m_request.begin_fragment();
  m_state = State::BODY;
  return std::nullopt;
}

std::optional<Event> MessageReader::read_body(Octets& octets) {
  const std::size_t count = std::min(octets.size(), m_remaining);
  const MessageFault fault = m_request.append(octets.first(count), m_limits.header_size);
  octets = octets.subspan(count);
  m_remaining -= count;
  if (fault != MessageFault::NONE) return fail(fault);
  if (m_remaining > 0) return Event{};
  m_state = State::HEADER;
  return end_body();
}

std::optional<Event> MessageReader::end_body() {
  if (!m_message.more_fragments) {
    const MessageFault fault = m_request.end();
    if (fault != MessageFault::NONE) return fail(fault);
    Event event;
    event.kind = Event::Kind::REQUEST;
    event.request = m_request.header();
    return event;
  }
  if (m_request.message().version.minor >= 2 && !m_request.has_id()) return fail(MessageFault::SIZE);
  if (m_incomplete.size() >= m_limits.incomplete_requests) return fail(MessageFault::INCOMPLETE_REQUESTS);
  const bool twice = std::any_of(m_incomplete.begin(), m_incomplete.end(), [&](const RequestAssembly& request) {
    return request.message().version == m_request.message().version &&
           (m_request.message().version.minor < 2 || request.id() == m_request.id());
  });
  if (twice) return fail(MessageFault::FRAGMENTED_ID_REUSED);
  m_incomplete.push_back(std::move(m_request));
  return std::nullopt;
}

void MessageReader::cancel_incomplete(std::uint32_t id) {
  std::erase_if(m_incomplete, [&](const RequestAssembly& request) { return request.has_id() && request.id() == id; });
}

}  // namespace QZ_Giop
