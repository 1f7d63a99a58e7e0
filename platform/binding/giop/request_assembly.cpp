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
  return m_octets.size() >= m_needed ? parse(header_limit) : MessageFault::NONE;
}

// There will be no more octets than there are.
MessageFault RequestAssembly::end() {
  if (m_parsed) return MessageFault::NONE;
  const MessageFault fault = parse(m_octets.size());
  return fault == MessageFault::REQUEST_HEADER_SIZE ? MessageFault::REQUEST_HEADER : fault;
}

MessageFault RequestAssembly::parse(std::size_t most) {
  const auto hopeless = [&](const ParseResult& result) {
    return result.status == ParseStatus::MALFORMED ||
           (result.status == ParseStatus::INCOMPLETE && result.needed > most);
  };
  auto result = parse_request_header(m_message, m_octets, m_fragment_starts, m_header);
  // A GIOP 1.1 fragment aligns its contents by itself, but there are senders that cut up one aligned stream.
  if (hopeless(result) && !m_fragment_starts.empty()) result = parse_request_header(m_message, m_octets, {}, m_header);

  if (result.status == ParseStatus::MALFORMED) return MessageFault::REQUEST_HEADER;
  if (hopeless(result)) return MessageFault::REQUEST_HEADER_SIZE;
  if (result.status == ParseStatus::INCOMPLETE) {
    m_needed = result.needed;
    return MessageFault::NONE;
  }
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
