// Reads CDR from the beginning of a message's body, of which more may be still to come.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/binding/giop/number.h"

namespace QZ_Giop {

// Reading past the octets at hand, or anything malformed, fails the reader; from then on every read gives nothing.
// So a header is read straight through, and the result looked at once. Handles alignments up to 4.
class BodyReader {
 public:
  using Octets = std::span<const unsigned char>;

  // fragment_starts, ascending: where in the octets fragments begin that align their contents by themselves, as those
  // of GIOP 1.1 do.
  BodyReader(Octets octets, bool little_endian, std::span<const std::uint32_t> fragment_starts = {})
      : m_octets(octets), m_little_endian(little_endian), m_starts(fragment_starts) {}

  bool ok() const { return !m_malformed && m_needed == 0; }
  bool malformed() const { return m_malformed; }
  // After a read past the end: how many octets there must be at least to get further.
  std::size_t needed() const { return m_needed; }
  void fail() { m_malformed = true; }

  std::uint8_t read_octet() {
    const Octets octet = read_octets(1);
    return octet.empty() ? 0 : octet[0];
  }
  bool read_boolean();
  std::uint16_t read_ushort() { return read_number<std::uint16_t>(); }
  std::uint32_t read_ulong() { return read_number<std::uint32_t>(); }
  Octets read_octets(std::size_t count) {
    if (!ok()) return {};
    if (m_position > m_octets.size() || m_octets.size() - m_position < count) {
      m_needed = m_position + count;
      return {};
    }
    const Octets result = m_octets.subspan(m_position, count);
    m_position += count;
    return result;
  }
  // So many octets must follow at least. Told beforehand, they are not asked for one after the other.
  void require(std::uint64_t count);
  Octets read_octet_seq() { return read_octets(read_ulong()); }
  // Passes over a string; it must end with its only NUL.
  void skip_string();

 private:
  template <class Unsigned>
  Unsigned read_number() {
    if (!ok()) return 0;
    align(sizeof(Unsigned));
    // Who aligns fragments by themselves does not break a number across two.
    if (!m_starts.empty() && m_starts.front() < m_position + sizeof(Unsigned)) fail();
    const Octets octets = read_octets(sizeof(Unsigned));
    return octets.empty() ? 0 : number_at<Unsigned>(octets.data(), m_little_endian);
  }
  // The body begins twelve octets behind the message, and a fragment's contents twelve behind the fragment; so for
  // alignments up to 4 counting from the contents is the same.
  void align(std::size_t alignment) {
    if (!m_starts.empty()) return align_in_fragment(alignment);
    m_position += (m_fragment - m_position) % alignment;
  }
  void align_in_fragment(std::size_t alignment);
  // Notes which fragment the position is in.
  void enter_fragment();

  Octets m_octets;
  bool m_little_endian;
  std::span<const std::uint32_t> m_starts;  // those that are still to come
  std::size_t m_fragment = 0;               // where the present fragment begins
  std::size_t m_position = 0;
  std::size_t m_needed = 0;
  bool m_malformed = false;
};

}  // namespace QZ_Giop
