// A Request or LocateRequest that arrives in pieces: what must be kept of it until it is complete.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/binding/giop/request_header.h"

namespace QZ_Giop {

using Time = std::chrono::steady_clock::time_point;

// Keeps octets until the header is known, and then the object key alone; the rest is passed over.
class RequestAssembly {
 public:
  RequestAssembly() = default;
  RequestAssembly(const MessageHeader& message, Time started) : m_message(message), m_started(started) {}

  const MessageHeader& message() const { return m_message; }
  Time started() const { return m_started; }
  // GIOP 1.2 sends it first, so it is known after four octets.
  bool has_id() const { return m_parsed || (m_message.version.minor >= 2 && m_octets.size() >= 4); }
  std::uint32_t id() const;

  // The next octets belong to a further fragment.
  void begin_fragment();
  // Takes the next octets of the request's body. The fault, or NONE.
  MessageFault append(std::span<const unsigned char> octets, std::size_t header_limit);
  // The request has ended. The fault, or NONE; then the header is there.
  MessageFault end();

  // Its key lives as long as this object. Only after end().
  const RequestHeader& header();

 private:
  // most: how many octets the header may have.
  MessageFault parse(std::size_t most);

  MessageHeader m_message;
  Time m_started;
  RequestHeader m_header;
  bool m_parsed = false;
  std::size_t m_needed = 4;                      // parsing before there are so many octets leads nowhere
  std::vector<unsigned char> m_octets;           // all so far; once parsed, the object key
  std::vector<std::uint32_t> m_fragment_starts;  // in m_octets, without 0
};

}  // namespace QZ_Giop
