#include "platform/binding/giop/body_reader.h"

#include <algorithm>

namespace QZ_Giop {

// The body begins twelve octets behind the message, and a fragment's contents twelve behind the fragment; so for
// alignments up to 4 counting from the contents is the same.
void BodyReader::align(std::size_t alignment) {
  enter_fragment();
  const std::size_t excess = (m_position - m_fragment) % alignment;
  if (excess == 0) return;
  m_position += alignment - excess;
  // Padding does not reach into the next fragment, whose contents begin aligned.
  if (!m_starts.empty()) m_position = std::min<std::size_t>(m_position, m_starts.front());
  enter_fragment();
}

void BodyReader::enter_fragment() {
  while (!m_starts.empty() && m_starts.front() <= m_position) {
    m_fragment = m_starts.front();
    m_starts = m_starts.subspan(1);
  }
}

BodyReader::Octets BodyReader::read_octets(std::size_t count) {
  if (!ok()) return {};
  if (m_position > m_octets.size() || m_octets.size() - m_position < count) {
    m_needed = m_position + count;
    return {};
  }
  const Octets result = m_octets.subspan(m_position, count);
  m_position += count;
  return result;
}

void BodyReader::require(std::uint64_t count) {
  if (ok() && (m_position > m_octets.size() || m_octets.size() - m_position < count)) m_needed = m_position + count;
}

template <class Unsigned>
Unsigned BodyReader::read_number() {
  constexpr std::size_t SIZE = sizeof(Unsigned);
  if (!ok()) return 0;
  align(SIZE);
  // Who aligns fragments by themselves does not break a number across two.
  if (!m_starts.empty() && m_starts.front() < m_position + SIZE) fail();
  const Octets octets = read_octets(SIZE);
  if (octets.empty()) return 0;
  Unsigned value = 0;
  for (std::size_t i = 0; i < SIZE; ++i) {
    value = static_cast<Unsigned>(value | Unsigned{octets[m_little_endian ? i : SIZE - 1 - i]} << 8 * i);
  }
  return value;
}

std::uint16_t BodyReader::read_ushort() {
  return read_number<std::uint16_t>();
}

std::uint32_t BodyReader::read_ulong() {
  return read_number<std::uint32_t>();
}

std::uint8_t BodyReader::read_octet() {
  const Octets octet = read_octets(1);
  return octet.empty() ? 0 : octet[0];
}

bool BodyReader::read_boolean() {
  const std::uint8_t value = read_octet();
  if (value > 1) fail();
  return value == 1;
}

void BodyReader::skip_string() {
  const Octets text = read_octet_seq();
  if (!ok()) return;
  if (text.empty() || std::find(text.begin(), text.end(), 0) != text.end() - 1) fail();
}

}  // namespace QZ_Giop
