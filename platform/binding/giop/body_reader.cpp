#include "platform/binding/giop/body_reader.h"

#include <algorithm>

namespace QZ_Giop {

void BodyReader::align_in_fragment(std::size_t alignment) {
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

void BodyReader::require(std::uint64_t count) {
  if (ok() && (m_position > m_octets.size() || m_octets.size() - m_position < count)) m_needed = m_position + count;
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
