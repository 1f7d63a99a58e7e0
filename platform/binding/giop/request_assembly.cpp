#include "platform/binding/giop/request_assembly.h"

#include <algorithm>

#include "platform/binding/giop/body_reader.h"

namespace QZ_Giop {

std::uint32_t RequestAssembly::id() const {
  if (m_parsed) return m_header.request_id;
  return BodyReader(m_octets, m_message.little_endian).read_ulong();
}

void RequestAssembly::begin_fragment() {
  const auto start = static_cast<std::uint32_t>(m_octets.size());
  const bool empty_before = start == 0 || (!m_fragment_starts.empty() && m_fragment_starts.back() == start);
  if (!m_parsed && !empty_before) m_fragment_starts.push_back(start);
}

MessageFault RequestAssembly::append(std::span<const unsigned char> octets, std::size_t header_limit) {
  if (m_parsed || octets.empty()) return MessageFault::NONE;
  const std::size_t count = std::min(octets.size(), header_limit - m_octets.size());
  m_octets.insert(m_octets.end(), octets.begin(), octets.begin() + static_cast<std::ptrdiff_t>(count));
  const MessageFault fault = m_octets.size() >= m_needed ? parse(false) : MessageFault::NONE;
  if (fault != MessageFault::NONE) return fault;
  return !m_parsed && m_needed > header_limit ? MessageFault::REQUEST_HEADER_SIZE : MessageFault::NONE;
}

MessageFault RequestAssembly::end() {
  return m_parsed ? MessageFault::NONE : parse(true);
}

MessageFault RequestAssembly::parse(bool ended) {
  auto result = parse_request_header(m_message, m_octets, m_fragment_starts, m_header);
  // A GIOP 1.1 fragment aligns its contents by itself, but there are senders that cut up one aligned stream.
  const bool hopeless = result.status == ParseStatus::MALFORMED || (ended && result.status == ParseStatus::INCOMPLETE);
  if (hopeless && !m_fragment_starts.empty()) result = parse_request_header(m_message, m_octets, {}, m_header);

  if (result.status == ParseStatus::INCOMPLETE && !ended) {
    m_needed = result.needed;
    return MessageFault::NONE;
  }
  if (result.status != ParseStatus::DONE) return MessageFault::REQUEST_HEADER;
  m_parsed = true;
  m_octets = std::vector<unsigned char>(m_header.key.begin(), m_header.key.end());
  m_fragment_starts.clear();
  return MessageFault::NONE;
}

const RequestHeader& RequestAssembly::header() {
  m_header.key = m_octets;
  return m_header;
}

}  // namespace QZ_Giop
