// Takes a client's octets as they arrive and tells what they mean. No sockets, no ORB.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "platform/binding/giop/request_assembly.h"

namespace QZ_Giop {

struct Event {
  enum class Kind {
    MORE,     // all octets are used up
    REQUEST,  // a Request or LocateRequest has arrived to its last octet
    CANCEL,   // CancelRequest for request_id
    CLOSE,    // the client closes the connection
    FAULT     // answer with MessageError and close; the reader is of no use any more
  };
  Kind kind = Kind::MORE;
  RequestHeader request;  // its key is valid until the next read, and as long as the octets that were read
  std::uint32_t request_id = 0;
  MessageFault fault = MessageFault::NONE;
};

// One client's stream. Memory is bounded by the limits, whatever size messages have. Not for several threads at once.
class MessageReader {
 public:
  struct Limits {
    std::size_t header_size;          // octets of a request header
    std::size_t incomplete_requests;  // of which fragments are still to come
  };

  explicit MessageReader(Limits limits) : m_limits(limits) {}

  // Reads up to the next event and cuts what it has read off the octets. Call it until it says MORE. now: for
  // oldest_incomplete.
  Event read(std::span<const unsigned char>& octets, Time now);

  // When the first octet of the oldest message came that has begun and not ended; none between messages.
  std::optional<Time> oldest_incomplete() const;
  // The client's way of writing, as far as known: what a message to it should be written like.
  Version version() const { return m_version; }
  bool little_endian() const { return m_little_endian; }

 private:
  using Octets = std::span<const unsigned char>;
  enum class State { HEADER, ID, BODY, FAILED };

  std::optional<Event> read_header(Octets& octets, Time now);
  std::optional<Event> begin_message(Octets& octets);
  std::optional<Event> begin_request(Octets& octets);
  std::optional<Event> read_id(Octets& octets);
  std::optional<Event> continue_request(std::optional<std::uint32_t> id);
  std::optional<Event> read_body(Octets& octets);
  std::optional<Event> end_body();
  void cancel_incomplete(std::uint32_t id);
  Event fail(MessageFault fault);

  const Limits m_limits;
  State m_state = State::HEADER;
  Version m_version;
  bool m_little_endian = false;

  std::array<unsigned char, MESSAGE_HEADER_SIZE> m_head;  // a message header, or an id, that arrives in pieces
  std::size_t m_head_size = 0;
  Time m_message_started;
  MessageHeader m_message;      // the present one
  std::size_t m_remaining = 0;  // octets of its body still to come
  RequestAssembly m_request;    // the request that the present message belongs to

  std::vector<RequestAssembly> m_incomplete;  // requests of which fragments are to come, but for m_request
};

}  // namespace QZ_Giop
