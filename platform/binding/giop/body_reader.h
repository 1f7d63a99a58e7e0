// Reads CDR from the beginning of a message's body, of which more may be still to come.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

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

  std::uint8_t read_octet();
  bool read_boolean();
  std::uint16_t read_ushort();
  std::uint32_t read_ulong();
  Octets read_octets(std::size_t count);
  // So many octets must follow at least. Told beforehand, they are not asked for one after the other.
  void require(std::uint64_t count);
  Octets read_octet_seq() { return read_octets(read_ulong()); }
  // Passes over a string; it must end with its only NUL.
  void skip_string();

 private:
  template <class Unsigned>
  Unsigned read_number();
  void align(std::size_t alignment);
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
